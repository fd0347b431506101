#pragma once

#include <array>
#include <cstdint>

/// Tables over the 256 byte values. An entry is nonzero exactly for the members of the class. Only ASCII bytes are
/// members, so no byte of a multi-byte UTF-8 sequence counts as a letter.
using CharacterMap = std::array<uint8_t, 256>;

/// The letters 'A' to 'Z' and 'a' to 'z'.
inline constexpr CharacterMap CHARMAP_ALPHABETIC = [] {
    CharacterMap map{};
    for (unsigned letter = 0; letter < 26; ++letter)
        map['A' + letter] = map['a' + letter] = 1;
    return map;
}();

/// The letters, and the digits '0' to '9'.
inline constexpr CharacterMap CHARMAP_ALPHANUMERIC = [] {
    CharacterMap map = CHARMAP_ALPHABETIC;
    for (unsigned digit = 0; digit < 10; ++digit)
        map['0' + digit] = 1;
    return map;
}();
