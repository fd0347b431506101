#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/data-store/DictionaryOptions.h"
#include "Engine/core/data-store/dictionary/ArrowColumn.h"
#include "Engine/core/data-store/dictionary/ArrowStrings.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Export.h"
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
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

class FileLock;
class ShardedDictionaryThread;
class TermColumn;

/// A dictionary of 256 shards, each a Dictionary with a part of the terms (ShardLayout), and a file of a folder when it is
/// saved. Shards can be built one after the other or on several machines, and only those in use need be in memory.
///
/// IDs        Global ones (ShardLayout). If each shard gets its terms in the order of the input, the IDs depend on the
///            input alone: on neither threads nor memory.
/// Units      Sizes are bytes.
/// Ownership  Owns its shards. ShardedDictionaryThreads must be destroyed before it is.
/// Commits    There are none: what has been resolved is found, and save saves all of it.
/// Addresses  What entries and terms point to stays where it is until the dictionary's end.
/// Threads    resolveResources, resolveTerm, resolveTerms and encode (each thread with a ShardedDictionaryThread of
///            its own), the lookups, the get functions but getManifest, and forEachShard: any threads concurrently.
///            save, verify and setInputs: one thread at a time, while none resolves; lookups and reads may go on.
///            getManifest: while neither save nor setInputs runs. Construction and destruction: alone.
/// Errors     Those of Dictionary, whose limit of memory holds for all shards together. A shard's file is read when the
///            shard is first needed, so that every operation with IDs or terms of it may have the errors of
///            Dictionary::open; and MelnarException if the file is not the one that the manifest names, or if it is gone
///            because the folder holds something else by now. Of a batch, some entries may be answered then.
/// Readers    Files are looked for when they are needed. If a writer has saved to the folder meanwhile, the shards that are
///            opened from then on are the new ones, which have all IDs of the old ones and more, provided that what was
///            opened was a whole state (State). After an intermediate one, nothing tells whether the new shards give its
///            IDs the same terms, and the folder must be opened again.
///
/// MEMORY ORDERS   of a shard that is brought into memory
///   #   operation                          order    pairs with   makes visible                        checked by
///   U1  publish the shard, store           release  U2           the dictionary as it was made        TSan
///   U2  find the shard, load               acquire  U1                                                TSan
class MELNAR_EXPORT ShardedDictionary : private Unmovable {
public:
    /// A shard holds no more resources, and takes no more memory, whatever the limit: address space is reserved for them.
    static constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD = uint64_t(1) << 30;
    static constexpr size_t LARGEST_MEMORY_OF_SHARD = size_t(1) << 36;

    /// An empty dictionary. AS_MANY_AS_FIT stands for MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD.
    explicit ShardedDictionary(const DictionaryOptions& options);
    ~ShardedDictionary();

    /// The dictionary that a folder holds.
    [[nodiscard]] static std::unique_ptr<ShardedDictionary> open(const std::string& folderName,
                                                                 const DictionaryOptions& options = {});

    /// The dictionary of another manifest than the folder's own, whose files the folder has, too.
    [[nodiscard]] static std::unique_ptr<ShardedDictionary> open(const std::string& folderName, ShardManifest manifest,
                                                                 const DictionaryOptions& options = {});

    /// Whether there is a folder of this name with a manifest, sound or not.
    [[nodiscard]] static bool isFolder(const std::string& folderName);

    /// As Dictionary::resolveResources. New literals of one shard get their IDs in the order of the entries. Failures come
    /// in ascending order of their entries; they tell of each entry why there is no ID for it, such as a limit that its
    /// shard has reached, and all others are resolved. Memory beside the dictionary does not grow with the batch, but for
    /// the failures.
    void resolveResources(ShardedDictionaryThread& thread, std::span<BatchEntry> entries,
                          std::vector<BatchFailure>& failures);

    /// As Dictionary::tryResolveResources, of all resources.
    void tryResolveResources(std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) const;

    /// As Dictionary::getResources, and the parts of the forms. Throws what opening a shard does, and std::bad_alloc.
    void getResources(std::span<BatchEntry> entries) const;
    [[nodiscard]] std::string_view getAffix(const BatchEntry& entry) const noexcept;
    void appendLexicalForm(const BatchEntry& entry, std::string& output) const;

