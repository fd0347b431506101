#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

inline constexpr uint32_t LAST_CODE_POINT = 0x10FFFF;

/// Whether a number is a half of a surrogate pair, which stands for no character.
constexpr bool isSurrogate(const uint32_t codePoint) noexcept {
    return codePoint >= 0xD800 && codePoint <= 0xDFFF;
}

/// The number that up to eight hexadecimal digits are; nothing when one of the characters is no digit.
inline std::optional<uint32_t> parseHexadecimalDigits(const char* const digits, const size_t numberOfDigits) noexcept {
    static constexpr std::array<uint8_t, 256> VALUES = [] {
        std::array<uint8_t, 256> values{};
        values.fill(0xFF); // no digit
        for (uint8_t digit = 0; digit < 10; ++digit)
            values[static_cast<size_t>('0' + digit)] = digit;
        for (uint8_t letter = 0; letter < 6; ++letter)
            values[static_cast<size_t>('a' + letter)] = values[static_cast<size_t>('A' + letter)] =
                static_cast<uint8_t>(10 + letter);
        return values;
    }();
    uint32_t number = 0;
    uint8_t allBits = 0;
    for (size_t index = 0; index < numberOfDigits; ++index) {
        const uint8_t value = VALUES[static_cast<uint8_t>(digits[index])];
        allBits |= value;
        number = number << 4 | (value & 0xFu);
    }
    return allBits > 0xF ? std::nullopt : std::optional(number);
}
