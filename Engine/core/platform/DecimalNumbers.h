#pragma once

#include <cstdint>
#include <string>

/// Returns the largest power of ten that is not greater than `value`, and 1 for values below 10, including zero.
constexpr uint32_t roundToCommonLogarithm32(const uint32_t value) noexcept {
    uint32_t power = 1;
    while (value / 10 >= power)
        power *= 10;
    return power;
}

/// Returns the largest power of ten that is not greater than `value`, and 1 for values below 10, including zero.
constexpr uint64_t roundToCommonLogarithm64(const uint64_t value) noexcept {
    uint64_t power = 1;
    while (value / 10 >= power)
        power *= 10;
    return power;
}

/// Appends `value` in decimal, without sign, separators or padding.
inline void appendDecimal(std::string& output, uint64_t value) {
    for (uint64_t power = roundToCommonLogarithm64(value); power != 0; power /= 10) {
        const uint64_t digit = value / power;
        output.push_back(static_cast<char>('0' + digit));
        value -= digit * power;
    }
}

/// Appends `value` in decimal, with a '-' if it is negative. The magnitude is an unsigned number, since that of the
/// smallest int does not fit into an int.
inline void appendSignedDecimal(std::string& output, const int value) {
    uint32_t magnitude = static_cast<uint32_t>(value);
    if (value < 0) {
        output.push_back('-');
        magnitude = 0u - magnitude;
    }
    for (uint32_t power = roundToCommonLogarithm32(magnitude); power != 0; power /= 10) {
        const uint32_t digit = magnitude / power;
        output.push_back(static_cast<char>('0' + digit));
        magnitude -= digit * power;
    }
}