    /// As those of Dictionary.
    uint64_t resolveTerm(ShardedDictionaryThread& thread, const Term& term);
    [[nodiscard]] uint64_t tryResolveTerm(const Term& term) const;
    [[nodiscard]] Term getTerm(uint64_t resourceID, std::string& lexicalForm) const;
    [[nodiscard]] bool hasResource(uint64_t resourceID) const;

    /// Columns, as those of Dictionary. The IDs of new terms of one shard follow the order of the column.
    void resolveTerms(ShardedDictionaryThread& thread, std::span<const Term> terms, std::span<uint64_t> resourceIDs,
                      std::vector<BatchFailure>& failures);
    void tryResolveTerms(std::span<const Term> terms, std::span<uint64_t> resourceIDs,
                         std::vector<BatchFailure>& failures) const;
    void getTerms(std::span<const uint64_t> resourceIDs, TermColumn& column) const;

    /// Columns of strings, as those of Dictionary. Throw what opening a shard does, too.
    void encode(ShardedDictionaryThread& thread, std::span<const std::string_view> texts,
                std::span<uint64_t> resourceIDs, std::string_view languageTag = {});
    template<ArrowOffset Offset>
    void encode(ShardedDictionaryThread& thread, const ArrowStrings<Offset>& texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {});
    void lookUp(std::span<const std::string_view> texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {}) const;
    template<ArrowOffset Offset>
    void lookUp(const ArrowStrings<Offset>& texts, std::span<uint64_t> resourceIDs,
                std::string_view languageTag = {}) const;
    void decode(std::span<const uint64_t> resourceIDs, std::span<std::string_view> texts,
                std::span<std::string_view> languageTags = {}) const;
    template<ArrowOffset Offset>
    void decode(std::span<const uint64_t> resourceIDs, ArrowColumn<Offset>& texts,
                ArrowColumn<Offset>* languageTags = nullptr) const;

    /// The shard with this number; null if it has no resources and no thread was ever registered with it.
    [[nodiscard]] const Dictionary* getShard(uint32_t shard) const;

    /// The same if it is in memory; or else one without resources, where all is refused that the shard would refuse.
    [[nodiscard]] const Dictionary& getShardInMemory(uint32_t shard) const noexcept;

    /// The shard with this number, to be used on its own: it must get the terms that belong there, and no others.
    Dictionary& getOrMakeShard(uint32_t shard);

    /// Calls `visitor` for each shard that has resources, in ascending order. A shard that nobody needs otherwise is in
    /// memory only until the visitor returns.
    void forEachShard(const std::function<void(uint32_t shard, const Dictionary& dictionary)>& visitor) const;

    /// What the folder held when it was opened or saved last; of a new dictionary, nothing. Its inputs and its document
    /// are the user's to keep: a save writes them, unless an input's name is too long (ShardManifest).
    [[nodiscard]] const ShardManifest& getManifest() const noexcept { return m_manifest; }
    void setInputs(std::vector<ShardManifest::Input> inputs, uint64_t nextDocument) noexcept;

    /// As Dictionary::getHistory, of the folder. Only a save that completes a state adds an entry.
    [[nodiscard]] const DictionaryHistory& getHistory() const noexcept { return m_history; }

    [[nodiscard]] uint64_t getNumberOfResources() const noexcept;

    /// The smallest ID that no resource has, nor any larger one.
    [[nodiscard]] uint64_t getEndOfResourceIDs() const noexcept;

    [[nodiscard]] size_t getMemoryLimit() const noexcept { return m_memoryManager.getReservedBytes(); }
    [[nodiscard]] size_t getMemoryInUse() const noexcept {
        return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes();
    }

    /// Whether a save completes a state, or saves how far the work has come.
    enum class State : uint8_t { WHOLE, INTERMEDIATE };

