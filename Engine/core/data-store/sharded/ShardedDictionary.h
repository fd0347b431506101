#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/data-store/DictionaryOptions.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/MemoryManager.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class FileLock;
class ShardedDictionaryThread;

/// A dictionary of 256 shards, each a Dictionary with a part of the terms (ShardLayout), and a file of a folder when it is
/// saved. Shards can be built one after the other or on several machines, and only those in use need be in memory.
///
/// IDs        Global ones (ShardLayout). If each shard gets its terms in the order of the input, the IDs depend on the
///            input alone: on neither threads nor memory.
/// Units      Sizes are bytes.
/// Ownership  Owns its shards. ShardedDictionaryThreads must be destroyed before it is.
/// Commits    There are none: what has been resolved is found, and save saves all of it.
/// Addresses  What entries point to stays where it is until the dictionary's end.
/// Threads    resolveResources (each thread with a ShardedDictionaryThread of its own), tryResolveResources, the get
///            functions, forEachShard: any threads at once. save: while no thread resolves. Construction and
///            destruction: alone.
/// Errors     Those of Dictionary, whose limit of memory holds for all shards together. A shard's file is read when the
///            shard is first needed, so that every operation may have the errors of Dictionary::open; and MelnarException
///            if the file is not the one that the manifest names.
class ShardedDictionary : private Unmovable {
public:
    /// A shard holds no more resources, and takes no more memory, whatever the limit: address space is reserved for them.
    static constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD = uint64_t(1) << 30;
    static constexpr size_t LARGEST_MEMORY_OF_SHARD = size_t(1) << 36;

    /// An empty dictionary. A saved one has its number of resources of a shard in its files.
    explicit ShardedDictionary(size_t memoryLimit,
                               uint64_t maximumNumberOfResourcesOfShard = MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD);
    ~ShardedDictionary();

    /// The dictionary that a folder holds.
    static std::unique_ptr<ShardedDictionary> open(const std::string& folderName, size_t memoryLimit,
                                                   const DictionaryOptions& options = {});

    /// The dictionary of another manifest than the folder's own, whose files the folder has, too.
    static std::unique_ptr<ShardedDictionary> open(const std::string& folderName, ShardManifest manifest,
                                                   size_t memoryLimit, const DictionaryOptions& options = {});

    /// Whether there is a folder of this name with a manifest, sound or not.
    static bool isFolder(const std::string& folderName);

    /// As Dictionary::resolveResources. New literals of one shard get their IDs in the order of the entries. Failures come
    /// in ascending order of their entries.
    void resolveResources(ShardedDictionaryThread& thread, std::span<BatchEntry> entries,
                          std::vector<BatchFailure>& failures);

    /// As Dictionary::tryResolveResources.
    void tryResolveResources(std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) const;

    /// As Dictionary::getResources, and the parts of the forms.
    void getResources(std::span<BatchEntry> entries) const;
    std::string_view getAffix(const BatchEntry& entry) const noexcept;
    void appendLexicalForm(const BatchEntry& entry, std::string& output) const;

    /// As those of Dictionary.
    uint64_t resolveTerm(ShardedDictionaryThread& thread, const Term& term);
    uint64_t tryResolveTerm(const Term& term) const;
    Term getTerm(uint64_t resourceID, std::string& lexicalForm) const;
    bool hasResource(uint64_t resourceID) const;

    /// The shard with this number; null if it has no resources and nothing was ever resolved in it.
    const Dictionary* getShard(uint32_t shard) const;

    /// The shard with this number, to be used on its own: it must get the terms that belong there, and no others.
    Dictionary& getOrMakeShard(uint32_t shard);

    /// Calls `visitor` for each shard that has resources, in ascending order. A shard that nobody needs otherwise is in
    /// memory only until the visitor returns.
    void forEachShard(const std::function<void(uint32_t shard, const Dictionary& dictionary)>& visitor) const;

