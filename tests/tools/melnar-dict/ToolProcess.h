#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <vector>

#include <sys/types.h>

/// How a run of the built tool ended. A death by a signal has 128 and the signal's number as its exit code.
struct ToolResult {
    int m_exitCode;
    std::string m_output;
    std::string m_errorOutput;
    int m_signalNumber;  // of the signal that it died by, or 0
    size_t m_peakMemory; // bytes that were resident; at least what this process has
};

/// What the tool runs with.
struct ToolInput {
    std::string m_input;                  // what stands on standard input
    std::string m_inputPath;              // the file that standard input is instead
    std::string m_outputPath;             // where standard output goes instead of into the result
    int m_outputDescriptor = -1;          // or the open file where it goes
    int m_errorDescriptor = -1;           // the open file where standard error goes instead of into the result
    bool m_isOutputClosedPipe = false;    // whether it goes where nobody reads
    std::string m_shellCommands;          // done before by a shell that then becomes the tool, such as: ulimit -f 1
    std::string m_workingDirectory = "/"; // what relative file names are relative to
    std::string m_executable = MELNAR_DICT_EXECUTABLE; // or another program, such as one that starts the tool
};

/// The tool at work, as a process of its own.
///
/// Ownership  Kills the process unless its end has been awaited.
class RunningTool : private Unmovable {
public:
    RunningTool(const std::vector<std::string>& arguments, const ToolInput& input);
    ~RunningTool();

    pid_t getProcessID() const { return m_processID; }

    void send(int signalNumber) const;

    /// Waits for its end. Called once.
    ToolResult wait();

private:
    const TemporaryDirectory m_directory;
    const std::string m_outputPath;
    const std::string m_errorPath;
    pid_t m_processID;
};

/// Runs the tool as a process of its own until its end.
ToolResult runToolProcess(const std::vector<std::string>& arguments, const ToolInput& input = {});