    /// Saves to a folder whose manifest the caller has locked: `FileLock lock(folder + "/manifest")`. The folder must
    /// be there, and need not be the one that was opened. Its files depend on the terms, their order in each shard, the
    /// largest number of resources of a shard, the inputs and the whole states that were saved before, and on nothing
    /// else. A shard that has not grown is not written again. Until the manifest is replaced, the folder holds what it
    /// held. Files of shards that no manifest names, as a dead writer leaves them, are removed before and after, all
    /// others are left alone. New files get owner, group and permissions of the old manifest, as in
    /// AtomicFileOutputStream. Needs memory for a second copy of one shard for each of its threads, beside the memory
    /// limit; MelnarException if the system has too little. After a throw the dictionary is what it was; the folder
    /// holds the old state, or the new one if it was only its way to the disk that failed.
    void save(FileLock& lock, State state = State::WHOLE, size_t numberOfThreads = 1);

    /// The same in steps, for who replaces the manifest together with another file, or writes one of his own beside it.
    /// First the files of shards; returns the manifest that names them, which the caller writes under the folder's lock.
    /// After a throw the files that it has written are remains.
    [[nodiscard]] ShardManifest saveShards(const std::string& folderName, State state, size_t numberOfThreads);

    /// Makes a manifest that names the shards of a whole state one of that state. For who has them saved by several
    /// processes, each its own, and puts the manifest together.
    static void addState(ShardManifest& manifest);

    /// The second step, when the manifest is there: from here on, shards that have not grown are those that it names.
    void noteSaved(const std::string& folderName, ShardManifest manifest);

    /// Removes the files of shards in a folder that neither its manifest names nor one of these. What cannot be removed does
    /// no harm, and the next save tries again. Under the folder's lock.
    static void removeRemains(const std::string& folderName,
                              std::initializer_list<const ShardManifest*> manifests) noexcept;

    /// Saves all shards to a folder and removes them from memory; from then on they are read from there, though no manifest
    /// names them yet. While nobody uses the dictionary, and no thread is registered with it. After a throw it is of no use.
    void saveAndRelease(const std::string& folderName, size_t numberOfThreads);

    /// The same with one shard, in the folder that shards are read from. While nobody uses the shard, with any number of
    /// shards concurrently.
    void saveAndRelease(uint32_t shard);

    /// Checks each shard as Dictionary::verify does, that no ID of it was left out, and that each term is in its shard.
    /// Throws MelnarException that names the shard and the finding; IDs in it are those of the shard.
    void verify() const;

    /// The same with one of the shards that forEachShard visits.
    void verifyShard(uint32_t shard, const Dictionary& dictionary) const;

private:
    friend class ShardedDictionaryThread;

    ShardedDictionary(std::string folderName, ShardManifest manifest, const DictionaryOptions& options);

    /// A shard that is in memory is published, and stays.
    struct Slot {
        std::atomic<Dictionary*> m_published{nullptr}; // U1, U2
        std::unique_ptr<Dictionary> m_owned;           // protected by m_mutex
        std::mutex m_mutex;                            // held while the shard is brought into memory
    };

    Dictionary* findShard(uint32_t shard) const noexcept;
    Dictionary* findOrOpenShard(uint32_t shard) const;
    const Dictionary& getShardOrNone(uint32_t shard) const;
    template<class Make>
    Dictionary& publishShard(uint32_t shard, const Make& make) const;
    std::unique_ptr<Dictionary> openShard(uint32_t shard) const;
    std::unique_ptr<Dictionary> openFile(const std::string& folderName, uint32_t shard,
                                         const ShardManifest::Shard& expected) const;
    uint64_t getNumberOfResources(uint32_t shard) const noexcept;
    ShardManifest::Shard saveShard(uint32_t shard, const std::string& folderName) const;
    void removeRemains(const std::string& folderName) const noexcept;
    void adopt(std::string folderName, ShardManifest manifest, DictionaryHistory::Contents history) noexcept;
    void releaseShard(uint32_t shard) noexcept;

    mutable MemoryManager m_memoryManager; // of all shards, which reading operations may open
    const uint64_t m_maximumNumberOfResourcesOfShard;
    const DictionaryOptions m_options; // of each shard

    mutable std::array<Slot, ShardLayout::NUMBER_OF_SHARDS> m_slots;

    /// Looks up the terms of shards that are not there: what every shard refuses is refused there, too.
    const Dictionary m_noResources;

    std::string m_folderName; // of the files that the manifest names, links followed; protected by m_savedMutex
    ShardManifest m_manifest; // protected by m_savedMutex
    DictionaryHistory m_history;
    mutable std::shared_mutex m_savedMutex;
};
