#pragma once

#include "Engine/core/data-store/dictionary/GroupProbe.h"
#include "Engine/core/data-store/dictionary/HashCollisionException.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/data-store/dictionary/LexicalFormHashes.h"
#include "Engine/core/data-store/dictionary/TableDatatype.h"
#include "Engine/core/platform/MemoryExhaustedException.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <optional>
#include <tuple>
#include <type_traits>
#include <utility>

template<class TablePolicy>
size_t TableDatatype<TablePolicy>::getNumberOfMappableEntriesInCompaction() {
    return 0;
}

template<class TablePolicy>
void TableDatatype<TablePolicy>::limitCollisions(const size_t largestNumberOfCollisions) {
    m_largestNumberOfCollisions = largestNumberOfCollisions;
}

template<class TablePolicy>
size_t TableDatatype<TablePolicy>::getNumberOfBucketsFor(const uint64_t numberOfResources) {
    const size_t neededBuckets = static_cast<size_t>(static_cast<double>(numberOfResources) / 0.7) + 1;
    return std::max(MINIMUM_NUMBER_OF_BUCKETS, std::bit_ceil(neededBuckets));
}

template<class TablePolicy>
void TableDatatype<TablePolicy>::reserveResourceID(const uint64_t resourceID) {
    m_resourceDataOffsets.getMemoryManager().withReclaim([this, resourceID] {
        m_resourceDataOffsets.ensureEndAtLeast(resourceID + 1);
        m_resourceFlags.ensureEndAtLeast(resourceID + 1);
    });
}

template<class TablePolicy>
template<class ResourceIDSource>
uint64_t TableDatatype<TablePolicy>::doResolveResource(Table& table, DictionaryThreadContext* const threadContext,
                                                       const ResourceIDSource resourceIDSource,
                                                       const std::string_view lexicalForm, const uint8_t datatypeID) {
    return table.getMemoryManager().withReclaim([&] {
        const typename Table::Operation operation(table);
        // Even if nothing will be inserted: growing later would move the buckets during the probe.
        table.reserveInsertionQuota(operation.getThreadContext());
        return doResolveResource(table, operation.getThreadContext(),
                                 startProbe(table, hashLexicalForm(lexicalForm.data(), lexicalForm.size())),
                                 threadContext, resourceIDSource, lexicalForm, datatypeID);
    });
}

/// Prefetches what the probe reads first, the fingerprint and the bucket, without waiting for the fingerprint.
template<class TablePolicy>
typename TableDatatype<TablePolicy>::ProbePlace TableDatatype<TablePolicy>::startProbe(const Table& table,
                                                                                       const uint64_t hash) noexcept {
    const size_t homeIndex = table.getHomeIndex(hash);
    table.prefetchFingerprint(homeIndex);
    table.prefetchBucket(homeIndex);
    return {hash, homeIndex};
}

/// Refuses a new literal that collides with too many others.
template<class TablePolicy>
void TableDatatype<TablePolicy>::checkCollisions(const size_t numberOfCollisions) const {
    if (numberOfCollisions > m_largestNumberOfCollisions) [[unlikely]]
        throw HashCollisionException(Policy::SOURCE_FILE, Policy::LINE_OF_COLLISIONS, MelnarException::NO_CAUSES,
                                     numberOfCollisions, "The ", Policy::NOUN, " collides in the hash table with ",
                                     numberOfCollisions, " others, more than the ", m_largestNumberOfCollisions,
                                     " that are allowed.");
}