    /// What the folder held when it was opened or saved last; of a new dictionary, nothing.
    const ShardManifest& getManifest() const noexcept { return m_manifest; }

    /// Inputs, document and work are the user's to keep: a save writes them as they are.
    ShardManifest& getManifest() noexcept { return m_manifest; }

    /// As Dictionary::getHistory, of the folder. Only a save that completes a state adds an entry.
    const DictionaryHistory& getHistory() const noexcept { return m_history; }

    uint64_t getNumberOfResources() const noexcept;

    /// The smallest ID that no resource has, nor any larger one.
    uint64_t getEndOfResourceIDs() const noexcept;

    size_t getMemoryLimit() const noexcept { return m_memoryManager.getReservedBytes(); }
    size_t getMemoryInUse() const noexcept {
        return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes();
    }

    /// Whether a save completes a state, or saves how far the work has come.
    enum class State : uint8_t { WHOLE, INTERMEDIATE };

    /// Saves to a folder whose manifest the caller has locked: `FileLock lock(folder + "/manifest")`. The folder must
    /// be there. Its files depend on the terms, their order in each shard, the inputs and the whole states that were
    /// saved before, and on nothing else. A shard that has not grown is not written again. Until the manifest is
    /// replaced, the folder holds what it held; after that, files that the manifest does not name are removed. Needs
    /// memory for a second copy of one shard for each of its threads, beside the memory limit.
    void save(FileLock& lock, State state = State::WHOLE, size_t numberOfThreads = 1);

    /// The same in steps, for who replaces the manifest together with another file, or names one that is no whole state.
    /// First the files of shards; returns the manifest that names them, which the caller writes. Only the holder of the
    /// manifest's lock may call it.
    ShardManifest saveShards(const std::string& folderName, State state, size_t numberOfThreads);

    /// From here on, shards that have not grown are those of this manifest in this folder.
    void noteSaved(const std::string& folderName, ShardManifest manifest);

    /// Removes the files of shards that none of these manifests names. What cannot be removed does no harm, and the next
    /// save tries again.
    static void removeRemains(const std::string& folderName, std::initializer_list<const ShardManifest*> manifests);

    /// Saves all shards to a folder and removes them from memory; from then on they are read from there. The manifest stays
    /// as it was. While nobody uses them.
    void saveAndRelease(const std::string& folderName, size_t numberOfThreads);

    /// The same with one shard, in the folder that shards are read from. While nobody uses the shard, with any number of
    /// shards at once.
    void saveAndRelease(uint32_t shard);

    /// Checks each shard as Dictionary::verify does, and that each term is in its shard. Throws MelnarException that names
    /// the shard's file and the finding.
    void verify() const;

    /// The same with one of the shards that forEachShard visits.
    void verifyShard(uint32_t shard, const Dictionary& dictionary) const;

private:
    friend class ShardedDictionaryThread;

    ShardedDictionary(size_t memoryLimit, uint64_t maximumNumberOfResourcesOfShard, std::string folderName,
                      ShardManifest manifest, const DictionaryOptions& options);

    std::unique_ptr<Dictionary> openShard(uint32_t shard) const;
    uint64_t getNumberOfResources(uint32_t shard) const noexcept;
    void releaseShard(uint32_t shard);
    ShardManifest::Shard saveShard(uint32_t shard, const std::string& folderName) const;

    MemoryManager m_memoryManager; // of all shards
    const uint64_t m_maximumNumberOfResourcesOfShard;
    const DictionaryOptions m_options;

    std::string m_folderName; // of the files that the manifest names
    ShardManifest m_manifest;
    DictionaryHistory m_history;

    /// A shard that is in memory is published here, and stays.
    mutable std::array<std::atomic<Dictionary*>, ShardLayout::NUMBER_OF_SHARDS> m_shards{};
    mutable std::array<std::unique_ptr<Dictionary>, ShardLayout::NUMBER_OF_SHARDS>
        m_ownedShards; // protected by m_mutex
    mutable std::mutex m_mutex;
};
