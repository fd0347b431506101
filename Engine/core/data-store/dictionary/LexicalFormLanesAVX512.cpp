#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"

#if defined(__x86_64__)

#include "Engine/core/data-store/dictionary/LexicalFormGroups.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <array>
#include <immintrin.h>

#if !defined(__clang__)
// g++ 12 takes the deliberately undefined operands in its own header for mistakes, and without optimisation the masks,
// which its macros convert.
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wsign-conversion"
#endif

// For a processor that the rest of the program does not ask for.
#define MELNAR_AVX512 __attribute__((target("avx512f,avx512dq")))

namespace LexicalFormLanes {

namespace {

constexpr size_t LANES_PER_VECTOR = 8;
constexpr size_t NUMBER_OF_VECTORS = 4;
constexpr size_t NUMBER_OF_LANES = LANES_PER_VECTOR * NUMBER_OF_VECTORS;

/// A HashOneFormPerLane. Forms are read word by word. A form's last bytes are a part of the word that ends where the
/// form ends, so that nothing outside the form is read.
MELNAR_AVX512 void hashOneFormPerLane(const std::array<const char*, NUMBER_OF_LANES>& data,
                                      const std::array<size_t, NUMBER_OF_LANES>& lengths,
                                      std::array<uint64_t, NUMBER_OF_LANES>& hashes) noexcept {
    const __m512i prime = _mm512_set1_epi64(FNV_1A_PRIME);
    const __m512i byteMask = _mm512_set1_epi64(0xFF);
    __m512i position[NUMBER_OF_VECTORS]; // addresses of the next words
    __m512i hash[NUMBER_OF_VECTORS];
    for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
        position[vector] = _mm512_loadu_si512(&data[vector * LANES_PER_VECTOR]);
        hash[vector] = _mm512_set1_epi64(static_cast<long long>(FNV_1A_OFFSET_BASIS));
    }

    // Words that all lanes have whole.
    const size_t commonLength = lengths.front() & ~(BYTES_PER_WORD - 1);
    for (size_t length = 0; length < commonLength; length += BYTES_PER_WORD) {
        __m512i word[NUMBER_OF_VECTORS];
        for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
            word[vector] = _mm512_mask_i64gather_epi64(_mm512_setzero_si512(), 0xFF, position[vector], nullptr, 1);
            position[vector] = _mm512_add_epi64(position[vector], _mm512_set1_epi64(BYTES_PER_WORD));
        }
        for (size_t byte = 0; byte < BYTES_PER_WORD; ++byte)
            for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
                // hash ^ (word & 0xFF), then the multiplication.
                hash[vector] = _mm512_ternarylogic_epi64(hash[vector], word[vector], byteMask, 0x78);
                hash[vector] = _mm512_mullo_epi64(hash[vector], prime);
                word[vector] = _mm512_srli_epi64(word[vector], 8);
            }
    }

    // Words that some lanes have whole, some in part and some not at all.
    for (size_t vector = 0; vector < NUMBER_OF_VECTORS; ++vector) {
        __m512i remaining = _mm512_sub_epi64(_mm512_loadu_si512(&lengths[vector * LANES_PER_VECTOR]),
                                             _mm512_set1_epi64(static_cast<long long>(commonLength)));
        const __m512i wordLength = _mm512_set1_epi64(BYTES_PER_WORD);
        for (;;) {
            const __mmask8 unfinished = _mm512_cmpgt_epi64_mask(remaining, _mm512_setzero_si512());
            if (unfinished == 0)
                break;
            const __m512i excess = _mm512_max_epi64(_mm512_sub_epi64(wordLength, remaining), _mm512_setzero_si512());
            __m512i word = _mm512_mask_i64gather_epi64(_mm512_setzero_si512(), unfinished,
                                                       _mm512_sub_epi64(position[vector], excess), nullptr, 1);
            word = _mm512_srlv_epi64(word, _mm512_slli_epi64(excess, 3));
            for (long long byte = 0; byte < static_cast<long long>(BYTES_PER_WORD); ++byte) {
                const __mmask8 active = _mm512_cmpgt_epi64_mask(remaining, _mm512_set1_epi64(byte));
                const __m512i mixed = _mm512_ternarylogic_epi64(hash[vector], word, byteMask, 0x78);
                hash[vector] = _mm512_mask_mullo_epi64(hash[vector], active, mixed, prime);
                word = _mm512_srli_epi64(word, 8);
            }
            position[vector] = _mm512_add_epi64(position[vector], wordLength);
            remaining = _mm512_sub_epi64(remaining, wordLength);
        }
        _mm512_storeu_si512(&hashes[vector * LANES_PER_VECTOR], hash[vector]);
    }
}

} // namespace

void hashInOrderWithAVX512(const std::string_view* const forms, const uint16_t* const order, const size_t numberOfForms,
                           uint64_t* const hashes) noexcept {
    hashGroupsInOrder<NUMBER_OF_LANES, hashOneFormPerLane>(forms, order, numberOfForms, hashes);
}

} // namespace LexicalFormLanes

#endif
