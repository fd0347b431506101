#pragma once

#include "Reader/Place.h"

#include <string>
#include <string_view>

namespace Rdf {

/// An error in a statement.
struct SyntaxError {
    Place m_place;         ///< where it is
    std::string m_message; ///< one line, such as: expected a predicate, found '.'

    ///@{
    /// The bytes that yield no statements because of the error, by offset: the line, or the statement with its full
    /// stop. If reading is strict, which ends it, the end is the position of the error.
    uint64_t m_skippedBegin = 0;
    uint64_t m_skippedEnd = 0;
    ///@}

    /// Returns one line: the name of the file, line, column and message, with colons between them.
    std::string format(const std::string_view fileName) const {
        return std::string(fileName) + ':' + std::to_string(m_place.m_line) + ':' + std::to_string(m_place.m_column) +
               ": " + m_message;
    }
};

} // namespace Rdf
