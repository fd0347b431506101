#pragma once

#include <array>
#include <cstdint>

/// The characters of names and labels, as the grammars of Turtle and N-Triples group them.
namespace Rdf::CharacterClass {

// The classes of an ASCII character, as bits.
constexpr uint8_t LETTER = 1 << 0;
constexpr uint8_t DIGIT = 1 << 1;
constexpr uint8_t HEX = 1 << 2;        // a hexadecimal digit
constexpr uint8_t NAME = 1 << 3;       // within a prefix or label: a letter, a digit, '_', '-' or '.'
constexpr uint8_t LOCAL_NAME = 1 << 4; // within a local name: these and ':'
constexpr uint8_t SPACE = 1 << 5;      // space, tab, line feed, carriage return
constexpr uint8_t ESCAPABLE = 1 << 6;  // after a backslash in a local name

constexpr std::array<uint8_t, 256> makeTable() noexcept {
    std::array<uint8_t, 256> table{};
    for (unsigned character = 0; character < 128; ++character) {
        const bool isLetter = (character | 0x20) >= 'a' && (character | 0x20) <= 'z';
        const bool isDigit = character >= '0' && character <= '9';
        if (isLetter)
            table[character] |= LETTER | NAME | LOCAL_NAME;
        if (isDigit)
            table[character] |= DIGIT | HEX | NAME | LOCAL_NAME;
        if (isLetter && (character | 0x20) <= 'f')
            table[character] |= HEX;
    }
    const auto add = [&](const char* const characters, const uint8_t classes) {
        for (const char* character = characters; *character != 0; ++character)
            table[static_cast<uint8_t>(*character)] |= classes;
    };
    add("_-.", NAME | LOCAL_NAME);
    add(":", LOCAL_NAME);
    add(" \t\n\r", SPACE);
    add("_~.-!$&'()*+,;=/?#@%", ESCAPABLE);
    return table;
}

inline constexpr std::array<uint8_t, 256> TABLE = makeTable();

/// Also accepts -1, which stands for the end of the text.
constexpr bool is(const int character, const uint8_t classes) noexcept {
    return character >= 0 && (TABLE[static_cast<uint8_t>(character)] & classes) != 0;
}

} // namespace Rdf::CharacterClass
