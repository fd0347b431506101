#pragma once

#include "tools/melnar-dict/shell/ExitCode.h"

#include "Engine/core/platform/FailureKind.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

/// An error in the load of a file.
struct InputError {
    uint64_t m_line; // counted as the ParsedPiece says; 0 for the file as a whole
    ExitCode m_exitCode;
    std::string m_cause;
    uint64_t m_column = 0; // counts characters from 1; 0 for the line as a whole
    // Terms of the piece's batch before it, for the order within a line. An error that ends a piece follows all of
    // them.
    size_t m_termsBefore = std::numeric_limits<size_t>::max();
    FailureKind m_kind = FailureKind::OTHER; // of the exception, if there was one
};

/// Converts the current exception to an error of the file without a line; it is bad data if it is such a ToolFailure.
InputError inputErrorOfCurrentException();