/// Resolves a form that is known not to be in a bucket of its probe before this one. The caller holds its slot, and has
/// quota. Inlined in single calls and in batches alike: a shared out-of-line function would make single calls slower by
/// a fifth.
template<class TablePolicy>
template<class ResourceIDSource>
inline uint64_t
TableDatatype<TablePolicy>::doResolveResource(Table& table, typename Table::ThreadContext& tableThreadContext,
                                              ProbePlace place, DictionaryThreadContext* const threadContext,
                                              const ResourceIDSource resourceIDSource,
                                              const std::string_view lexicalForm, const uint8_t datatypeID) {
    const uint8_t fingerprint = melnar::Fingerprints::get(place.m_hash);
    for (;;) {
        place.m_index = table.findCandidate(place.m_index, fingerprint);
        const BucketValue value = Table::readBucket(table.getBucket(place.m_index));
        if (value == Policy::EMPTY_BUCKET) {
            checkCollisions(place.m_numberOfCollisions);
            if (Table::tryClaim(table.getBucket(place.m_index)))
                break;
            continue; // Another thread was faster, perhaps with the same literal: examine the bucket again.
        }
        if (value != Policy::BUCKET_DELETED) {
            if (isEntryOf(table, place, value, lexicalForm)) {
                if constexpr (std::is_same_v<ResourceIDSource, GetNextResourceID>)
                    return value;
                melnar::spinPause(); // The literal exists under another ID: wait until that entry is deleted.
                continue;
            }
            ++place.m_numberOfCollisions;
        }
        place.m_index = table.getNextIndex(place.m_index);
    }
    try {
        const uint64_t resourceID =
            createResource(table, place, threadContext, resourceIDSource, lexicalForm, datatypeID);
        table.publish(tableThreadContext, place.m_index, static_cast<BucketValue>(resourceID));
        return resourceID;
    } catch (...) {
        Table::unclaim(table.getBucket(place.m_index));
        throw;
    }
}

/// Creates a resource, except for its bucket.
template<class TablePolicy>
template<class ResourceIDSource>
uint64_t TableDatatype<TablePolicy>::createResource(Table& table, const ProbePlace& place,
                                                    DictionaryThreadContext* const threadContext,
                                                    const ResourceIDSource resourceIDSource,
                                                    const std::string_view lexicalForm, const uint8_t datatypeID) {
    const typename Policy::NewChunk chunk(table.getPolicy(), lexicalForm);
    uint64_t resourceID;
    uint64_t dataOffset;
    if constexpr (std::is_same_v<ResourceIDSource, GetNextResourceID>)
        std::tie(resourceID, dataOffset) = newResourceIDAndDataChunk(threadContext, chunk.getSize());
    else {
        resourceID = resourceIDSource.m_targetResourceID;
        dataOffset = newDataChunk(threadContext, chunk.getSize());
    }
    chunk.write(m_dataPool.getData() + dataOffset);
    m_resourceDataOffsets[resourceID] = dataOffset;
    // Before the datatype byte: a thread that can read the resource by its ID must also find its literal.
    table.learnFingerprint(place.m_index, place.m_hash);
    m_resourceFlags[resourceID].store(datatypeID, std::memory_order_release); // D1
    return resourceID;
}

/// Returns whether an entry that a probe has found is that of the form. Stores the entry's fingerprint if it is still
/// unknown.
template<class TablePolicy>
inline bool TableDatatype<TablePolicy>::isEntryOf(Table& table, const ProbePlace& place, const BucketValue value,
                                                  const std::string_view lexicalForm) noexcept {
    const Policy& policy = table.getPolicy();
    const bool isEqual = policy.isChunkOf(policy.getChunkAddress(value), lexicalForm);
    if (table.isFingerprintUnknown(place.m_index)) [[unlikely]]
        table.learnFingerprint(place.m_index, isEqual ? place.m_hash : policy.getHash(value));
    return isEqual;
}

template<class TablePolicy>
uint64_t TableDatatype<TablePolicy>::doTryResolveResource(Table& table, const DictionaryCommitPoint commitPoint,
                                                          const std::string_view lexicalForm) const noexcept {
    const typename Table::Operation operation(table);
    ProbePlace place = startProbe(table, hashLexicalForm(lexicalForm.data(), lexicalForm.size()));
    const uint8_t fingerprint = melnar::Fingerprints::get(place.m_hash);
    for (;; place.m_index = table.getNextIndex(place.m_index)) {
        place.m_index = table.findCandidate(place.m_index, fingerprint);
        if (table.isKnownToEndLookup(place.m_index))
            return 0;
        const BucketValue value = Table::readBucket(table.getBucket(place.m_index));
        if (value == Policy::EMPTY_BUCKET)
            return 0;
        if (value != Policy::BUCKET_DELETED && value < commitPoint.m_resourceID &&
            isEntryOf(table, place, value, lexicalForm))
            return value;
    }
}

