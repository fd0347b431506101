#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

/// Returns the number that the text is the decimal digits of; nothing when it is anything else.
std::optional<uint64_t> parseNumber(std::string_view text) noexcept;

/// Returns the number of bytes above 0 that the text gives: a number with K, M, G or T for 1024 bytes and its powers,
/// or without.
std::optional<uint64_t> parseNumberOfBytes(std::string_view text) noexcept;

/// Writes a number of bytes as such a text, with the largest unit that leaves a whole number.
std::string formatNumberOfBytes(uint64_t numberOfBytes);
