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

/// The shards of a dictionary that a rank owns: every R-th one, if there are R ranks. It does not have the others.
///
/// Ownership  Owns the shards in memory.
/// Threads    One at a time.
/// Errors     Those of ShardedDictionary.
class RankDictionary : private Unmovable {
public:
    /// A new dictionary, or that of a manifest in a folder.
    RankDictionary(const Ranks& ranks, const std::string& folderName, const ShardManifest& manifest,
                   const DictionaryOptions& options);

    /// Manifests that are sent between ranks.
    static std::string toBytes(const ShardManifest& manifest);
    static ShardManifest fromBytes(const std::string& bytes);

    /// Gives terms of a shard of this rank local IDs. Terms that every dictionary refuses get none.
    void resolve(uint32_t shard, std::span<BatchEntry> terms);

    /// Looks up terms that have local IDs.
    void tryResolve(uint32_t shard, std::span<BatchEntry> terms) const;

    /// Returns why a term got no ID: every dictionary refuses it.
    BatchFailure getRefusal(BatchEntry term) const;

    ShardedDictionary& get() noexcept { return *m_dictionary; }
    const ShardedDictionary& get() const noexcept { return *m_dictionary; }

    /// A joint operation: saves the shards that have grown to a folder. Returns the manifest, on the first rank with
    /// the shards of all ranks, on the others with their own.
    ShardManifest save(const std::string& folderName);

private:
    static ShardManifest selectOwn(const Ranks& ranks, ShardManifest manifest);

    const Ranks& m_ranks;
    const std::unique_ptr<ShardedDictionary> m_dictionary;
    std::array<std::optional<DictionaryThread>, ShardLayout::NUMBER_OF_SHARDS>
        m_threads; // of shards to which terms are added
};
