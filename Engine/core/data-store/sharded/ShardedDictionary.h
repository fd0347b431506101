#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/data-store/DictionaryOptions.h"
#include "Engine/core/data-store/RunningOperations.h"
#include "Engine/core/data-store/dictionary/ArrowColumn.h"
#include "Engine/core/data-store/dictionary/ArrowStrings.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryManager.h"

#include <array>
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

/// A dictionary of 256 shards. Each shard is a Dictionary with a part of the terms (ShardLayout), and is saved as one
/// file of a folder. Shards can be built one after the other or on several machines. Only the shards in use need to be
/// in memory.
///
/// IDs        Global ones (ShardLayout). If each shard gets its terms in the order of the input, the IDs depend only on
///            the input, not on threads or memory.
/// Units      Sizes are bytes.
/// Ownership  Owns its shards. All its ShardedDictionaryThreads must be destroyed before it.
/// Commits    There are no commit points: lookups find everything that has been resolved, and save saves all of it.
/// Addresses  Data that entries and terms point to does not move until the dictionary is destroyed.
/// Threads    Any threads concurrently: resolveResources, resolveTerm, resolveTerms and encode (each thread with its
///            own ShardedDictionaryThread), the lookups, the get functions except getManifest, and forEachShard. save,
///            saveShards, noteSaved and setInputs: one thread at a time, while no thread resolves or verifies; lookups
///            and reads may run. verify and verifyShard: while no thread resolves. getManifest: while none of save,
///            noteSaved and setInputs runs. saveAndRelease of one shard counts as resolving, and changes its part of
///            the manifest. saveAndRelease of all shards, construction and destruction: alone.
/// Errors     Those of Dictionary; its memory limit applies to all shards together. The file of a shard is read when
///            the shard is first needed, so every operation with its IDs or terms may have the errors of
///            Dictionary::open. It throws MelnarException, too, if the file is not the one that the manifest names, or
///            is missing because another dictionary has been saved to the folder since. Some entries of a batch may
///            have their results then.
/// Readers    Files are opened when they are needed. If another process has saved to the folder meanwhile, the shards
///            that are opened from then on are the new ones. They have all IDs of the old ones and more, provided that
///            the state that was opened was whole (State). After an intermediate one it is unknown whether the new
///            shards give its IDs the same terms, and the folder must be opened again.
/// Checks     Those of Dictionary, for the operations that may throw.
///
/// MEMORY ORDERS   of a shard that is brought into memory
///   #   operation                          order    pairs with   makes visible                        checked by
///   U1  publish the shard, store           release  U2           the dictionary as it was made        TSan
///   U2  find the shard, load               acquire  U1                                                TSan
/// TSan: with a relaxed order, ThreadSanitizer finds a race in the stress tests.
class MELNAR_EXPORT ShardedDictionary : private Unmovable {
public:
    ///@{
    /// The limits of a shard, whatever the memory limit is. Address space is reserved for this much.
    static constexpr uint64_t MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD = uint64_t(1) << 30;
    static constexpr size_t LARGEST_MEMORY_OF_SHARD = size_t(1) << 36;
    ///@}

    /// Makes an empty dictionary. AS_MANY_AS_FIT means MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD.
    explicit ShardedDictionary(const DictionaryOptions& options);
    ~ShardedDictionary();

    /// Returns the dictionary in a folder.
    [[nodiscard]] static std::unique_ptr<ShardedDictionary> open(const std::string& folderName,
                                                                 const DictionaryOptions& options = {});

    /// Returns the dictionary of a manifest other than the folder's. The folder must also contain the files of that
    /// one.
    [[nodiscard]] static std::unique_ptr<ShardedDictionary> open(const std::string& folderName, ShardManifest manifest,
                                                                 const DictionaryOptions& options = {});

    /// Returns whether there is a folder of this name with a manifest, sound or not.
    [[nodiscard]] static bool isFolder(const std::string& folderName);

    /// Does what Dictionary::resolveResources does. New literals of one shard get their IDs in the order of the
    /// entries. Failures come in ascending order of their entries. Each one says why there is no ID for its entry, such
    /// as a limit that its shard has reached; all other entries are resolved. Memory outside of the dictionary grows
    /// with the failures only, not with the batch.
    void resolveResources(ShardedDictionaryThread& thread, std::span<BatchEntry> entries,
                          std::vector<BatchFailure>& failures);

