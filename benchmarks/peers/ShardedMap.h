#pragma once

#include "benchmarks/peers/MapPeer.h"
#include "benchmarks/peers/TextHash.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string_view>

/// 256 maps that do not support several threads, each protected by a mutex; the highest bits of the hash select one.
template<class Map>
class ShardedMap {
public:
    uint64_t resolve(TextTable& texts, const std::string_view text) {
        const HashedText hashedText(text);
        Shard& shard = getShard(hashedText);
        const std::lock_guard lock(shard.m_mutex);
        return shard.m_map.resolve(texts, hashedText);
    }

    uint64_t lookUp(const std::string_view text) {
        const HashedText hashedText(text);
        Shard& shard = getShard(hashedText);
        const std::lock_guard lock(shard.m_mutex);
        return shard.m_map.lookUp(hashedText);
    }

private:
    static constexpr size_t NUMBER_OF_SHARDS = 256;

    struct alignas(64) Shard {
        std::mutex m_mutex;
        Map m_map;
    };

    Shard& getShard(const HashedText& text) noexcept { return m_shards[text.m_hash >> 56]; }

    std::array<Shard, NUMBER_OF_SHARDS> m_shards;
};