template<class TablePolicy>
void TableDatatype<TablePolicy>::doDeleteUncommittedResourceID(Table& table, const uint64_t resourceID) noexcept {
    const typename Table::Operation operation(table);
    const ProbePlace home = startProbe(table, table.getPolicy().getHash(static_cast<BucketValue>(resourceID)));
    const uint8_t fingerprint = melnar::Fingerprints::get(home.m_hash);
    for (size_t index = home.m_index;; index = table.getNextIndex(index)) {
        index = table.findCandidate(index, fingerprint);
        const BucketValue value = Table::readBucket(table.getBucket(index));
        if (value == Policy::EMPTY_BUCKET)
            return;
        if (value == static_cast<BucketValue>(resourceID)) {
            table.remove(table.getBucket(index));
            return;
        }
    }
}

/// The slot that a thread holds while it works on a group. It holds one slot in one table at a time: if a thread waited
/// for a resize of one table while it held its slot in the other, another thread could be waiting for that slot.
template<class TablePolicy>
class TableDatatype<TablePolicy>::EnteredTable : private ::Unmovable {
public:
    ~EnteredTable() { leave(); }

    void enter(Table& table) noexcept {
        if (m_table == &table)
            return;
        leave();
        m_threadContext = &table.enter();
        m_table = &table;
    }

    void leave() noexcept {
        if (m_table == nullptr)
            return;
        Table::leave(*m_threadContext);
        m_table = nullptr;
        m_haveBucketsMoved = true;
    }

    /// Ensures that an insertion can follow.
    void reserveInsertionQuota() {
        m_haveBucketsMoved = m_table->reserveInsertionQuota(*m_threadContext) || m_haveBucketsMoved;
    }

    /// Returns whether buckets may have moved since the first table was entered: the thread has left it, or has grown
    /// it.
    bool haveBucketsMoved() const noexcept { return m_haveBucketsMoved; }

    typename Table::ThreadContext& getThreadContext() const noexcept { return *m_threadContext; }

private:
    Table* m_table = nullptr;
    typename Table::ThreadContext* m_threadContext = nullptr;
    bool m_haveBucketsMoved = false;
};

/// Finds the existing literals of a group, in all its tables. Afterwards the thread holds its slot in the last table.
template<class TablePolicy>
template<class SelectTable>
void TableDatatype<TablePolicy>::findGroup(const melnar::PreparedEntries& prepared,
                                           const DictionaryCommitPoint commitPoint, EnteredTable& enteredTable,
                                           melnar::GroupProbe<Policy>& groupProbe, const SelectTable& selectTable) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        if (const std::span<const uint16_t> selected = prepared.getOrder(datatypeID); !selected.empty()) {
            Table& table = selectTable(prepared.getDatatypeID(selected.front()));
            enteredTable.enter(table);
            groupProbe.find(table, commitPoint, selected);
        }
}

/// Resolves a literal that was not found, in a table that the thread enters if necessary. Leaves the slot after a
/// failure: memory can be reclaimed only by a thread without a slot, and a growth may have succeeded before another one
/// failed. `getPlace()` returns where the probe starts.
template<class TablePolicy>
template<class GetPlace>
[[gnu::always_inline]] inline uint64_t
TableDatatype<TablePolicy>::resolveInBatch(EnteredTable& enteredTable, Table& table, const GetPlace& getPlace,
                                           DictionaryThreadContext* const threadContext,
                                           const std::string_view lexicalForm, const uint8_t datatypeID) {
    return table.getMemoryManager().withReclaim([&] {
        try {
            enteredTable.enter(table);
            enteredTable.reserveInsertionQuota();
            return doResolveResource(table, enteredTable.getThreadContext(), getPlace(), threadContext,
                                     GetNextResourceID(), lexicalForm, datatypeID);
        } catch (...) {
            enteredTable.leave();
            throw;
        }
    });
}

