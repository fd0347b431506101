#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"

#include "Engine/core/data-store/dictionary/LexicalFormHash.h"

#include <array>

namespace melnar::LexicalFormLanes {

void hashInOrderPortably(const std::string_view* const forms, const uint16_t* const order, const size_t numberOfForms,
                         uint64_t* const hashes) noexcept {
    constexpr size_t NUMBER_OF_LANES = 4;
    size_t begin = 0;
    for (; begin + NUMBER_OF_LANES <= numberOfForms; begin += NUMBER_OF_LANES) {
        std::array<const char*, NUMBER_OF_LANES> data;
        for (size_t lane = 0; lane < NUMBER_OF_LANES; ++lane)
            data[lane] = forms[order[begin + lane]].data();
        // The following forms have as many whole words, but may be shorter within their last one.
        const size_t commonLength = forms[order[begin]].size() / BYTES_PER_WORD * BYTES_PER_WORD;
        uint64_t hash0 = FNV_1A_OFFSET_BASIS;
        uint64_t hash1 = FNV_1A_OFFSET_BASIS;
        uint64_t hash2 = FNV_1A_OFFSET_BASIS;
        uint64_t hash3 = FNV_1A_OFFSET_BASIS;
        for (size_t index = 0; index < commonLength; ++index) {
            hash0 = continueHash(hash0, data[0][index]);
            hash1 = continueHash(hash1, data[1][index]);
            hash2 = continueHash(hash2, data[2][index]);
            hash3 = continueHash(hash3, data[3][index]);
            // Compilers would pack the four into vectors, which is far slower without a 64-bit vector multiplication.
            asm("" : "+r"(hash0), "+r"(hash1), "+r"(hash2), "+r"(hash3));
        }
        const std::array<uint64_t, NUMBER_OF_LANES> common{hash0, hash1, hash2, hash3};
        for (size_t lane = 0; lane < NUMBER_OF_LANES; ++lane) {
            const uint16_t place = order[begin + lane];
            hashes[place] = continueHash(common[lane], forms[place].substr(commonLength));
        }
    }
    for (; begin < numberOfForms; ++begin)
        hashes[order[begin]] = continueHash(FNV_1A_OFFSET_BASIS, forms[order[begin]]);
}

HashInOrder getFastest() noexcept {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512dq"))
        return hashInOrderWithAVX512;
    if (__builtin_cpu_supports("avx2"))
        return hashInOrderWithAVX2;
#endif
    return hashInOrderPortably;
}

} // namespace melnar::LexicalFormLanes
