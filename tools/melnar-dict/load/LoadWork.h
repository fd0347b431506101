#pragma once

#include "tools/melnar-dict/load/SpillPrefix.h"

#include "Engine/core/data-store/sharded/ShardLayout.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// The progress of a load of shards, so that another process can resume it.
///
/// Threads  One at a time.
struct LoadWork {
    bool operator==(const LoadWork&) const = default;

    /// The spilled terms of a shard; see ShardSpill.
    struct Shard {
        bool operator==(const Shard&) const = default;

        SpillPrefix m_terms;
        SpillPrefix m_ids;
        bool m_isResolved = false; // the terms of the file are in the shard
    };

    std::string m_task;          // identifies the load: the inputs and the options
    std::string m_folderState{}; // of the dictionary in the folder when the load began; see LoadCheckpoint
    uint64_t m_fileIndex = 0;    // of the first block that is not done; the number of files if all are
    uint64_t m_blockIndex = 0;   // in its file; of a load by several processes, a piece and its slice instead
    bool m_isFull = false;       // no shard takes terms until they are resolved from files
    SpillPrefix m_rows{};
    std::array<Shard, ShardLayout::NUMBER_OF_SHARDS> m_shards{};

    // Of a load by several processes: how many rows are done, and the files that have them, each written by one
    // process; see RankRows.
    uint64_t m_numberOfRows = 0;
    std::vector<SpillPrefix> m_rowFiles{};

    /// Returns whether several processes have done the work; then only several processes can resume it.
    bool isOfRanks() const noexcept { return !m_rowFiles.empty(); }

    std::string toBytes() const;

    /// Throws MelnarException for bytes that toBytes has not made, including those of another version.
    static LoadWork parse(const std::string& bytes);
};
