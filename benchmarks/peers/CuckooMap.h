#pragma once

#include "benchmarks/pages/PoolAllocator.h"
#include "benchmarks/peers/NewText.h"
#include "benchmarks/peers/TextHash.h"
#include "benchmarks/peers/TextTable.h"

#include <cstddef>
#include <cstdint>
#include <libcuckoo/cuckoohash_map.hh>
#include <string_view>
#include <utility>

/// libcuckoo's map: one search, whether the string exists or not; key and ID are made after the map has found their
/// place.
class CuckooMap {
public:
    uint64_t resolve(TextTable& texts, const std::string_view text) {
        const NewText newText(text);
        uint64_t id = 0;
        m_ids.upsert(
            newText, [&](const uint64_t presentID) { id = presentID; }, NewID{texts, newText, id});
        return id;
    }

    uint64_t lookUp(const std::string_view text) const {
        uint64_t id = 0;
        m_ids.find(HashedText(text), id);
        return id;
    }

private:
    /// The ID of a string whose key the map has just made.
    struct NewID {
        TextTable& m_texts;
        const NewText& m_text;
        uint64_t& m_id;

        // NOLINTNEXTLINE(google-explicit-constructor)
        explicit(false) operator uint64_t() const { return m_id = m_texts.add(m_text.m_copy); }
    };

    struct Hash : TextHash {
        using TextHash::operator();
        size_t operator()(const NewText& text) const { return text.m_text.m_hash; }
    };

    struct Equality : TextEquality {
        using TextEquality::operator();
        bool operator()(const std::string_view left, const NewText& right) const noexcept {
            return left == right.m_text.m_text;
        }
    };

    // Starts with room for 262,144 strings, the map's default. If it starts with less, it adds locks as it grows, and
    // two concurrently inserting threads have been observed to crash in it.
    libcuckoo::cuckoohash_map<std::string_view, uint64_t, Hash, Equality,
                              PoolAllocator<std::pair<const std::string_view, uint64_t>>>
        m_ids;
};
