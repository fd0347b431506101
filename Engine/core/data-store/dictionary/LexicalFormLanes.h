#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// The hashes of many lexical forms, several side by side: FNV-1a is a chain of multiplications, of which a processor can
/// keep a dozen going when each belongs to another form. Every implementation gives the same numbers.
///
/// Each takes `numberOfForms` places of forms in `order`, sorted by their lengths in whole words so that the forms that
/// are side by side end about together, and stores the hash of forms[order[n]] in hashes[order[n]].
namespace melnar::LexicalFormLanes {

/// How much of a form an implementation with vectors reads together.
constexpr size_t BYTES_PER_WORD = 8;

using HashInOrder = void (*)(const std::string_view* forms, const uint16_t* order, size_t numberOfForms,
                             uint64_t* hashes) noexcept;

/// Hashes four forms side by side, with the instructions that every processor has.
void hashInOrderPortably(const std::string_view* forms, const uint16_t* order, size_t numberOfForms,
                         uint64_t* hashes) noexcept;

#if defined(__x86_64__)
/// Hashes sixteen; only on a processor with AVX2.
void hashInOrderWithAVX2(const std::string_view* forms, const uint16_t* order, size_t numberOfForms,
                         uint64_t* hashes) noexcept;

/// Hashes thirty-two; only on a processor with AVX-512 F, BW and DQ.
void hashInOrderWithAVX512(const std::string_view* forms, const uint16_t* order, size_t numberOfForms,
                           uint64_t* hashes) noexcept;
#endif

/// The fastest implementation that this processor can run.
HashInOrder getFastest() noexcept;

} // namespace melnar::LexicalFormLanes
