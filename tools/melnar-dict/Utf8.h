#pragma once

#include <cstdint>

/// The first byte in [begin, end) that is not part of a well-formed UTF-8 sequence, or `end`. Overlong forms,
/// surrogates and code points above U+10FFFF are not well-formed.
const char* findInvalidUtf8(const char* begin, const char* end) noexcept;

/// The code point of the well-formed sequence that starts here.
uint32_t decodeUtf8(const char* begin) noexcept;
