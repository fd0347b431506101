#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

/// Something that went wrong while a file was loaded.
struct InputError {
    uint64_t m_line; // counted as the ParsedPiece says; 0 when the file as a whole is meant
    ExitCode m_exitCode;
    std::string m_cause;
    uint64_t m_column = 0; // counts characters from 1; 0 when the line as a whole is meant
    // Terms of the piece's batch that come before it, which say what comes first in a line. What ends a piece follows all.
    size_t m_termsBefore = std::numeric_limits<size_t>::max();
};

/// What the exception that is being handled means for the file being read: bad data if a ToolFailure says so, and no line.
InputError inputErrorOfCurrentException();
