#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

constexpr uint64_t FNV_1A_OFFSET_BASIS = 0xCBF29CE484222325;
constexpr uint64_t FNV_1A_PRIME = 0x100000001B3;

/// Continues the hash of preceding bytes with one byte.
constexpr uint64_t continueHash(const uint64_t hash, const char byte) noexcept {
    return (hash ^ static_cast<uint8_t>(byte)) * FNV_1A_PRIME;
}

/// Continues the hash of preceding bytes with many bytes.
inline uint64_t continueHash(uint64_t hash, const std::string_view bytes) noexcept {
    for (const char byte : bytes)
        hash = continueHash(hash, byte);
    return hash;
}

/// Returns the hash of a lexical form: 64-bit FNV-1a over its bytes (Fowler, Noll, Vo), without the terminator and the
/// datatype. It determines the positions in saved tables, so it must never change.
inline uint64_t hashLexicalForm(const char* const lexicalForm, const size_t lexicalFormLength) noexcept {
    return continueHash(FNV_1A_OFFSET_BASIS, {lexicalForm, lexicalFormLength});
}
