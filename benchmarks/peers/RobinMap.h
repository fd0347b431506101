#pragma once

#include "benchmarks/pages/PoolAllocator.h"
#include "benchmarks/peers/TextHash.h"
#include "benchmarks/peers/TextTable.h"

#include <cstdint>
#include <string_view>
#include <tsl/robin_map.h>
#include <utility>

/// tsl::robin_map, for one thread. It keeps 32 bits of the hash in the padding of each entry, so they take no memory.
class RobinMap {
public:
    uint64_t resolve(TextTable& texts, const std::string_view text) {
        const auto [place, isNew] = m_ids.try_emplace(TextKey{text}, 0);
        if (isNew) {
            place->first.m_text = TextTable::copy(text);
            place.value() = texts.add(place->first.m_text);
        }
        return place->second;
    }

    uint64_t lookUp(const std::string_view text) const {
        const auto found = m_ids.find(text);
        return found == m_ids.end() ? 0 : found->second;
    }

private:
    tsl::robin_map<TextKey, uint64_t, TextHash, TextEquality, PoolAllocator<std::pair<TextKey, uint64_t>>, true> m_ids;
};