    /// Does what Dictionary::tryResolveResources does, for all resources.
    void tryResolveResources(std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) const;

    ///@{
    /// The same as the functions of Dictionary. They throw what opening a shard throws, and std::bad_alloc.
    void getResources(std::span<BatchEntry> entries) const;
    [[nodiscard]] std::string_view getAffix(const BatchEntry& entry) const noexcept;
    void appendLexicalForm(const BatchEntry& entry, std::string& output) const;
    ///@}

    ///@{
    /// The same as the functions of Dictionary.
    uint64_t resolveTerm(ShardedDictionaryThread& thread, const Term& term);
    [[nodiscard]] uint64_t tryResolveTerm(const Term& term) const;
    [[nodiscard]] Term getTerm(uint64_t resourceID, std::string& lexicalForm) const;
    [[nodiscard]] bool hasResource(uint64_t resourceID) const;
    ///@}

    ///@{
    /// The same as the functions of Dictionary for columns of terms. New terms of one shard get their IDs in the order
    /// of the column.
    void resolveTerms(ShardedDictionaryThread& thread, std::span<const Term> terms, std::span<uint64_t> resourceIDs,
                      std::vector<BatchFailure>& failures);
    void tryResolveTerms(std::span<const Term> terms, std::span<uint64_t> resourceIDs,
                         std::vector<BatchFailure>& failures) const;
    void getTerms(std::span<const uint64_t> resourceIDs, TermColumn& column) const;
    ///@}

    ///@{
    /// The same as the functions of Dictionary for columns of strings. They throw what opening a shard throws, too.
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
    ///@}

    /// The shard with this number; null if it has no resources and no thread was ever registered with it.
    [[nodiscard]] const Dictionary* getShard(uint32_t shard) const;

    /// Returns the same shard if it is in memory; otherwise, one without resources that refuses what the shard would
    /// refuse.
    [[nodiscard]] const Dictionary& getShardInMemory(uint32_t shard) const noexcept;

    /// Returns the shard with this number, which may be used on its own. It must get only the terms that belong there.
    Dictionary& getOrMakeShard(uint32_t shard);

    /// Calls `visitor` for each shard that has resources, in ascending order. A shard that nothing else needs is in
    /// memory only until the visitor returns.
    void forEachShard(const std::function<void(uint32_t shard, const Dictionary& dictionary)>& visitor) const;

    ///@{
    /// Returns what the folder contained when it was opened or last saved; of a new dictionary, nothing. The user
    /// maintains the inputs and the next document in it: a save writes them, unless the name of an input is too long
    /// (ShardManifest).
    [[nodiscard]] const ShardManifest& getManifest() const;
    void setInputs(std::vector<ShardManifest::Input> inputs, uint64_t nextDocument);
    ///@}

    /// Returns the history of the folder; see Dictionary::getHistory. Only a save that completes a state adds an entry.
    [[nodiscard]] const DictionaryHistory& getHistory() const noexcept { return m_history; }

    /// Returns how many resources all shards have.
    [[nodiscard]] uint64_t getNumberOfResources() const noexcept;

    /// Returns the smallest ID that is larger than the IDs of all resources.
    [[nodiscard]] uint64_t getEndOfResourceIDs() const noexcept;

    /// Returns the bytes that all shards together may commit.
    [[nodiscard]] size_t getMemoryLimit() const noexcept { return m_memoryManager.getReservedBytes(); }

    /// Returns the bytes of memory committed, all of them counted against the limit.
    [[nodiscard]] size_t getMemoryInUse() const noexcept {
        return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes();
    }

    /// Whether a save completes a state, or saves intermediate progress.
    enum class State : uint8_t {
        WHOLE,       ///< the work is done: a state with an identity
        INTERMEDIATE ///< the work can be resumed from here
    };

