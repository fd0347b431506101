#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Hashes many lexical forms, several in parallel: FNV-1a is a chain of multiplications, and a processor can execute a
/// dozen of them concurrently if they belong to different forms. All implementations give the same hashes.
///
/// Each one takes the indexes of `numberOfForms` forms in `order`, sorted by length in whole words, so that forms in
/// parallel lanes end at about the same time. It stores the hash of forms[order[n]] in hashes[order[n]].
namespace melnar::LexicalFormLanes {

/// The number of bytes of a form that a vectorised implementation reads together.
constexpr size_t BYTES_PER_WORD = 8;

using HashInOrder = void (*)(const std::string_view* forms, const uint16_t* order, size_t numberOfForms,
                             uint64_t* hashes) noexcept;

/// Hashes four forms in parallel, with instructions that every processor has.
void hashInOrderPortably(const std::string_view* forms, const uint16_t* order, size_t numberOfForms,
                         uint64_t* hashes) noexcept;

#if defined(__x86_64__)
/// Hashes sixteen forms in parallel; requires AVX2.
void hashInOrderWithAVX2(const std::string_view* forms, const uint16_t* order, size_t numberOfForms,
                         uint64_t* hashes) noexcept;

/// Hashes thirty-two forms in parallel; requires AVX-512 F, BW and DQ.
void hashInOrderWithAVX512(const std::string_view* forms, const uint16_t* order, size_t numberOfForms,
                           uint64_t* hashes) noexcept;
#endif

/// Returns the fastest implementation for this processor.
HashInOrder getFastest() noexcept;

} // namespace melnar::LexicalFormLanes
