#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"

#if defined(__x86_64__)

#include "Engine/core/data-store/dictionary/LexicalFormGroups.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <algorithm>
#include <array>
#include <immintrin.h>

#if !defined(__clang__)
// g++ 12 warns about the deliberately undefined operands in its own header and, without optimisation, about the masks
// that its macros convert.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#endif

// Only these functions are compiled for such a processor, not the rest of the program.
#define MELNAR_AVX512 __attribute__((target("avx512f,avx512bw,avx512dq")))

namespace melnar::LexicalFormLanes {

namespace {

constexpr size_t LANES_PER_VECTOR = 8;
constexpr size_t NUMBER_OF_VECTORS = 4;
constexpr size_t NUMBER_OF_LANES = LANES_PER_VECTOR * NUMBER_OF_VECTORS;

/// The number of bytes of a form that are loaded together: one vector.
constexpr size_t BYTES_PER_BLOCK = 64;
constexpr size_t WORDS_PER_BLOCK = BYTES_PER_BLOCK / BYTES_PER_WORD;

/// Loads one block of each form of a vector, and transposes rows and columns: words[n] gets word n of all forms. Words
/// beyond the end of a form are zero; nothing is read there.
MELNAR_AVX512 void loadWords(const char* const* const data, const size_t* const lengths, const size_t blockBegin,
                             __m512i (&words)[WORDS_PER_BLOCK]) noexcept {
    __m512i rows[LANES_PER_VECTOR];
    for (size_t lane = 0; lane < LANES_PER_VECTOR; ++lane) {
        const size_t begin = std::min(lengths[lane], blockBegin); // a pointer beyond the end would be undefined
        const size_t remaining = lengths[lane] - begin;
        const __mmask64 present =
            remaining == 0 ? 0 : ~__mmask64(0) >> (BYTES_PER_BLOCK - std::min(remaining, BYTES_PER_BLOCK));
        rows[lane] = _mm512_maskz_loadu_epi8(present, data[lane] + begin);
    }
    __m512i pairs[LANES_PER_VECTOR]; // even words of two rows, then odd words of the same two
    for (size_t lane = 0; lane < LANES_PER_VECTOR; lane += 2) {
        pairs[lane] = _mm512_unpacklo_epi64(rows[lane], rows[lane + 1]);
        pairs[lane + 1] = _mm512_unpackhi_epi64(rows[lane], rows[lane + 1]);
    }
    for (size_t odd = 0; odd < 2; ++odd) {
        const __m512i first04 = _mm512_shuffle_i64x2(pairs[odd], pairs[2 + odd], 0x88);
        const __m512i first26 = _mm512_shuffle_i64x2(pairs[odd], pairs[2 + odd], 0xDD);
        const __m512i last04 = _mm512_shuffle_i64x2(pairs[4 + odd], pairs[6 + odd], 0x88);
        const __m512i last26 = _mm512_shuffle_i64x2(pairs[4 + odd], pairs[6 + odd], 0xDD);
        words[odd] = _mm512_shuffle_i64x2(first04, last04, 0x88);
        words[2 + odd] = _mm512_shuffle_i64x2(first26, last26, 0x88);
        words[4 + odd] = _mm512_shuffle_i64x2(first04, last04, 0xDD);
        words[6 + odd] = _mm512_shuffle_i64x2(first26, last26, 0xDD);
    }
}

/// Continues each hash with the bytes of a word, one byte of all words after the other, so that the multiplications
/// overlap.
MELNAR_AVX512 __attribute__((always_inline)) inline void hashWholeWords(__m512i (&hash)[NUMBER_OF_VECTORS],
                                                                        __m512i (&words)[NUMBER_OF_VECTORS]) noexcept {
    for (size_t byte = 0; byte < BYTES_PER_WORD; ++byte)
        for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
            // hash ^ (word & 0xFF), then the multiplication
            hash[vector] = _mm512_ternarylogic_epi64(hash[vector], words[vector], _mm512_set1_epi64(0xFF), 0x78);
            hash[vector] = _mm512_mullo_epi64(hash[vector], _mm512_set1_epi64(FNV_1A_PRIME));
            words[vector] = _mm512_srli_epi64(words[vector], 8);
        }
}

/// Does the same from FIRST_VECTOR on, where some lanes have the whole word, some a part of it and some nothing.
template<size_t FIRST_VECTOR>
MELNAR_AVX512 __attribute__((always_inline)) inline void
hashWords(__m512i (&hash)[NUMBER_OF_VECTORS], __m512i (&words)[NUMBER_OF_VECTORS],
          const __m512i (&lengths)[NUMBER_OF_VECTORS], const size_t wordBegin) noexcept {
    for (size_t byte = 0; byte < BYTES_PER_WORD; ++byte) {
        const __m512i position = _mm512_set1_epi64(static_cast<long long>(wordBegin) + static_cast<long long>(byte));
        for (size_t vector = FIRST_VECTOR; vector < NUMBER_OF_VECTORS; ++vector) {
            const __m512i mixed = _mm512_ternarylogic_epi64(hash[vector], words[vector], _mm512_set1_epi64(0xFF), 0x78);
            hash[vector] = _mm512_mask_mullo_epi64(hash[vector], _mm512_cmpgt_epu64_mask(lengths[vector], position),
                                                   mixed, _mm512_set1_epi64(FNV_1A_PRIME));
            words[vector] = _mm512_srli_epi64(words[vector], 8);
        }
    }
}

/// A HashOneFormPerLane.
MELNAR_AVX512 void hashOneFormPerLane(const std::array<const char*, NUMBER_OF_LANES>& data,
                                      const std::array<size_t, NUMBER_OF_LANES>& lengths,
                                      std::array<uint64_t, NUMBER_OF_LANES>& hashes) noexcept {
    constexpr size_t LAST_VECTOR = NUMBER_OF_VECTORS - 1;
    __m512i hash[NUMBER_OF_VECTORS];
    __m512i lengthOf[NUMBER_OF_VECTORS];
    for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
        hash[vector] = _mm512_set1_epi64(static_cast<long long>(FNV_1A_OFFSET_BASIS));
        lengthOf[vector] = _mm512_loadu_si512(&lengths[vector * LANES_PER_VECTOR]);
    }
    // The numbers of words that all lanes have; that at least one lane before the last vector has; and that at least
    // one lane has.
    const size_t commonWords = lengths.front() / BYTES_PER_WORD;
    const size_t wordsOfMost = lengths[LAST_VECTOR * LANES_PER_VECTOR - 1] / BYTES_PER_WORD + 1;
    const size_t numberOfWords = lengths.back() / BYTES_PER_WORD + 1;
    __m512i block[NUMBER_OF_VECTORS][WORDS_PER_BLOCK];
    for (size_t index = 0; index < numberOfWords; ++index) {
        if (index % WORDS_PER_BLOCK == 0)
            for (size_t vector = index < wordsOfMost ? 0 : LAST_VECTOR; vector < NUMBER_OF_VECTORS; ++vector)
                loadWords(&data[vector * LANES_PER_VECTOR], &lengths[vector * LANES_PER_VECTOR], index * BYTES_PER_WORD,
                          block[vector]);
        __m512i words[NUMBER_OF_VECTORS];
        for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector)
            words[vector] = block[vector][index % WORDS_PER_BLOCK];
        if (index < commonWords)
            hashWholeWords(hash, words);
        else if (index < wordsOfMost)
            hashWords<0>(hash, words, lengthOf, index * BYTES_PER_WORD);
        else
            hashWords<LAST_VECTOR>(hash, words, lengthOf, index * BYTES_PER_WORD);
    }
    for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector)
        _mm512_storeu_si512(&hashes[vector * LANES_PER_VECTOR], hash[vector]);
}

} // namespace

void hashInOrderWithAVX512(const std::string_view* const forms, const uint16_t* const order, const size_t numberOfForms,
                           uint64_t* const hashes) noexcept {
    hashGroupsInOrder<NUMBER_OF_LANES, 0, hashOneFormPerLane>(forms, order, numberOfForms, hashes);
}

} // namespace melnar::LexicalFormLanes

#endif
