#pragma once

#include <cstddef>
#include <cstdint>

constexpr uint64_t FNV_1A_OFFSET_BASIS = 0xCBF29CE484222325;
constexpr uint64_t FNV_1A_PRIME = 0x100000001B3;

/// The hash of a lexical form: 64-bit FNV-1a over its bytes (Fowler, Noll, Vo). Neither the terminator nor the datatype
/// takes part. Its value decides where saved buckets lie, so it never changes.
inline uint64_t hashLexicalForm(const char* const lexicalForm, const size_t lexicalFormLength) noexcept {
    uint64_t hash = FNV_1A_OFFSET_BASIS;
    for (size_t index = 0; index < lexicalFormLength; ++index)
        hash = (hash ^ static_cast<uint8_t>(lexicalForm[index])) * FNV_1A_PRIME;
    return hash;
}
