#pragma once

#include "benchmarks/pages/PoolAllocator.h"
#include "benchmarks/peers/TextHash.h"
#include "benchmarks/peers/TextTable.h"

#include <boost/unordered/unordered_flat_map.hpp>
#include <cstdint>
#include <string_view>
#include <utility>

/// boost::unordered_flat_map, for one thread.
class BoostMap {
public:
    uint64_t resolve(TextTable& texts, const std::string_view text) {
        const auto [place, isNew] = m_ids.try_emplace(TextKey{text}, 0);
        if (isNew) {
            place->first.m_text = TextTable::copy(text);
            place->second = texts.add(place->first.m_text);
        }
        return place->second;
    }

    uint64_t lookUp(const std::string_view text) const {
        const auto found = m_ids.find(text);
        return found == m_ids.end() ? 0 : found->second;
    }

private:
    boost::unordered_flat_map<TextKey, uint64_t, TextHash, TextEquality,
                              PoolAllocator<std::pair<const TextKey, uint64_t>>>
        m_ids;
};
