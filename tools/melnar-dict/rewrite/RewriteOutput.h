#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/shell/OutputLock.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardOutput.h"

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/OutputStream.h"

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

    /// Makes what was written the file if all is done. Passes the exit code on.
    ExitCode finish(ExitCode exitCode);

private:
    /// Lets the tool's standard output be written to like a file.
    class StandardOutputStream final : public OutputStream {
    public:
        explicit StandardOutputStream(StandardOutput& output) : m_output(output) {}

        const std::string& getName() const override { return m_name; }
        void write(const void* const data, const size_t numberOfBytes) override {
            m_output.write({static_cast<const char*>(data), numberOfBytes});
        }
        void flush() override { m_output.flush(); }

    private:
        const std::string m_name = "standard output";
        StandardOutput& m_output;
    };

    StandardOutputStream m_standardOutput;
    std::optional<OutputLock> m_lock; // nothing for standard output
    std::optional<OutputFile> m_file;
};
