#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Returns the number that a text of decimal digits represents; nothing if the text is anything else.
std::optional<uint64_t> parseNumber(std::string_view text) noexcept;

/// Returns the number of bytes, above 0, that the text represents: a number with or without K, M, G or T for 1024 bytes
/// and its powers.
std::optional<uint64_t> parseNumberOfBytes(std::string_view text) noexcept;

/// Writes a number of bytes as such a text, with the largest unit that yields a whole number.
std::string formatNumberOfBytes(uint64_t numberOfBytes);
