#pragma once

#include "tools/melnar-dict/load/CheckpointOptions.h"
#include "tools/melnar-dict/load/LoadWork.h"
#include "tools/melnar-dict/load/ShardSpill.h"

#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/Unmovable.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <optional>
#include <string>

/// Saves an unfinished load of shards from time to time, so that the next process can go on with it: a second manifest in
/// the folder of the dictionary, which names files of shards and holds the LoadWork. The dictionary's own manifest stays
/// as it is until the load is done.
///
/// Ownership  Refers to the dictionary and the spill, which outlive it.
/// Threads    isDue and save: one at a time. noteResolved: any number at once, each with a shard of its own.
/// Errors     Those of the files.
class LoadCheckpoint : private Unmovable {
public:
    /// What a folder has of an unfinished load.
    struct Unfinished {
        ShardManifest m_manifest;
        LoadWork m_work;
    };

    /// By what to tell whether a folder has another dictionary now. One that cannot be read has no state.
    static std::string describeState(const std::string& folderName);

    /// Reads it, if there is one. Throws what a damaged one deserves.
    static std::optional<Unfinished> read(const std::string& folderName);

    /// Writes it. The files that the manifest and the work name are on the disk.
    static void write(const std::string& folderName, const LoadWork& work, ShardManifest& manifest);

    /// Reads the dictionary's own manifest. One that is not there, or cannot be read, names nothing: who replaces it does
    /// not need it.
    static ShardManifest readManifestOf(const std::string& folderName);

    /// Removes files of shards that neither the folder's manifest nor that of an unfinished load names. Nothing if one of
    /// them cannot be read.
    static void removeRemains(const std::string& folderName) noexcept;

    /// The same, and what has been put aside as well unless there is an unfinished load.
    static void removeAllButUnfinished(const std::string& folderName) noexcept;

    /// Removes it, if there is one, and then what has been put aside for it.
    static void removeFrom(const std::string& folderName);

    /// Whether a name within the folder is that of a file that a load makes beside those of shards.
    static bool isNameOfFile(const std::string& fileName);

    LoadCheckpoint(std::string folderName, const CheckpointOptions& options, size_t numberOfThreads,
                   ShardedDictionary& dictionary, ShardSpill& spill);

    /// Whether it is time. Called before each block.
    bool isDue();

    /// Saves how far the load has come, and the shards that have grown.
    void save(LoadWork& work);

    /// Begins the part of the load in which shards resolve their terms one by one, all of which have been saved.
    void startResolving(const LoadWork& work);

    /// Takes note that a shard has resolved its terms and has been saved, and saves that if it is time.
    void noteResolved(uint32_t shard);

private:
    void write(const LoadWork& work, ShardManifest& manifest);
    void removeReplaced() const;

    const std::string m_folderName;
    const CheckpointOptions m_options;
    const size_t m_numberOfThreads;
    ShardedDictionary& m_dictionary;
    ShardSpill& m_spill;
    const ShardManifest m_oldManifest; // that the folder has until the load is done; of no shards if it has none
    std::mutex m_mutex;                // protects what follows
    std::chrono::steady_clock::time_point m_last; // when it was saved
    uint64_t m_numberOfBlocks = 0;                // since then
    LoadWork m_work;                              // while shards resolve their terms, as what follows
    ShardManifest m_manifest;
    ShardManifest m_savedManifest; // the last one
};
