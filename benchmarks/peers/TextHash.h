#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string_view>

#define XXH_INLINE_ALL
#include <xxhash.h>

/// A string whose hash is known.
struct HashedText {
    std::string_view m_text;
    uint64_t m_hash;

    explicit HashedText(const std::string_view text) noexcept
        : m_text(text), m_hash(XXH3_64bits(text.data(), text.size())) {}
};

/// The hash of the peers, XXH3. A map that accepts it as transparent does not hash a HashedText again.
///
/// Not noexcept, on purpose: std::unordered_map keeps hashes in its nodes only if computing one might throw, and reads a
/// string for each node that it passes without them.
struct TextHash {
    using is_transparent = void;
    using is_avalanching = void; // tells boost::unordered_flat_map not to mix the hash again

    size_t operator()(const std::string_view text) const { return XXH3_64bits(text.data(), text.size()); }
    size_t operator()(const HashedText& text) const { return text.m_hash; }
};

struct TextEquality {
    using is_transparent = void;

    bool operator()(const std::string_view left, const std::string_view right) const noexcept { return left == right; }

    bool operator()(const HashedText& left, const std::string_view right) const noexcept {
        return left.m_text == right;
    }

    bool operator()(const std::string_view left, const HashedText& right) const noexcept {
        return left == right.m_text;
    }
};
