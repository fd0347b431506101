#pragma once

#include "Reader/Place.h"

#include <string>
#include <string_view>

namespace Rdf {

/// What is wrong with a statement.
struct SyntaxError {
    Place m_place;
    std::string m_message; // one line, such as: expected a predicate, found '.'
    // The bytes that gave no statements because of the error, by offset: the line, or the statement with its full stop.
    // When reading is strict, the end is that of the input so far as it was read.
    uint64_t m_skippedBegin = 0;
    uint64_t m_skippedEnd = 0;

    /// Returns file:line:column: message.
    std::string format(std::string_view fileName) const;
};

} // namespace Rdf
