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
    // When reading is strict, which ends it, the end is where the error stands.
    uint64_t m_skippedBegin = 0;
    uint64_t m_skippedEnd = 0;

    /// Returns file:line:column: message.
    std::string format(std::string_view fileName) const;
};

} // namespace Rdf
