#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr uint64_t FNV_1A_OFFSET_BASIS = 0xCBF29CE484222325;
constexpr uint64_t FNV_1A_PRIME = 0x100000001B3;

/// The hash of the bytes so far, continued by one byte.
constexpr uint64_t continueHash(const uint64_t hash, const char byte) noexcept {
    return (hash ^ static_cast<uint8_t>(byte)) * FNV_1A_PRIME;
}

/// The same for many bytes.
inline uint64_t continueHash(uint64_t hash, const std::string_view bytes) noexcept {
    for (const char byte : bytes)
        hash = continueHash(hash, byte);
    return hash;
}

/// The hash of a lexical form: 64-bit FNV-1a over its bytes (Fowler, Noll, Vo). Neither the terminator nor the datatype
/// takes part. Its value decides where saved buckets lie, so it never changes.
inline uint64_t hashLexicalForm(const char* const lexicalForm, const size_t lexicalFormLength) noexcept {
    return continueHash(FNV_1A_OFFSET_BASIS, {lexicalForm, lexicalFormLength});
}