template<class TablePolicy>
template<class Accept, class SelectTable>
void TableDatatype<TablePolicy>::resolveBatch(DictionaryThreadContext* const threadContext,
                                              const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures,
                                              const Accept& accept, const BatchFailure::Refusal& refusal,
                                              const SelectTable& selectTable) {
    melnar::PreparedEntries prepared;
    for (size_t begin = 0; begin < entries.size(); begin += prepared.getSize()) {
        prepared.prepare(entries.subspan(begin), accept);
        const std::span<BatchEntry> group = entries.subspan(begin, prepared.getSize());
        melnar::GroupProbe<Policy> groupProbe(prepared, melnar::GroupProbe<Policy>::Purpose::CREATE);
        EnteredTable enteredTable;
        findGroup(prepared, DictionaryCommitPoint::ALL, enteredTable, groupProbe, selectTable);
        // In the order of the entries, since the IDs follow it.
        for (size_t index = 0; index < group.size(); ++index) {
            group[index].m_resourceID = groupProbe.getResourceID(index);
            if (prepared.isRefused(index)) [[unlikely]]
                failures.emplace_back(begin + index, group[index], refusal);
            else if (group[index].m_resourceID == 0)
                try {
                    Table& table = selectTable(prepared.getDatatypeID(index));
                    // Continues where the probe ended, if the buckets have not moved.
                    const auto getPlace = [&] {
                        const uint64_t hash = prepared.getHash(index);
                        return enteredTable.haveBucketsMoved() ? ProbePlace{hash, table.getHomeIndex(hash)}
                                                               : ProbePlace{hash, groupProbe.getLastBucketIndex(index),
                                                                            groupProbe.getNumberOfCollisions(index)};
                    };
                    group[index].m_resourceID = resolveInBatch(enteredTable, table, getPlace, threadContext,
                                                               prepared.getForm(index), prepared.getDatatypeID(index));
                } catch (...) {
                    failures.push_back(BatchFailure::ofCurrentException(begin + index));
                }
        }
    }
}

/// Looks up the literals of a batch, then calls `finishEntry(number in the batch, group, number in the group)` for
/// each.
template<class TablePolicy>
template<class Accept, class SelectTable, class FinishEntry>
void TableDatatype<TablePolicy>::lookUpBatch(const DictionaryCommitPoint commitPoint, const bool isForCreation,
                                             const std::span<BatchEntry> entries, const Accept& accept,
                                             const SelectTable& selectTable, const FinishEntry& finishEntry) const {
    melnar::PreparedEntries prepared;
    for (size_t begin = 0; begin < entries.size(); begin += prepared.getSize()) {
        prepared.prepare(entries.subspan(begin), accept);
        melnar::GroupProbe<Policy> groupProbe(prepared, isForCreation ? melnar::GroupProbe<Policy>::Purpose::CREATE
                                                                      : melnar::GroupProbe<Policy>::Purpose::LOOK_UP);
        {
            EnteredTable enteredTable;
            findGroup(prepared, commitPoint, enteredTable, groupProbe, selectTable);
        }
        for (size_t index = 0; index < prepared.getSize(); ++index) {
            entries[begin + index].m_resourceID = groupProbe.getResourceID(index);
            finishEntry(begin + index, prepared, index);
        }
    }
}

template<class TablePolicy>
template<class Accept, class SelectTable>
void TableDatatype<TablePolicy>::tryResolveBatch(const DictionaryCommitPoint commitPoint,
                                                 const std::span<BatchEntry> entries,
                                                 std::vector<BatchFailure>& failures, const Accept& accept,
                                                 const BatchFailure::Refusal& refusal,
                                                 const SelectTable& selectTable) const {
    lookUpBatch(commitPoint, false, entries, accept, selectTable,
                [&](const size_t number, const melnar::PreparedEntries& prepared, const size_t index) {
                    if (prepared.isRefused(index)) [[unlikely]]
                        failures.emplace_back(number, entries[number], refusal);
                });
}

