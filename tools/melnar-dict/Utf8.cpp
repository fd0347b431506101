#include "tools/melnar-dict/Utf8.h"

#include <cstddef>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

constexpr uint8_t toByte(const char character) noexcept {
    return static_cast<uint8_t>(character);
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

#if defined(__SSE2__)

/// Sixteen bytes of a text, and the sixteen before them.
class Utf8Chunk {
public:
    Utf8Chunk(const char* const bytes, const __m128i previous) noexcept
        : m_bytes(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))), m_previous(previous) {}

    __m128i getBytes() const noexcept { return m_bytes; }

    bool isAscii() const noexcept { return _mm_movemask_epi8(_mm_or_si128(m_bytes, m_previous)) == 0; }

    /// Whether no byte is wrong behind those that stand before it; one that is missing shows in the next chunk.
    bool isWellFormed() const noexcept {
        const __m128i first = _mm_or_si128(_mm_slli_si128(m_bytes, 1), _mm_srli_si128(m_previous, 15));
        const __m128i second = _mm_or_si128(_mm_slli_si128(m_bytes, 2), _mm_srli_si128(m_previous, 14));
        const __m128i third = _mm_or_si128(_mm_slli_si128(m_bytes, 3), _mm_srli_si128(m_previous, 13));
        // Where the highest bit is set, a byte stands one, two or three places behind one that asks for so many more.
        const __m128i isAskedFor =
            _mm_or_si128(_mm_subs_epu8(first, all(0xC0 - 0x80)),
                         _mm_or_si128(_mm_subs_epu8(second, all(0xE0 - 0x80)), _mm_subs_epu8(third, all(0xF0 - 0x80))));
        const __m128i isContinuation = isBelow(0xC0);
        const __m128i neverOccurs = _mm_or_si128(_mm_subs_epu8(m_bytes, all(0xF5 - 0x80)),
                                                 _mm_cmpeq_epi8(_mm_and_si128(m_bytes, all(0xFE)), all(0xC0)));
        const __m128i isOverlong = _mm_or_si128(_mm_and_si128(_mm_cmpeq_epi8(first, all(0xE0)), isBelow(0xA0)),
                                                _mm_and_si128(_mm_cmpeq_epi8(first, all(0xF0)), isBelow(0x90)));
        const __m128i isTooLarge = _mm_or_si128(_mm_andnot_si128(isBelow(0xA0), _mm_cmpeq_epi8(first, all(0xED))),
                                                _mm_andnot_si128(isBelow(0x90), _mm_cmpeq_epi8(first, all(0xF4))));
        const __m128i isWrong = _mm_or_si128(_mm_xor_si128(isAskedFor, isContinuation),
                                             _mm_or_si128(neverOccurs, _mm_or_si128(isOverlong, isTooLarge)));
        return _mm_movemask_epi8(isWrong) == 0;
    }

private:
    static __m128i all(const unsigned byte) noexcept { return _mm_set1_epi8(static_cast<char>(byte)); }

    /// Where a byte is at least 0x80 and below this; as signed numbers, such bytes stand in the same order below zero.
    __m128i isBelow(const unsigned byte) const noexcept { return _mm_cmplt_epi8(m_bytes, all(byte)); }

    const __m128i m_bytes;
    const __m128i m_previous;
};

/// Skips well-formed sequences, most of those there are.
const char* skipChunks(const char* const begin, const char* const end) noexcept {
    const char* current = begin;
    for (__m128i previous = _mm_setzero_si128(); end - current >= 16; current += 16) {
        const Utf8Chunk chunk(current, previous);
        if (!chunk.isAscii() && !chunk.isWellFormed())
            break;
        previous = chunk.getBytes();
    }
    // The last sequence may go on from here.
    const char* last = current;
    while (last != begin && current - last < 3 && isContinuation(last[-1]))
        --last;
    return last != begin && toByte(last[-1]) >= 0x80 ? last - 1 : current;
}

#else

const char* skipChunks(const char* const begin, const char*) noexcept {
    return begin;
}

#endif

} // namespace

const char* findInvalidUtf8(const char* const begin, const char* const end) noexcept {
    const char* current = skipChunks(begin, end);
    while (current != end) {
        const size_t length = toByte(*current) < 0x80 ? 1 : lengthOfSequence(current, end);
        if (length == 0)
            return current;
        current += length;
    }
    return end;
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
