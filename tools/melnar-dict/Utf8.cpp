#include "tools/melnar-dict/Utf8.h"

#include <cstddef>
#include <cstring>

namespace {

constexpr uint8_t toByte(const char character) noexcept {
    return static_cast<uint8_t>(character);
}

const char* skipAscii(const char* current, const char* const end) noexcept {
    constexpr uint64_t HIGH_BITS = 0x8080808080808080;
    for (; end - current >= 8; current += 8) {
        uint64_t word;
        std::memcpy(&word, current, sizeof word);
        if ((word & HIGH_BITS) != 0)
            break;
    }
    while (current != end && toByte(*current) < 0x80)
        ++current;
    return current;
}

bool isContinuation(const char character) noexcept {
    return (toByte(character) & 0xC0) == 0x80;
}

/// The length of the sequence of two or more bytes at `current`, 0 when it is not well-formed.
size_t lengthOfSequence(const char* const current, const char* const end) noexcept {
    const uint8_t first = toByte(*current);
    if (first < 0xC2 || end - current < 2)
        return 0;
    const uint8_t second = toByte(current[1]);
    if (first < 0xE0)
        return isContinuation(current[1]) ? 2 : 0;
    if (first < 0xF0) {
        const uint8_t lowest = first == 0xE0 ? 0xA0 : 0x80;
        const uint8_t highest = first == 0xED ? 0x9F : 0xBF;
        return end - current >= 3 && second >= lowest && second <= highest && isContinuation(current[2]) ? 3 : 0;
    }
    const uint8_t lowest = first == 0xF0 ? 0x90 : 0x80;
    const uint8_t highest = first == 0xF4 ? 0x8F : 0xBF;
    return first <= 0xF4 && end - current >= 4 && second >= lowest && second <= highest && isContinuation(current[2]) &&
                   isContinuation(current[3])
               ? 4
               : 0;
}

} // namespace

const char* findInvalidUtf8(const char* const begin, const char* const end) noexcept {
    const char* current = begin;
    for (;;) {
        if (current == end || toByte(*current) < 0x80)
            current = skipAscii(current, end);
        if (current == end)
            return end;
        const size_t length = lengthOfSequence(current, end);
        if (length == 0)
            return current;
        current += length;
    }
}

uint32_t decodeUtf8(const char* const begin) noexcept {
    const uint8_t first = toByte(*begin);
    if (first < 0x80)
        return first;
    const unsigned length = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    uint32_t codePoint = first & (0x7Fu >> length);
    for (unsigned index = 1; index < length; ++index)
        codePoint = codePoint << 6 | (toByte(begin[index]) & 0x3F);
    return codePoint;
}
