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

/// The output of a verb that writes statements: a file that appears only if there was no error, or standard output.
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

    /// Returns the file that is written, if it is open; null for standard output.
    OutputFile* getFile() noexcept { return m_file ? &*m_file : nullptr; }

    /// Commits the file if the exit code is DONE. Returns the exit code.
    ExitCode finish(ExitCode exitCode);

private:
    StandardOutputStream m_standardOutput;
    std::optional<OutputLock> m_lock; // empty for standard output
    std::optional<OutputFile> m_file;
};
