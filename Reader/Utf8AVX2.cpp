#include "Reader/Utf8.h"

#if defined(__x86_64__)

#include <algorithm>

#include <immintrin.h>

// For a processor feature that the rest of the program does not require.
#define MELNAR_AVX2 __attribute__((target("avx2")))

namespace Rdf::Utf8 {

namespace {

// A pair of neighbouring bytes is wrong in one of these ways (Keiser and Lemire, "Validating UTF-8 in less than one
// instruction per byte"). Each of three tables, indexed by half a byte, contains the ways that remain possible.
constexpr uint8_t TOO_SHORT = 1 << 0;      // a first byte, then no continuation
constexpr uint8_t TOO_LONG = 1 << 1;       // ASCII, then a continuation
constexpr uint8_t OVERLONG_3 = 1 << 2;     // E0, then below A0
constexpr uint8_t TOO_LARGE = 1 << 3;      // F4, then 90 or more; or F5 to FF
constexpr uint8_t SURROGATE = 1 << 4;      // ED, then A0 or more
constexpr uint8_t OVERLONG_2 = 1 << 5;     // C0 or C1
constexpr uint8_t TOO_LARGE_1000 = 1 << 6; // F5 or more, then 80 to 8F
constexpr uint8_t OVERLONG_4 = 1 << 6;     // F0, then 80 to 8F
constexpr uint8_t TWO_CONTINUATIONS = 1 << 7;
constexpr uint8_t CARRY = TOO_SHORT | TOO_LONG | TWO_CONTINUATIONS;

struct alignas(16) Table {
    uint8_t m_entries[16];
};

constexpr Table FIRST_HIGH{{TOO_LONG, TOO_LONG, TOO_LONG, TOO_LONG, TOO_LONG, TOO_LONG, TOO_LONG, TOO_LONG,
                            TWO_CONTINUATIONS, TWO_CONTINUATIONS, TWO_CONTINUATIONS, TWO_CONTINUATIONS,
                            TOO_SHORT | OVERLONG_2, TOO_SHORT, TOO_SHORT | OVERLONG_3 | SURROGATE,
                            TOO_SHORT | TOO_LARGE | TOO_LARGE_1000 | OVERLONG_4}};
constexpr Table FIRST_LOW{{CARRY | OVERLONG_3 | OVERLONG_2 | OVERLONG_4, CARRY | OVERLONG_2, CARRY, CARRY,
                           CARRY | TOO_LARGE, CARRY | TOO_LARGE | TOO_LARGE_1000, CARRY | TOO_LARGE | TOO_LARGE_1000,
                           CARRY | TOO_LARGE | TOO_LARGE_1000, CARRY | TOO_LARGE | TOO_LARGE_1000,
                           CARRY | TOO_LARGE | TOO_LARGE_1000, CARRY | TOO_LARGE | TOO_LARGE_1000,
                           CARRY | TOO_LARGE | TOO_LARGE_1000, CARRY | TOO_LARGE | TOO_LARGE_1000,
                           CARRY | TOO_LARGE | TOO_LARGE_1000 | SURROGATE, CARRY | TOO_LARGE | TOO_LARGE_1000,
                           CARRY | TOO_LARGE | TOO_LARGE_1000}};
constexpr Table SECOND_HIGH{{TOO_SHORT, TOO_SHORT, TOO_SHORT, TOO_SHORT, TOO_SHORT, TOO_SHORT, TOO_SHORT, TOO_SHORT,
                             TOO_LONG | OVERLONG_2 | TWO_CONTINUATIONS | OVERLONG_3 | TOO_LARGE_1000 | OVERLONG_4,
                             TOO_LONG | OVERLONG_2 | TWO_CONTINUATIONS | OVERLONG_3 | TOO_LARGE,
                             TOO_LONG | OVERLONG_2 | TWO_CONTINUATIONS | SURROGATE | TOO_LARGE,
                             TOO_LONG | OVERLONG_2 | TWO_CONTINUATIONS | SURROGATE | TOO_LARGE, TOO_SHORT, TOO_SHORT,
                             TOO_SHORT, TOO_SHORT}};

MELNAR_AVX2 inline __m256i load(const Table& table) noexcept {
    return _mm256_broadcastsi128_si256(_mm_load_si128(static_cast<const __m128i*>(static_cast<const void*>(&table))));
}

/// Returns the bytes shifted by `DISTANCE` positions.
template<int DISTANCE>
MELNAR_AVX2 inline __m256i delay(const __m256i bytes, const __m256i previous) noexcept {
    return _mm256_alignr_epi8(bytes, _mm256_permute2x128_si256(previous, bytes, 0x21), 16 - DISTANCE);
}

MELNAR_AVX2 inline bool hasFault(const __m256i bytes, const __m256i previous) noexcept {
    const __m256i half = _mm256_set1_epi8(0x0F);
    const __m256i first = delay<1>(bytes, previous);
    const __m256i ways = _mm256_and_si256(
        _mm256_and_si256(_mm256_shuffle_epi8(load(FIRST_HIGH), _mm256_and_si256(_mm256_srli_epi16(first, 4), half)),
                         _mm256_shuffle_epi8(load(FIRST_LOW), _mm256_and_si256(first, half))),
        _mm256_shuffle_epi8(load(SECOND_HIGH), _mm256_and_si256(_mm256_srli_epi16(bytes, 4), half)));
    // Third and fourth bytes must be second continuations, and no others may be.
    const __m256i third = _mm256_subs_epu8(delay<2>(bytes, previous), _mm256_set1_epi8(0xE0 - 0x80));
    const __m256i fourth = _mm256_subs_epu8(delay<3>(bytes, previous), _mm256_set1_epi8(0xF0 - 0x80));
    const __m256i expected =
        _mm256_and_si256(_mm256_or_si256(third, fourth), _mm256_set1_epi8(static_cast<char>(0x80)));
    const __m256i faults = _mm256_xor_si256(ways, expected);
    return _mm256_testz_si256(faults, faults) == 0;
}

/// `bytes` are all ASCII after a complete sequence, or have no error.
MELNAR_AVX2 inline bool isValid(const __m256i bytes, const __m256i previous) noexcept {
    return _mm256_movemask_epi8(_mm256_or_si256(bytes, previous)) == 0 || !hasFault(bytes, previous);
}

MELNAR_AVX2 const char* findInvalidWithAVX2(const char* const begin, const char* const end) noexcept {
    const char* current = begin;
    __m256i previous = _mm256_setzero_si256();
    for (; end - current >= 32; current += 32) {
        const __m256i bytes = _mm256_loadu_si256(static_cast<const __m256i*>(static_cast<const void*>(current)));
        if (!isValid(bytes, previous))
            break;
        previous = bytes;
    }
    if (const auto size = static_cast<size_t>(end - current); size < sizeof(__m256i)) {
        // The zeros after the text reveal a last sequence that is truncated.
        alignas(sizeof(__m256i)) char rest[sizeof(__m256i)] = {};
        std::copy(current, end, rest);
        if (isValid(_mm256_load_si256(static_cast<const __m256i*>(static_cast<const void*>(rest))), previous))
            return end;
    }
    // The last sequence may continue after this position, and a truncated one is detected only in the following bytes.
    for (int step = 0; step < 3 && current != begin && (current[-1] & 0xC0) == 0x80; ++step)
        --current;
    if (current != begin && static_cast<uint8_t>(current[-1]) >= 0x80)
        --current;
    return findInvalidPortably(current, end);
}

} // namespace

FindInvalid getFindInvalidWithAVX2() noexcept {
    return __builtin_cpu_supports("avx2") ? findInvalidWithAVX2 : nullptr;
}

} // namespace Rdf::Utf8

#else

namespace Rdf::Utf8 {

FindInvalid getFindInvalidWithAVX2() noexcept {
    return nullptr;
}

} // namespace Rdf::Utf8

#endif
