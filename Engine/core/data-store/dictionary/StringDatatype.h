#pragma once

#include "Engine/core/data-store/dictionary/DatatypeStringPolicy.h"
#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"
#include "Engine/core/platform/collections/ParallelHashTable.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <span>
#include <string>
#include <vector>

class PreparedEntries;

template<class T>
class GroupProbe;

/// The literals of xsd:string (datatype ID 5) and rdf:PlainLiteral (6) of one dictionary.
///
/// T is the width of a bucket, uint32_t or uint64_t; both behave alike. Datatype ID 5 selects one table and every other
/// ID the other one: the ID that a caller passes is stored as it is.
///
/// Sizes, ownership, threads and errors are those of DictionaryDatatype. The operations that take a lexical form check
/// it; those that take a ResourceValue trust it, as it comes from a factory that has checked it.
///
/// THE LIFE OF A RESOURCE in resolveResource, each step visible to readers only through the last two:
///   claim a bucket (O1) -> take ID and chunk -> write the chunk -> store its offset -> store the fingerprint (H1)
///   -> store the datatype byte (D1)
///   -> publish the ID in the bucket (O2)
/// A reader comes by the bucket (O3), or by an ID and its datatype byte (D2). If no ID or chunk is available, the bucket
/// becomes empty again (O4) and the next thread that waits for it may try. O1 to O4 stand in ParallelHashTable.h.
///
/// MEMORY ORDERS   of the datatype byte, which the host reads and clears, too
///   #   operation                          order    pairs with   makes visible                        checked by
///   D1  create, store datatype ID          release  D2           the resource's offset and chunk      TSan
///   D2  read by ID, load                   acquire  D1                                                TSan
///   D3  withdraw, store D_INVALID          release  -            nothing: offset and chunk stay       argued
///   D4  compact, store datatype ID         release  -            nothing: it runs alone               argued
/// TSan and argued: as in ParallelHashTable.h.
template<class T>
class StringDatatype final : public DictionaryDatatype {
public:
    StringDatatype(MemoryManager& memoryManager, std::atomic<uint64_t>& nextResourceID,
                   MemoryRegion<uint64_t>& resourceDataOffsets, MemoryRegion<std::atomic<uint8_t>>& resourceFlags,
                   DataPool& dataPool) noexcept;
    ~StringDatatype() override;

    /// Both tables start with 1024 buckets, whatever the initial size.
    void initialize(size_t initialSize) override;
    void initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) override;

    /// 0: the records of prepareCompact are all that finishCompact needs.
    size_t getNumberOfMappableEntriesInCompaction() override;
    size_t prepareCompact(size_t resourceID, size_t newResourceID, DictionaryCompactionState& state) override;
    void finishCompact(const DictionaryCompactionState& state) override;

    void deleteUncommittedResourceID(uint64_t resourceID, uint8_t datatypeID) override;

    void getResource(uint64_t resourceID, uint8_t datatypeID, ResourceValue& resourceValue) const override;
    void getResource(uint64_t resourceID, uint8_t datatypeID, std::string& lexicalForm) const override;

    uint64_t tryResolveResource(DictionaryCommitPoint commitPoint, const ResourceValue& resourceValue) const override;
    uint64_t tryResolveResource(DictionaryCommitPoint commitPoint, const char* lexicalForm, size_t lexicalFormLength,
                                uint8_t datatypeID) const override;

    uint64_t resolveResource(DictionaryThreadContext* threadContext, const ResourceValue& resourceValue) override;
    uint64_t resolveResource(DictionaryThreadContext* threadContext, const char* lexicalForm, size_t lexicalFormLength,
                             uint8_t datatypeID) override;
    uint64_t restoreResource(DictionaryThreadContext* threadContext, uint64_t resourceID,
                             const ResourceValue& resourceValue) override;

    void save(OutputStream& outputStream) const override;
    void load(InputStream& inputStream) override;

    std::unique_ptr<ComponentInfo> getComponentInfo() const override;

    /// How many buckets a lookup of an existing string reads, in each table, and the language tags with their resources,
    /// most frequent first.
    void addDetailedComponentInfo(ComponentInfo& dictionary) const override;

    /// A thread that waits for a resize does not wait for another's whole batch: slots are held for one group of its
    /// entries at a time (see PreparedEntries).
    void resolveResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries,
                          std::vector<BatchFailure>& failures) override;
    void tryResolveResources(DictionaryCommitPoint commitPoint, std::span<BatchEntry> entries,
                             std::vector<BatchFailure>& failures) const override;
    void getResources(std::span<BatchEntry> entries) const override;

    void loadUntrusted(UntrustedInputStream& inputStream) override;
    void enableFingerprints() override;
    size_t getFingerprintBytes() const override;
    void limitCollisions(size_t largestNumberOfCollisions) override;
    std::vector<TableProfile> getTableProfiles(size_t numberOfSegments) const override;

private:
    friend class StringDatatypeTestPeer;

    using Policy = DatatypeStringPolicy<T>;
    using Table = ParallelHashTable<Policy>;

    class EnteredTable;

    /// Where a probe stands.
    struct ProbePlace {
        uint64_t m_hash;
        size_t m_index;                  // of the bucket to examine next
        size_t m_numberOfCollisions = 0; // other strings that it has met
    };

    static constexpr size_t MINIMUM_NUMBER_OF_BUCKETS = 1024;

    Table& selectTable(const uint8_t datatypeID) const noexcept {
        return datatypeID == D_XSD_STRING ? m_xsdStringTable : m_plainLiteralTable;
    }

    template<class ResourceIDSource>
    uint64_t doResolveResource(Table& table, DictionaryThreadContext* threadContext, ResourceIDSource resourceIDSource,
                               const char* lexicalForm, size_t lexicalFormLength, uint8_t datatypeID);

    template<class ResourceIDSource>
    uint64_t doResolveResource(Table& table, typename Table::ThreadContext& tableThreadContext, ProbePlace place,
                               DictionaryThreadContext* threadContext, ResourceIDSource resourceIDSource,
                               const char* lexicalForm, size_t lexicalFormLength, uint8_t datatypeID);

    template<class ResourceIDSource>
    uint64_t createResource(Table& table, const ProbePlace& place, DictionaryThreadContext* threadContext,
                            ResourceIDSource resourceIDSource, const char* lexicalForm, size_t lexicalFormLength,
                            uint8_t datatypeID);

    uint64_t doTryResolveResource(Table& table, DictionaryCommitPoint commitPoint, const char* lexicalForm,
                                  size_t lexicalFormLength) const noexcept;

    static ProbePlace startProbe(const Table& table, const char* lexicalForm, size_t lexicalFormLength) noexcept;

    void checkCollisions(size_t numberOfCollisions) const;

    static bool isEntryOf(Table& table, const ProbePlace& place, T value, const char* lexicalForm,
                          size_t lexicalFormLength) noexcept;

    size_t findGroup(const PreparedEntries& prepared, DictionaryCommitPoint commitPoint, EnteredTable& enteredTable,
                     GroupProbe<T>& groupProbe) const;

    size_t m_largestNumberOfCollisions = std::numeric_limits<size_t>::max(); // constant while threads are at work

    // Mutable because a lookup, too, holds its thread's slot and helps with a resize.
    mutable Table m_xsdStringTable;
    mutable Table m_plainLiteralTable;
};

extern template class StringDatatype<uint32_t>;
extern template class StringDatatype<uint64_t>;