template<class TablePolicy>
template<class Accept, class SelectTable>
void TableDatatype<TablePolicy>::findBatch(const std::span<BatchEntry> entries, uint64_t* const hashes,
                                           const Accept& accept, const SelectTable& selectTable) const {
    lookUpBatch(DictionaryCommitPoint::ALL, true, entries, accept, selectTable,
                [hashes](const size_t number, const melnar::PreparedEntries& prepared, const size_t index) {
                    hashes[number] = prepared.getHash(index);
                });
}

/// Every probe starts at its home bucket, since the thread has left the tables after findBatch. The home buckets have
/// been prefetched. The slot is released after as much text as a group may have, for threads that wait for it.
template<class TablePolicy>
template<class Accept, class SelectTable>
void TableDatatype<TablePolicy>::createBatch(DictionaryThreadContext* const threadContext,
                                             const std::span<BatchEntry> entries, const uint64_t* const hashes,
                                             std::vector<BatchFailure>& failures, const Accept& accept,
                                             const BatchFailure::Refusal& refusal, const SelectTable& selectTable) {
    EnteredTable enteredTable;
    size_t numberOfBytes = 0;
    for (size_t index = 0; index < entries.size(); ++index) {
        BatchEntry& entry = entries[index];
        if (entry.m_resourceID != 0)
            continue;
        std::string_view form = entry.m_lexicalForm;
        uint8_t datatypeID = entry.m_datatypeID;
        if (form.size() >= AdaptiveResourceSizeEncoding::MAXIMUM_SIZE || !accept(form, datatypeID)) [[unlikely]] {
            failures.emplace_back(index, entry, refusal);
            continue;
        }
        numberOfBytes += form.size();
        if (numberOfBytes > melnar::PreparedEntries::MAXIMUM_NUMBER_OF_BYTES) {
            enteredTable.leave();
            numberOfBytes = form.size();
        }
        try {
            Table& table = selectTable(datatypeID);
            const auto getPlace = [&table, hash = hashes[index]] { return ProbePlace{hash, table.getHomeIndex(hash)}; };
            entry.m_resourceID = resolveInBatch(enteredTable, table, getPlace, threadContext, form, datatypeID);
        } catch (...) {
            failures.push_back(BatchFailure::ofCurrentException(index));
        }
    }
}

template<class TablePolicy>
void TableDatatype<TablePolicy>::readBatch(const Policy& policy, const std::span<BatchEntry> entries) noexcept {
    // Offsets are prefetched twice as far ahead as chunks, and each chunk after its offset has arrived.
    constexpr size_t DISTANCE = 24;
    for (size_t ahead = 0; ahead < entries.size() + 2 * DISTANCE; ++ahead) {
        if (ahead < entries.size() && entries[ahead].m_datatypeID != D_INVALID)
            policy.prefetchOffset(entries[ahead].m_resourceID);
        if (const size_t index = ahead - DISTANCE; index < entries.size() && entries[index].m_datatypeID != D_INVALID)
            __builtin_prefetch(policy.getChunkAddress(entries[index].m_resourceID));
        if (const size_t index = ahead - 2 * DISTANCE;
            index < entries.size() && entries[index].m_datatypeID != D_INVALID)
            policy.readInto(entries[index]);
    }
}

template<class TablePolicy>
size_t TableDatatype<TablePolicy>::prepareCompact(const size_t resourceID, const size_t newResourceID,
                                                  DictionaryCompactionState& state) {
    const uint8_t datatypeID = m_resourceFlags[resourceID].load(std::memory_order_acquire); // D2
    const uint64_t dataOffset = m_resourceDataOffsets[resourceID];
    const size_t chunkSize = Policy::getChunkSize(m_dataPool.getData() + dataOffset);
    state.m_entries[state.m_numberOfEntries] = {newResourceID, datatypeID, false, dataOffset, chunkSize};
    ++state.m_numberOfEntries;
    return chunkSize;
}

