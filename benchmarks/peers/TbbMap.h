#pragma once

#include "benchmarks/pages/PoolAllocator.h"
#include "benchmarks/peers/NewText.h"
#include "benchmarks/peers/TextHash.h"
#include "benchmarks/peers/TextTable.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <tbb/concurrent_hash_map.h>
#include <utility>

/// tbb::concurrent_hash_map: one search, whether the string exists or not. A thread that finds a string that another
/// thread is adding waits for its ID at the entry's lock.
class TbbMap {
public:
    uint64_t resolve(TextTable& texts, const std::string_view text) {
        Ids::accessor entry;
        if (m_ids.insert(entry, NewText(text)))
            entry->second = texts.add(entry->first);
        return entry->second;
    }

    uint64_t lookUp(const std::string_view text) const {
        Ids::const_accessor entry;
        return m_ids.find(entry, text) ? entry->second : 0;
    }

private:
    struct HashCompare : TextEquality {
        using is_transparent = void;

        static size_t hash(const NewText& text) { return text.m_text.m_hash; }

        template<class Text>
        static size_t hash(const Text& text) {
            return TextHash()(text);
        }

        static bool equal(const NewText& left, const std::string_view right) { return left.m_text.m_text == right; }

        template<class Left, class Right>
        static bool equal(const Left& left, const Right& right) {
            return TextEquality()(left, right);
        }
    };

    using Ids = tbb::concurrent_hash_map<std::string_view, uint64_t, HashCompare,
                                         PoolAllocator<std::pair<const std::string_view, uint64_t>>>;

    Ids m_ids;
};
