#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"

#include <stdexcept>
#include <string>

/// Ends the tool: contains the exit code and the text for standard error, without a line break at its end.
class ToolFailure : public std::runtime_error {
public:
    ToolFailure(const ExitCode exitCode, const std::string& message)
        : std::runtime_error(message), m_exitCode(exitCode) {}

    ExitCode getExitCode() const noexcept { return m_exitCode; }

private:
    ExitCode m_exitCode;
};
