#pragma once

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/data-store/sharded/ShardedBatch.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <cstdint>
#include <optional>

/// A DictionaryThread for each shard of a dictionary. It brings all shards into memory.
///
/// Memory     A block of the data pool of each shard, 16 MiB altogether, as far as the limit permits.
/// Ownership  As DictionaryThread, for each shard.
/// Threads    Used by the thread that makes it. The DictionaryThread of a shard may be used by another thread with a
///            DictionaryThread::Loan. Destroyed by any thread.
/// Errors     Those of ShardedDictionary.
class MELNAR_EXPORT ShardedDictionaryThread : private Unmovable {
public:
    /// Brings all shards into memory.
    explicit ShardedDictionaryThread(ShardedDictionary& dictionary) {
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
            m_threads[shard].emplace(dictionary.getOrMakeShard(shard));
    }

    /// Returns the DictionaryThread of one shard.
    DictionaryThread& getThread(const uint32_t shard) noexcept { return *m_threads[shard]; }

private:
    friend class ShardedDictionary;

    std::array<std::optional<DictionaryThread>, ShardLayout::NUMBER_OF_SHARDS> m_threads;
    melnar::ShardedBatch m_batch;
};
