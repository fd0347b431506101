#pragma once

#include <string>
#include <vector>

/// How a run of the built tool ended. A death by a signal has 128 and the signal's number as its exit code.
struct ToolResult {
    int m_exitCode;
    std::string m_output;
    std::string m_errorOutput;
};

/// What the tool runs with.
struct ToolInput {
    std::string m_input;                  // what stands on standard input
    std::string m_outputPath;             // where standard output goes instead of into the result
    bool m_isOutputClosedPipe = false;    // whether it goes where nobody reads
    std::string m_workingDirectory = "/"; // what relative file names are relative to
};

/// Runs the tool as a process of its own.
ToolResult runToolProcess(const std::vector<std::string>& arguments, const ToolInput& input = {});
