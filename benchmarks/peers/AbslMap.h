#pragma once

#include "benchmarks/pages/PoolAllocator.h"
#include "benchmarks/peers/MapPeer.h"
#include "benchmarks/peers/TextHash.h"

#include <absl/container/flat_hash_map.h>
#include <cstdint>
#include <string_view>
#include <utility>

/// absl::flat_hash_map: one probe, whether the string exists or not.
class AbslMap {
public:
    uint64_t resolve(TextTable& texts, const HashedText& text) {
        return m_ids
            .lazy_emplace(text,
                          [&](const Ids::constructor& construct) {
                              const std::string_view copiedText = TextTable::copy(text.m_text);
                              construct(copiedText, texts.add(copiedText));
                          })
            ->second;
    }

    uint64_t lookUp(const HashedText& text) const {
        const auto found = m_ids.find(text);
        return found == m_ids.end() ? 0 : found->second;
    }

private:
    using Ids = absl::flat_hash_map<std::string_view, uint64_t, TextHash, TextEquality,
                                    PoolAllocator<std::pair<const std::string_view, uint64_t>>>;

    Ids m_ids;
};
