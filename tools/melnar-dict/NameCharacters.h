#pragma once

#include "Engine/core/platform/CharacterMaps.h"

#include <cstdint>

/// The bytes of plainly written names and labels: letters, digits, '_' and '-'.
inline constexpr CharacterMap CHARMAP_PLAIN_NAME = [] {
    CharacterMap map = CHARMAP_ALPHANUMERIC;
    map['_'] = map['-'] = 1;
    return map;
}();

/// The bytes that can stand in a prefix, a local name or a blank node label apart from ':' and escapes: the plain ones,
/// '.', and all bytes of characters beyond ASCII. Which of those characters are allowed is left to the parser; none of
/// them ends a name.
inline constexpr CharacterMap CHARMAP_NAME = [] {
    CharacterMap map = CHARMAP_PLAIN_NAME;
    map['.'] = 1;
    for (unsigned byte = 0x80; byte < 256; ++byte)
        map[byte] = 1;
    return map;
}();

inline bool isNameByte(const char character) noexcept {
    return CHARMAP_NAME[static_cast<uint8_t>(character)] != 0;
}

/// Whether the label that starts here, in valid UTF-8, starts as a blank node label may. What follows is not looked at.
bool startsBlankNodeLabel(const char* label) noexcept;
