#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

/// Finds and counts bytes in text, sixteen at a time if the processor has SSE2, which every x86-64 has. Nothing outside
/// the range is read.
namespace Rdf::ByteScan {

/// Bytes that end a run: `matches` tests one byte, `matchesOf` sixteen.
struct IriStop { // bytes that are not allowed unescaped in an IRI: up to the space, and <>"{}|^`\.
    static constexpr bool matches(const uint8_t byte) noexcept {
        return byte <= ' ' || (byte | 2) == '>' || byte == '"' || byte == '`' || (byte | 2) == '^' ||
               (byte >= '{' && byte <= '}');
    }
#if defined(__SSE2__)
    static __m128i matchesOf(const __m128i bytes) noexcept {
        const __m128i withTwo = _mm_or_si128(bytes, _mm_set1_epi8(2));
        const __m128i fromBrace = _mm_sub_epi8(bytes, _mm_set1_epi8('{'));
        const __m128i low = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(' ')), bytes);
        const __m128i braces = _mm_cmpeq_epi8(_mm_min_epu8(fromBrace, _mm_set1_epi8(2)), fromBrace);
        const __m128i pairs =
            _mm_or_si128(_mm_cmpeq_epi8(withTwo, _mm_set1_epi8('>')), _mm_cmpeq_epi8(withTwo, _mm_set1_epi8('^')));
        const __m128i singles =
            _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('`')));
        return _mm_or_si128(_mm_or_si128(low, braces), _mm_or_si128(pairs, singles));
    }
#endif
};

struct CanonicalEscape { // bytes that may need an escape in a canonical literal: 0xEF starts U+FFFE and U+FFFF
    static constexpr bool matches(const uint8_t byte) noexcept {
        return byte < ' ' || byte == '"' || byte == '\\' || byte == 0x7F || byte == 0xEF;
    }
#if defined(__SSE2__)
    static __m128i matchesOf(const __m128i bytes) noexcept {
        const __m128i controls = _mm_cmpeq_epi8(_mm_min_epu8(bytes, _mm_set1_epi8(0x1F)), bytes);
        const __m128i quotes =
            _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8('"')), _mm_cmpeq_epi8(bytes, _mm_set1_epi8('\\')));
        const __m128i others = _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(0x7F)),
                                            _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(0xEF))));
        return _mm_or_si128(controls, _mm_or_si128(quotes, others));
    }
#endif
};

template<char... BYTES>
struct AnyOf {
    static constexpr bool matches(const uint8_t byte) noexcept {
        return ((byte == static_cast<uint8_t>(BYTES)) || ...);
    }
#if defined(__SSE2__)
    static __m128i matchesOf(const __m128i bytes) noexcept {
        __m128i found = _mm_setzero_si128();
        ((found = _mm_or_si128(found, _mm_cmpeq_epi8(bytes, _mm_set1_epi8(BYTES)))), ...);
        return found;
    }
#endif
};

struct StringStop { // bytes that are not allowed unescaped in a string on one line
    bool matches(const uint8_t byte) const noexcept {
        return byte == static_cast<uint8_t>(m_quote) || AnyOf<'\\', '\n', '\r'>::matches(byte);
    }
#if defined(__SSE2__)
    __m128i matchesOf(const __m128i bytes) const noexcept {
        return _mm_or_si128(_mm_cmpeq_epi8(bytes, _mm_set1_epi8(m_quote)), AnyOf<'\\', '\n', '\r'>::matchesOf(bytes));
    }
#endif
    char m_quote;
};

struct NotAscii {
    static constexpr bool matches(const uint8_t byte) noexcept { return byte >= 0x80; }
#if defined(__SSE2__)
    static __m128i matchesOf(const __m128i bytes) noexcept {
        return bytes;
    } // only the highest bits matter
#endif
};

struct CharacterStart { // of UTF-8: not a continuation byte
    static constexpr bool matches(const uint8_t byte) noexcept { return (byte & 0xC0) != 0x80; }
#if defined(__SSE2__)
    static __m128i matchesOf(const __m128i bytes) noexcept {
        return _mm_cmpgt_epi8(bytes, _mm_set1_epi8(static_cast<char>(0xBF)));
    }
#endif
};

#if defined(__SSE2__)
/// Bit n says whether byte n from here matches.
template<class Stop>
inline uint32_t maskOf16(const char* const current, const Stop stop = {}) noexcept {
    const __m128i bytes = _mm_loadu_si128(static_cast<const __m128i*>(static_cast<const void*>(current)));
    return static_cast<uint32_t>(_mm_movemask_epi8(stop.matchesOf(bytes)));
}
#endif

/// Returns the first byte that matches, or the end.
template<class Stop>
inline const char* find(const char* current, const char* const end, const Stop stop = {}) noexcept {
#if defined(__SSE2__)
    for (; end - current >= 16; current += 16)
        if (const uint32_t mask = maskOf16(current, stop))
            return current + std::countr_zero(mask);
#endif
    while (current != end && !stop.matches(static_cast<uint8_t>(*current)))
        ++current;
    return current;
}

inline const char* findLineEnd(const char* const current, const char* const end) noexcept {
    return find<AnyOf<'\n', '\r'>>(current, end);
}

/// Copies the bytes before the first one that matches, or before the end, and moves the output after them. Returns the
/// bytes that were not copied. The output has space for all bytes up to the end.
template<class Stop>
inline const char* copyUntil(const char* current, const char* const end, const Stop stop, char*& output) noexcept {
#if defined(__SSE2__)
    for (; end - current >= 16; current += 16, output += 16) {
        std::memcpy(output, current, 16);
        if (const uint32_t mask = maskOf16(current, stop)) {
            output += std::countr_zero(mask);
            return current + std::countr_zero(mask);
        }
    }
#endif
    while (current < end && !stop.matches(static_cast<uint8_t>(*current)))
        *output++ = *current++;
    return current;
}

/// Counts the bytes that match.
template<class Stop>
inline size_t count(const char* current, const char* const end) noexcept {
    size_t number = 0;
#if defined(__SSE2__)
    if (end - current >= 16) {
        for (; end - current >= 16; current += 16)
            number += static_cast<size_t>(std::popcount(maskOf16<Stop>(current)));
        // The last sixteen bytes again, without those that have been counted.
        return number + static_cast<size_t>(std::popcount(maskOf16<Stop>(end - 16) >> (16 - (end - current))));
    }
#endif
    for (; current != end; ++current)
        number += Stop::matches(static_cast<uint8_t>(*current));
    return number;
}

} // namespace Rdf::ByteScan
