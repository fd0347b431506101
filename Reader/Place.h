#pragma once

#include <cstdint>

namespace Rdf {

/// A place in the input. Lines are counted by line feeds, from 1; columns count characters (code points) after the last
/// line feed or carriage return, from 1; offsets count bytes, from 0.
struct Place {
    uint64_t m_line = 1;   ///< counted from 1
    uint64_t m_column = 1; ///< counted from 1
    uint64_t m_offset = 0; ///< counted from 0

    /// Compares all three.
    bool operator==(const Place&) const = default;
};

} // namespace Rdf
