#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"
#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/data-store/dictionary/TableProfile.h"
#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/collections/ParallelHashTable.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace melnar {
template<class Policy>
class GroupProbe;
} // namespace melnar

/// The common part of all datatypes that find their literals through hash tables of resource IDs. The derived class
/// owns the tables and selects the table of a literal; this class processes one literal, one batch and one table.
///
/// In addition to what ParallelHashTable requires, the policy gives access to the literal of a bucket:
/// `getChunkAddress(ID)` and `prefetchOffset(ID)`, `isChunkOf(chunk, form)`, `readInto(BatchEntry&)`, `static
/// getChunkSize(chunk)`, and `NewChunk(policy, form)` with `getSize()` and `write(chunk)`. For the failure of literals
/// that collide it has SOURCE_FILE, LINE_OF_COLLISIONS, and NOUN, its word for a literal in the message. A stored
/// literal and a query for it have the same hash, which is hashLexicalForm of the form.
///
/// THE LIFE OF A RESOURCE in doResolveResource. Only the last two steps make it visible to readers:
///   claim a bucket (O1) -> take ID and chunk -> write the chunk -> store its offset -> store the fingerprint (H1)
///   -> store the datatype byte (D1)
///   -> publish the ID in the bucket (O2)
/// A reader finds the resource through the bucket (O3), or through an ID and its datatype byte (D2). If no ID or chunk
/// is available, the bucket becomes empty again (O4) and the next thread that waits for it may try. O1 to O4 are
/// defined in ParallelHashTable.h.
///
/// MEMORY ORDERS   of the datatype byte, which the host reads and clears, too
///   #   operation                          order    pairs with   makes visible                        checked by
///   D1  create, store datatype ID          release  D2           the resource's offset and chunk      schedules
///   D2  read by ID, load                   acquire  D1                                                schedules
///   D3  withdraw, store D_INVALID          release  -            nothing: offset and chunk stay       argued
///   D4  compact, store datatype ID         release  -            nothing: it runs alone               argued
/// Schedules and argued: as in ParallelHashTable.h.
template<class TablePolicy>
class MELNAR_EXPORT TableDatatype : public DictionaryDatatype {
public:
    /// Returns 0: finishCompact needs only the records of prepareCompact.
    size_t getNumberOfMappableEntriesInCompaction() override;

    /// Appends the record of a resource, as DictionaryDatatype says.
    size_t prepareCompact(size_t resourceID, size_t newResourceID, DictionaryCompactionState& state) override;

    /// Limits the collisions in all tables, as DictionaryDatatype says.
    void limitCollisions(size_t largestNumberOfCollisions) override;

protected:
    /// How literals are stored and compared; see above.
    using Policy = TablePolicy;

    /// What a bucket holds: a resource ID.
    using BucketValue = typename Policy::BucketValue;

    /// A table of resource IDs.
    using Table = ParallelHashTable<Policy>;

    /// How many buckets the smallest table has.
    static constexpr size_t MINIMUM_NUMBER_OF_BUCKETS = melnar::ParallelHashTableHeader::MINIMUM_NUMBER_OF_BUCKETS;

    using DictionaryDatatype::DictionaryDatatype;

    /// Returns the size of the smallest table that holds this number of resources without growing.
    static size_t getNumberOfBucketsFor(uint64_t numberOfResources);

    /// Resolves one literal. `resourceIDSource` is GetNextResourceID or GetTargetResourceID.
    template<class ResourceIDSource>
    uint64_t doResolveResource(Table& table, DictionaryThreadContext* threadContext, ResourceIDSource resourceIDSource,
                               std::string_view lexicalForm, uint8_t datatypeID);

    /// Looks one literal up.
    uint64_t doTryResolveResource(Table& table, DictionaryCommitPoint commitPoint,
                                  std::string_view lexicalForm) const noexcept;

    /// Makes both regions writable at an ID, which restoreResource requires.
    void reserveResourceID(uint64_t resourceID);

    /// Withdraws a resource from its table.
    static void doDeleteUncommittedResourceID(Table& table, uint64_t resourceID) noexcept;

