#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/shell/OutputLock.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutputStream.h"

#include "Engine/core/platform/Unmovable.h"

#include <optional>
#include <ostream>
#include <string>
#include <vector>

/// What a verb writes statements to: a file that appears when everything went well, or standard output.
///
/// Limits  At most one at a time.
/// Errors  Those of OutputCheck, OutputLock, OutputFile and StandardOutput.
class RewriteOutput : private Unmovable {
public:
    /// Refuses an output that would destroy something, and takes its lock. The name "-" is standard output.
    RewriteOutput(const OutputOptions& options, const std::vector<std::string>& inputNames,
                  StandardOutput& standardOutput, std::ostream& errorOutput);

    /// Opens the output. Called once.
    OutputStream& open();

    /// The file that is written, when it is open; null for standard output.
    OutputFile* getFile() noexcept { return m_file ? &*m_file : nullptr; }

    /// Makes what was written the file if all is done. Passes the exit code on.
    ExitCode finish(ExitCode exitCode);

private:
    StandardOutputStream m_standardOutput;
    std::optional<OutputLock> m_lock; // nothing for standard output
    std::optional<OutputFile> m_file;
};
