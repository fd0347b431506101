#pragma once

#include "tests/support/TemporaryDirectory.h"

#include <string>
#include <vector>

#include <sys/types.h>

/// The result of a run of the built tool. If a signal has killed it, the exit code is 128 plus the signal's number.
struct ToolResult {
    int m_exitCode;
    std::string m_output;
    std::string m_errorOutput;
    int m_signalNumber;  // of the signal that has killed it, or 0
    size_t m_peakMemory; // resident bytes; at least those of this process
};

/// The environment of a run of the tool.
struct ToolInput {
    std::string m_input;                  // the content of standard input
    std::string m_inputPath;              // the file that is standard input instead
    std::string m_outputPath;             // the file to which standard output goes instead of to the result
    int m_outputDescriptor = -1;          // or the open file to which it goes
    int m_errorDescriptor = -1;           // the open file to which standard error goes instead of to the result
    bool m_isOutputClosedPipe = false;    // whether it goes to a pipe without a reader
    std::string m_shellCommands;          // executed by a shell that then becomes the tool, such as: ulimit -f 1
    std::string m_workingDirectory = "/"; // the folder for relative file names
    std::string m_executable = MELNAR_DICT_EXECUTABLE; // or another program, such as one that starts the tool
};

/// The running tool, as a separate process.
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

/// Runs the tool as a separate process until its end.
ToolResult runToolProcess(const std::vector<std::string>& arguments, const ToolInput& input = {});