    /// Saves to a folder whose manifest the caller has locked: `FileLock lock(folder + "/manifest")`. The folder must
    /// exist, and may be another one than that which was opened. The files depend only on the terms, their order in
    /// each shard, the largest number of resources of a shard, the inputs, and the whole states that were saved before.
    /// A shard that has not grown is not written again. Until the manifest is replaced, the folder holds its old state.
    /// Files of shards that no manifest names, which a killed process may have left, are removed before and after; all
    /// other files are left alone. New files get owner, group and permissions of the old manifest, as in
    /// AtomicFileOutputStream.
    ///
    /// Each thread needs memory for a second copy of one shard, outside of the memory limit; MelnarException if the
    /// system has too little. After a throw the dictionary is unchanged. The folder holds the old state, or the new one
    /// if only flushing it to the disk has failed.
    void save(FileLock& lock, State state = State::WHOLE, size_t numberOfThreads = 1);

    /// The first of the two steps of save, for a caller that replaces the manifest together with another file, or
    /// writes another manifest beside it. Writes the files of shards and returns the manifest that names them. The
    /// caller writes the manifest under the folder's lock. After a throw the files that were written are remains.
    [[nodiscard]] ShardManifest saveShards(const std::string& folderName, State state, size_t numberOfThreads);

    /// Turns a manifest that names the shards of a whole state into the manifest of that state. For a caller that has
    /// several processes save the shards, and combines their manifests.
    static void addState(ShardManifest& manifest);

    /// The second step, after the manifest was written: from then on, the shards that it names are those that have not
    /// grown.
    void noteSaved(const std::string& folderName, ShardManifest manifest);

    /// Removes the files of shards in a folder that neither its manifest nor one of these names. A file that cannot be
    /// removed does no harm, and the next save tries again. Call it under the folder's lock.
    static void removeRemains(const std::string& folderName,
                              std::initializer_list<const ShardManifest*> manifests) noexcept;

    /// Saves all shards to a folder and removes them from memory; from then on they are read from there, although no
    /// manifest names them yet. Call it while no thread uses the dictionary, and no thread is registered with it. After
    /// a throw the dictionary is unusable.
    void saveAndRelease(const std::string& folderName, size_t numberOfThreads);

    /// Does the same with one shard, in the folder from which shards are read. Call it while no thread uses the shard;
    /// several shards can be saved concurrently.
    void saveAndRelease(uint32_t shard);

    /// Checks each shard as Dictionary::verify does, that none of its IDs was skipped, and that each term is in its
    /// shard. Throws MelnarException, which names the shard and the finding; IDs in it are local to the shard.
    void verify() const;

    /// Checks one of the shards that forEachShard visits.
    void verifyShard(uint32_t shard, const Dictionary& dictionary) const;

private:
    friend class ShardedDictionaryThread;

    ShardedDictionary(std::string folderName, ShardManifest manifest, const DictionaryOptions& options);

    /// A shard. When it is in memory it is published, and stays there.
    struct Slot {
        melnar::Atomic<Dictionary*> m_published{nullptr}; // U1, U2
        std::unique_ptr<Dictionary> m_owned;              // protected by m_mutex
        std::mutex m_mutex;                               // held while the shard is brought into memory
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
    ShardManifest writeShards(const std::string& folderName, State state, size_t numberOfThreads) const;
    void removeRemains(const std::string& folderName) const noexcept;
    void adoptSaved(const std::string& folderName, ShardManifest manifest);
    void adopt(std::string folderName, ShardManifest manifest, DictionaryHistory::Contents history) noexcept;
    void releaseShard(uint32_t shard) noexcept;

    mutable MemoryManager m_memoryManager; // of all shards; reading operations may open shards
    const uint64_t m_maximumNumberOfResourcesOfShard;
    const DictionaryOptions m_options; // of each shard

    mutable std::array<Slot, ShardLayout::NUMBER_OF_SHARDS> m_slots;

    /// Looks up the terms of shards that do not exist, so that it refuses what every shard refuses.
    const Dictionary m_noResources;

    std::string m_folderName; // of the files that the manifest names, links followed; protected by m_savedMutex
    ShardManifest m_manifest; // protected by m_savedMutex
    DictionaryHistory m_history;
    mutable std::shared_mutex m_savedMutex;

    mutable RunningOperations m_operations;         // on the dictionary
    mutable RunningOperations m_manifestOperations; // reads of the manifest, and its replacements
};
