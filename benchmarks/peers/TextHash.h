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

/// The key of a map that inserts a key before it reports whether the key is new: afterwards the text is replaced by the
/// map's own copy, an equal one.
struct TextKey {
    mutable std::string_view m_text;
};

/// The hash of the peers, XXH3. A map that accepts it as transparent does not hash a HashedText again.
///
/// Not noexcept, on purpose: std::unordered_map stores hashes in its nodes only if computing one may throw; without
/// them it reads a string for each node that it passes.
struct TextHash {
    using is_transparent = void;
    using is_avalanching = void; // tells boost::unordered_flat_map not to mix the hash again

    size_t operator()(const std::string_view text) const { return XXH3_64bits(text.data(), text.size()); }
    size_t operator()(const TextKey& text) const { return (*this)(text.m_text); }
    size_t operator()(const HashedText& text) const { return text.m_hash; }
};

struct TextEquality {
    using is_transparent = void;

    template<class Left, class Right>
    bool operator()(const Left& left, const Right& right) const noexcept {
        return getText(left) == getText(right);
    }

private:
    static std::string_view getText(const std::string_view text) noexcept { return text; }
    static std::string_view getText(const TextKey& text) noexcept { return text.m_text; }
    static std::string_view getText(const HashedText& text) noexcept { return text.m_text; }
};
