#pragma once

#include "tools/melnar-dict-mpi/Ranks.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>

/// The shards of a dictionary that a rank owns: every so many-th one, where there are so many ranks. Others it does not know.
///
/// Ownership  Owns the shards in memory.
/// Threads    One at a time.
/// Errors     Those of ShardedDictionary.
class RankDictionary : private Unmovable {
public:
    /// A new dictionary, or that of a manifest in a folder.
    RankDictionary(const Ranks& ranks, const std::string& folderName, const ShardManifest& manifest,
                   const DictionaryOptions& options);

    /// Manifests on their way from rank to rank.
    static std::string toBytes(const ShardManifest& manifest);
    static ShardManifest fromBytes(const std::string& bytes);

    /// Gives terms of a shard of this rank local IDs. Terms that every dictionary refuses get none.
    void resolve(uint32_t shard, std::span<BatchEntry> terms);

    /// Looks up those that have one.
    void tryResolve(uint32_t shard, std::span<BatchEntry> terms) const;

    /// Why a term got no ID, which every dictionary refuses.
    BatchFailure getRefusal(BatchEntry term) const;

    ShardedDictionary& get() noexcept { return *m_dictionary; }
    const ShardedDictionary& get() const noexcept { return *m_dictionary; }

    /// A joint operation: saves the shards that have grown to a folder. On the first rank, returns the manifest that names
    /// those of all ranks; on others one that names their own.
    ShardManifest save(const std::string& folderName);

private:
    static ShardManifest selectOwn(const Ranks& ranks, ShardManifest manifest);

    const Ranks& m_ranks;
    const std::unique_ptr<ShardedDictionary> m_dictionary;
    std::array<std::optional<DictionaryThread>, ShardLayout::NUMBER_OF_SHARDS> m_threads; // of shards that take terms
};