    /// Resolves a batch. `accept` is as in PreparedEntries::prepare, and `refusal` is for the entries that it refuses.
    /// `selectTable(datatypeID)` returns the table of a stored datatype ID: one for D_XSD_STRING, and one for all
    /// others. Slots are held for one group of entries at a time, so a thread that waits for a resize does not wait for
    /// another thread's whole batch.
    template<class Accept, class SelectTable>
    void resolveBatch(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries,
                      std::vector<BatchFailure>& failures, const Accept& accept, const BatchFailure::Refusal& refusal,
                      const SelectTable& selectTable);

    /// Looks a batch up. The arguments are those of resolveBatch.
    template<class Accept, class SelectTable>
    void tryResolveBatch(DictionaryCommitPoint commitPoint, std::span<BatchEntry> entries,
                         std::vector<BatchFailure>& failures, const Accept& accept,
                         const BatchFailure::Refusal& refusal, const SelectTable& selectTable) const;

    /// The two halves of resolveBatch. Between them the thread holds no slot. See findResources and createResources.
    template<class Accept, class SelectTable>
    void findBatch(std::span<BatchEntry> entries, uint64_t* hashes, const Accept& accept,
                   const SelectTable& selectTable) const;

    template<class Accept, class SelectTable>
    void createBatch(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries, const uint64_t* hashes,
                     std::vector<BatchFailure>& failures, const Accept& accept, const BatchFailure::Refusal& refusal,
                     const SelectTable& selectTable);

    /// Reads the resources of a batch; see getResources.
    static void readBatch(const Policy& policy, std::span<BatchEntry> entries) noexcept;

    /// Refills a table with the records of one datatype ID, which start at `entry`; returns where they end.
    const CompactionEntry* refillTable(Table& table, const CompactionEntry* entry, const CompactionEntry* entriesEnd,
                                       uint8_t datatypeID);

    /// Returns the statistics of a table: its size and its memory.
    static std::unique_ptr<ComponentInfo> describeTable(const Table& table, std::string&& name);

    /// Returns the statistics of the lengths of probes. Walks the table.
    static std::unique_ptr<ComponentInfo> describeProbes(const Table& table, std::string&& name);

    /// Returns how entries lie in a table; see getTableProfiles.
    static TableProfile getTableProfile(const Table& table, const char* name, size_t numberOfSegments);

    size_t m_largestNumberOfCollisions = std::numeric_limits<size_t>::max(); ///< constant while threads run

private:
    class EnteredTable;

    /// The state of a probe.
    struct ProbePlace {
        uint64_t m_hash;
        size_t m_index;                  // of the bucket to examine next
        size_t m_numberOfCollisions = 0; // other literals that it has passed
    };

    template<class ResourceIDSource>
    [[gnu::always_inline]] uint64_t doResolveResource(Table& table, typename Table::ThreadContext& tableThreadContext,
                                                      ProbePlace place, DictionaryThreadContext* threadContext,
                                                      ResourceIDSource resourceIDSource, std::string_view lexicalForm,
                                                      uint8_t datatypeID);

    template<class ResourceIDSource>
    uint64_t createResource(Table& table, const ProbePlace& place, DictionaryThreadContext* threadContext,
                            ResourceIDSource resourceIDSource, std::string_view lexicalForm, uint8_t datatypeID);

    static ProbePlace startProbe(const Table& table, uint64_t hash) noexcept;

    void checkCollisions(size_t numberOfCollisions) const;

    static bool isEntryOf(Table& table, const ProbePlace& place, BucketValue value,
                          std::string_view lexicalForm) noexcept;

    template<class SelectTable>
    static void findGroup(const melnar::PreparedEntries& prepared, DictionaryCommitPoint commitPoint,
                          EnteredTable& enteredTable, melnar::GroupProbe<Policy>& groupProbe,
                          const SelectTable& selectTable);

    template<class Accept, class SelectTable, class FinishEntry>
    void lookUpBatch(DictionaryCommitPoint commitPoint, bool isForCreation, std::span<BatchEntry> entries,
                     const Accept& accept, const SelectTable& selectTable, const FinishEntry& finishEntry) const;

    template<class GetPlace>
    uint64_t resolveInBatch(EnteredTable& enteredTable, Table& table, const GetPlace& getPlace,
                            DictionaryThreadContext* threadContext, std::string_view lexicalForm, uint8_t datatypeID);
};