template<class TablePolicy>
const CompactionEntry* TableDatatype<TablePolicy>::refillTable(Table& table, const CompactionEntry* entry,
                                                               const CompactionEntry* const entriesEnd,
                                                               const uint8_t datatypeID) {
    const typename Table::Operation operation(table);
    table.clear();
    std::array<BucketValue, melnar::MAXIMUM_NUMBER_OF_FORMS_TO_HASH> values;
    std::array<uint64_t, melnar::MAXIMUM_NUMBER_OF_FORMS_TO_HASH> hashes;
    while (entry != entriesEnd && entry->datatypeID == datatypeID) {
        size_t numberOfValues = 0;
        for (; numberOfValues < values.size() && entry != entriesEnd && entry->datatypeID == datatypeID; ++entry) {
            m_resourceDataOffsets[entry->resourceID] = entry->dataOffset;
            m_resourceFlags[entry->resourceID].store(datatypeID, std::memory_order_release); // D4
            values[numberOfValues++] = static_cast<BucketValue>(entry->resourceID);
        }
        table.getPolicy().getHashes(values.data(), numberOfValues, hashes.data());
        for (size_t index = 0; index < numberOfValues; ++index)
            table.prefetchBucket(table.getHomeIndex(hashes[index]));
        for (size_t index = 0; index < numberOfValues; ++index)
            table.reinsert(operation.getThreadContext(), hashes[index], values[index]);
    }
    table.shrinkToFit(MINIMUM_NUMBER_OF_BUCKETS);
    return entry;
}

template<class TablePolicy>
std::unique_ptr<ComponentInfo> TableDatatype<TablePolicy>::describeTable(const Table& table, std::string&& name) {
    using Metric = ComponentInfo::Metric;
    auto component = std::make_unique<ComponentInfo>(std::move(name));
    const size_t numberOfBuckets = table.getNumberOfBuckets();
    component->addNumericProperty(Metric::MEMORY_CONSUMED, std::nullopt, table.getCommittedBytes(), 0);
    component->addNumericProperty(Metric::NUMBER_OF_BUCKETS, std::nullopt, numberOfBuckets, 0);
    component->addNumericProperty(Metric::NUMBER_OF_USED_BUCKETS, std::nullopt, table.getNumberOfNonEmptyBuckets(), 0);
    if (numberOfBuckets != 0)
        component->addDoubleProperty(Metric::LOAD_FACTOR, std::nullopt,
                                     static_cast<double>(table.getNumberOfNonEmptyBuckets()) * 100.0 /
                                         static_cast<double>(numberOfBuckets));
    return component;
}

template<class TablePolicy>
std::unique_ptr<ComponentInfo> TableDatatype<TablePolicy>::describeProbes(const Table& table, std::string&& name) {
    using Metric = ComponentInfo::Metric;
    auto component = std::make_unique<ComponentInfo>(std::move(name));
    const std::vector<size_t> probeLengths = table.getProbeLengths();
    size_t numberOfEntries = 0;
    size_t numberOfBuckets = 0;
    for (size_t index = 0; index < probeLengths.size(); ++index) {
        numberOfEntries += probeLengths[index];
        numberOfBuckets += probeLengths[index] * (index + 1);
    }
    if (numberOfEntries != 0)
        component->addDoubleProperty(Metric::AVERAGE_PROBE_LENGTH, std::nullopt,
                                     static_cast<double>(numberOfBuckets) / static_cast<double>(numberOfEntries));
    component->addNumericProperty(Metric::LONGEST_PROBE_LENGTH, std::nullopt, probeLengths.size(), 0);
    component->addNumericProperty(Metric::NUMBER_OF_DELETED_BUCKETS, std::nullopt, table.getNumberOfDeletedBuckets(),
                                  0);
    return component;
}

template<class TablePolicy>
TableProfile TableDatatype<TablePolicy>::getTableProfile(const Table& table, const char* const name,
                                                         const size_t numberOfSegments) {
    return {name, table.getNumberOfBuckets(), table.getUsedBuckets(numberOfSegments), table.getProbeLengths()};
}
