#include "Reader/Utf8.h"

#include "Reader/ByteScan.h"

namespace Rdf::Utf8 {

namespace {

constexpr uint8_t toByte(const char character) noexcept {
    return static_cast<uint8_t>(character);
}

/// The properties of a first byte: the length of the sequence, 0 for a byte that starts none, and the second byte's
/// range.
struct Lead {
    uint8_t m_length;
    uint8_t m_lowest;
    uint8_t m_highest;
};

constexpr Lead getLead(const uint8_t first) noexcept {
    if (first < 0x80)
        return {1, 0, 0};
    if (first < 0xC2 || first > 0xF4)
        return {0, 0, 0};
    if (first < 0xE0)
        return {2, 0x80, 0xBF};
    if (first < 0xF0)
        return {3, static_cast<uint8_t>(first == 0xE0 ? 0xA0 : 0x80),
                static_cast<uint8_t>(first == 0xED ? 0x9F : 0xBF)};
    return {4, static_cast<uint8_t>(first == 0xF0 ? 0x90 : 0x80), static_cast<uint8_t>(first == 0xF4 ? 0x8F : 0xBF)};
}

/// Returns how many bytes from here on, at most the sequence's length, are valid.
size_t countGoodBytes(const char* const current, const char* const end, const Lead lead) noexcept {
    const size_t available = static_cast<size_t>(end - current);
    size_t good = 1;
    for (; good < lead.m_length && good < available; ++good) {
        const uint8_t byte = toByte(current[good]);
        const bool isGood = good == 1 ? byte >= lead.m_lowest && byte <= lead.m_highest : (byte & 0xC0) == 0x80;
        if (!isGood)
            break;
    }
    return good;
}

} // namespace

size_t getLength(const char* const current, const char* const end) noexcept {
    const Lead lead = getLead(toByte(*current));
    return lead.m_length != 0 && countGoodBytes(current, end, lead) == lead.m_length ? lead.m_length : 0;
}

bool isCutSequence(const char* const current, const char* const end) noexcept {
    const Lead lead = getLead(toByte(*current));
    const size_t available = static_cast<size_t>(end - current);
    return available < lead.m_length && countGoodBytes(current, end, lead) == available;
}

const char* findInvalidPortably(const char* const begin, const char* const end) noexcept {
    const char* current = begin;
    for (;;) {
        current = ByteScan::find<ByteScan::NotAscii>(current, end);
        if (current == end)
            return end;
        // Text with one such character usually has more.
        while (current != end && toByte(*current) >= 0x80) {
            const size_t length = getLength(current, end);
            if (length == 0)
                return current;
            current += length;
        }
    }
}

const char* findInvalid(const char* const begin, const char* const end) noexcept {
    static const FindInvalid s_withAVX2 = getFindInvalidWithAVX2();
    return s_withAVX2 == nullptr ? findInvalidPortably(begin, end) : s_withAVX2(begin, end);
}

uint32_t decode(const char* const current) noexcept {
    const uint8_t first = toByte(*current);
    if (first < 0x80)
        return first;
    const unsigned length = getLead(first).m_length;
    uint32_t character = first & (0x7Fu >> length);
    for (unsigned index = 1; index < length; ++index)
        character = character << 6 | (toByte(current[index]) & 0x3Fu);
    return character;
}

char* encode(const uint32_t character, char* output) noexcept {
    const auto put = [&](const uint32_t byte) { *output++ = static_cast<char>(byte); };
    if (character < 0x80) {
        put(character);
        return output;
    }
    if (character < 0x800) {
        put(0xC0 | character >> 6);
    } else {
        if (character < 0x10000) {
            put(0xE0 | character >> 12);
        } else {
            put(0xF0 | character >> 18);
            put(0x80 | (character >> 12 & 0x3F));
        }
        put(0x80 | (character >> 6 & 0x3F));
    }
    put(0x80 | (character & 0x3F));
    return output;
}

} // namespace Rdf::Utf8
