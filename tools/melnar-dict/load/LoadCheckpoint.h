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

/// Saves an unfinished load of shards from time to time, so that another process can resume it: a second manifest in
/// the folder of the dictionary, which names files of shards and contains the LoadWork. The dictionary's own manifest
/// stays unchanged until the load is done.
///
/// Ownership  Refers to the dictionary and the spill, which outlive it.
/// Threads    isDue and save: one at a time. noteResolved: any number concurrently, each with its own shard.
/// Errors     Those of the files.
class LoadCheckpoint : private Unmovable {
public:
    /// The unfinished load of a folder.
    struct Unfinished {
        ShardManifest m_manifest;
        LoadWork m_work;
    };

    /// Returns a text that identifies the state of the dictionary in a folder. A dictionary that cannot be read has no
    /// state.
    static std::string describeState(const std::string& folderName);

    /// Returns the name of the second manifest. Without this file a folder has no unfinished load.
    static std::string getFileName(const std::string& folderName);

    /// Reads the unfinished load, if there is one. Throws if it is damaged.
    static std::optional<Unfinished> read(const std::string& folderName);

    /// Writes it. The files that the manifest and the work name must be on the disk.
    static void write(const std::string& folderName, const LoadWork& work, ShardManifest& manifest);

    /// Reads the dictionary's own manifest. One that does not exist, or cannot be read, names nothing: the writer that
    /// replaces it does not need it.
    static ShardManifest readManifestOf(const std::string& folderName);

    /// Removes files of shards that neither the folder's manifest nor that of an unfinished load names. Does nothing if
    /// one of the manifests cannot be read.
    static void removeRemains(const std::string& folderName) noexcept;

    /// Does the same, and removes spilled files as well unless there is an unfinished load.
    static void removeAllButUnfinished(const std::string& folderName) noexcept;

    /// Removes the unfinished load, if there is one, and then its spilled files.
    static void removeFrom(const std::string& folderName);

    /// Returns whether a name within the folder is that of a file that a load creates in addition to those of shards.
    static bool isNameOfFile(const std::string& fileName);

    LoadCheckpoint(std::string folderName, const CheckpointOptions& options, size_t numberOfThreads,
                   ShardedDictionary& dictionary, ShardSpill& spill);

    /// Returns whether a checkpoint is due. Called before each block.
    bool isDue();

    /// Saves the progress of the load, and the shards that have grown.
    void save(LoadWork& work);

    /// Starts the part of the load in which shards resolve their terms one by one; all of them have been saved.
    void startResolving(const LoadWork& work);

    /// Records that a shard has resolved its terms and has been saved, and saves that if a checkpoint is due.
    void noteResolved(uint32_t shard);

private:
    void write(const LoadWork& work, ShardManifest& manifest);
    void removeReplaced() const;

    const std::string m_folderName;
    const CheckpointOptions m_options;
    const size_t m_numberOfThreads;
    ShardedDictionary& m_dictionary;
    ShardSpill& m_spill;
    const ShardManifest m_oldManifest;            // of the folder until the load is done; without shards if it has none
    std::mutex m_mutex;                           // protects what follows
    std::chrono::steady_clock::time_point m_last; // when it was saved
    uint64_t m_numberOfBlocks = 0;                // since then
    LoadWork m_work;                              // while shards resolve their terms, as what follows
    ShardManifest m_manifest;
    ShardManifest m_savedManifest; // the last one
};
