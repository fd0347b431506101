#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"

#if defined(__x86_64__)

#include "Engine/core/data-store/dictionary/LexicalFormGroups.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <array>
#include <cstring>
#include <immintrin.h>

// Only these functions are compiled for such a processor, not the rest of the program.
#define MELNAR_AVX2 __attribute__((target("avx2")))

namespace melnar::LexicalFormLanes {

namespace {

constexpr size_t LANES_PER_VECTOR = 4;
constexpr size_t NUMBER_OF_VECTORS = 4;
constexpr size_t NUMBER_OF_LANES = LANES_PER_VECTOR * NUMBER_OF_VECTORS;

/// AVX2 has no multiplication of 64-bit lanes, but the prime is 2^40 + 0x1B3.
MELNAR_AVX2 inline __m256i multiplyByPrime(const __m256i value) noexcept {
    constexpr int HIGH_BIT = 40;
    static_assert(FNV_1A_PRIME >> HIGH_BIT == 1);
    const __m256i lowPart = _mm256_set1_epi64x(FNV_1A_PRIME & ((uint64_t(1) << HIGH_BIT) - 1));
    const __m256i low = _mm256_mul_epu32(value, lowPart);
    const __m256i high = _mm256_slli_epi64(_mm256_mul_epu32(_mm256_srli_epi64(value, 32), lowPart), 32);
    return _mm256_add_epi64(_mm256_add_epi64(low, high), _mm256_slli_epi64(value, HIGH_BIT));
}

/// One step of the hash with byte number `byte` of each word.
MELNAR_AVX2 inline __m256i mixByte(const __m256i hash, const __m256i word, const size_t byte) noexcept {
    constexpr long long ZERO_BYTES = static_cast<long long>(0x8080808080808000);
    const long long low = ZERO_BYTES + static_cast<long long>(byte);
    const long long high = low + static_cast<long long>(BYTES_PER_WORD);
    return multiplyByPrime(_mm256_xor_si256(hash, _mm256_shuffle_epi8(word, _mm256_set_epi64x(high, low, high, low))));
}

MELNAR_AVX2 inline __m256i load(const void* const data) noexcept {
    return _mm256_loadu_si256(static_cast<const __m256i*>(data));
}

inline long long loadWord(const char* const begin) noexcept {
    long long word;
    std::memcpy(&word, begin, sizeof(word));
    return word;
}

/// A HashOneFormPerLane. Reads forms word by word. The last bytes of a form are part of the word that ends where the
/// form ends, so nothing outside of the form is read.
MELNAR_AVX2 void hashOneFormPerLane(const std::array<const char*, NUMBER_OF_LANES>& data,
                                    const std::array<size_t, NUMBER_OF_LANES>& lengths,
                                    std::array<uint64_t, NUMBER_OF_LANES>& hashes) noexcept {
    const __m256i zero = _mm256_setzero_si256();
    const __m256i wordLength = _mm256_set1_epi64x(BYTES_PER_WORD);
    __m256i hash[NUMBER_OF_VECTORS];
    for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
        hash[vector] = _mm256_set1_epi64x(static_cast<long long>(FNV_1A_OFFSET_BASIS));
    }

    // Words that all lanes have completely.
    const size_t commonLength = lengths.front() & ~(BYTES_PER_WORD - 1);
    for (size_t length = 0; length < commonLength; length += BYTES_PER_WORD) {
        __m256i word[NUMBER_OF_VECTORS];
        for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
            const char* const* const begins = &data[vector * LANES_PER_VECTOR];
            word[vector] = _mm256_set_epi64x(loadWord(begins[3] + length), loadWord(begins[2] + length),
                                             loadWord(begins[1] + length), loadWord(begins[0] + length));
        }
        for (size_t byte = 0; byte < BYTES_PER_WORD; ++byte)
            for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector)
                hash[vector] = mixByte(hash[vector], word[vector], byte);
    }

    // Words that some lanes have completely, some in part and some not at all.
    for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
        __m256i remaining = _mm256_sub_epi64(load(&lengths[vector * LANES_PER_VECTOR]),
                                             _mm256_set1_epi64x(static_cast<long long>(commonLength)));
        __m256i position = _mm256_add_epi64(load(&data[vector * LANES_PER_VECTOR]),
                                            _mm256_set1_epi64x(static_cast<long long>(commonLength)));
        for (;;) {
            const __m256i unfinished = _mm256_cmpgt_epi64(remaining, zero);
            if (_mm256_testz_si256(unfinished, unfinished))
                break;
            const __m256i tooMany = _mm256_sub_epi64(wordLength, remaining);
            const __m256i excess = _mm256_and_si256(tooMany, _mm256_cmpgt_epi64(tooMany, zero));
            __m256i word = _mm256_mask_i64gather_epi64(zero, static_cast<const long long*>(nullptr),
                                                       _mm256_sub_epi64(position, excess), unfinished, 1);
            word = _mm256_srlv_epi64(word, _mm256_slli_epi64(excess, 3));
            for (size_t byte = 0; byte < BYTES_PER_WORD; ++byte) {
                const __m256i active = _mm256_cmpgt_epi64(remaining, _mm256_set1_epi64x(static_cast<long long>(byte)));
                hash[vector] = _mm256_blendv_epi8(hash[vector], mixByte(hash[vector], word, byte), active);
            }
            position = _mm256_add_epi64(position, wordLength);
            remaining = _mm256_sub_epi64(remaining, wordLength);
        }
        _mm256_storeu_si256(static_cast<__m256i*>(static_cast<void*>(&hashes[vector * LANES_PER_VECTOR])),
                            hash[vector]);
    }
}

} // namespace

void hashInOrderWithAVX2(const std::string_view* const forms, const uint16_t* const order, const size_t numberOfForms,
                         uint64_t* const hashes) noexcept {
    hashGroupsInOrder<NUMBER_OF_LANES, BYTES_PER_WORD, hashOneFormPerLane>(forms, order, numberOfForms, hashes);
}

} // namespace melnar::LexicalFormLanes

#endif
