#pragma once

#include "benchmarks/pages/PoolAllocator.h"
#include "benchmarks/peers/TextHash.h"
#include "benchmarks/peers/TextTable.h"

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <utility>

/// std::unordered_map. A new string is hashed and searched twice, the second time with everything in the cache: the map
/// has no insertion that makes its key only when it needs one.
class StdMap {
public:
    uint64_t resolve(TextTable& texts, const HashedText& text) {
        if (const auto found = m_ids.find(text); found != m_ids.end())
            return found->second;
        const std::string_view copiedText = TextTable::copy(text.m_text);
        return m_ids.emplace(copiedText, texts.add(copiedText)).first->second;
    }

    uint64_t lookUp(const HashedText& text) const {
        const auto found = m_ids.find(text);
        return found == m_ids.end() ? 0 : found->second;
    }

private:
    std::unordered_map<std::string_view, uint64_t, TextHash, TextEquality,
                       PoolAllocator<std::pair<const std::string_view, uint64_t>>>
        m_ids;
};
