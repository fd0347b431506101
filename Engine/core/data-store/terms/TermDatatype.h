#pragma once

#include "Engine/core/data-store/dictionary/TableDatatype.h"
#include "Engine/core/data-store/terms/AffixTable.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/data-store/terms/TermPolicy.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/Mutex.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace melnar {

/// The terms of one family in one dictionary. Takes no memory from the limit before the first term.
///
/// T is the type of a bucket, uint32_t or uint64_t; both behave alike. The family defines the format of a form, and
/// which part of it many terms may share. That part is stored once (AffixTable), and a chunk contains its number and
/// the rest of the form (TermChunk). A value that is read has two parts, its own in m_data and the shared one in
/// m_auxiliaryData.
///
/// Sizes, ownership, threads and errors are those of DictionaryDatatype. The operations that take a lexical form check
/// it. Those that take a ResourceValue trust it, since a factory has checked it.
///
/// MEMORY ORDERS
///   #   operation                          order    pairs with   makes visible                        checked by
///   K1  publish the table, store           release  K2           the empty table                      TSan
///   K2  is there a table, load             acquire  K1                                                TSan
/// TSan: as in ParallelHashTable.h.
template<class T>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): the base depends on T
class TermDatatype final : public TableDatatype<TermPolicy<T>> {
public:
    /// Makes the datatype of a family; the rest is as for DictionaryDatatype.
    TermDatatype(const TermFamily& family, MemoryManager& memoryManager, Atomic<uint64_t>& nextResourceID,
                 MemoryRegion<uint64_t>& resourceDataOffsets, MemoryRegion<Atomic<uint8_t>>& resourceFlags,
                 DataPool& dataPool) noexcept;
    ~TermDatatype() override;

    void initialize(size_t initialSize) override;
    void initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) override;
    bool isInUse() const noexcept override;

    /// Releases all memory of the family if no term survives. Otherwise shared texts stay, even those that no term has
    /// any more.
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
    void loadUntrusted(UntrustedInputStream& inputStream) override;

    std::unique_ptr<ComponentInfo> getComponentInfo() const override;
    void addDetailedComponentInfo(ComponentInfo& dictionary) const override;
    std::vector<TableProfile> getTableProfiles(size_t numberOfSegments) const override;

    void resolveResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries,
                          std::vector<BatchFailure>& failures) override;
    void tryResolveResources(DictionaryCommitPoint commitPoint, std::span<BatchEntry> entries,
                             std::vector<BatchFailure>& failures) const override;

    void findResources(std::span<BatchEntry> entries, uint64_t* hashes) const override;
    void createResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries, const uint64_t* hashes,
                         std::vector<BatchFailure>& failures) override;

    /// Returns the terms' own parts; getAffix returns the shared ones.
    void getResources(std::span<BatchEntry> entries) const override;
    std::string_view getAffix(const BatchEntry& entry) const noexcept override;
    void appendLexicalForm(const BatchEntry& entry, std::string& output) const override;

    size_t getChunkSize(uint64_t resourceID) const noexcept override;
    void enableFingerprints() override;
    size_t getFingerprintBytes() const override;

private:
    using Base = TableDatatype<TermPolicy<T>>;
    using Base::m_dataPool;
    using Base::m_initialSize;
    using Base::m_nextResourceID;
    using Base::m_resourceDataOffsets;
    using Base::m_resourceFlags;
    using typename Base::Policy;
    using typename Base::Table;

    Table* getTable() const noexcept { return m_publishedTable.load(std::memory_order_acquire); } // K2
    Table& getOrMakeTable();
    Table& makeTable(size_t numberOfBuckets);
    void publish(std::unique_ptr<Table> table) noexcept;
    void reset() noexcept;
    void loadTable(InputStream& inputStream);
    void checkAffixNumbers(const UntrustedInputStream& inputStream) const;
    void answerWithoutTable(std::span<BatchEntry> entries, std::vector<BatchFailure>& failures, bool isFailure) const;
    auto getAccept() const noexcept;
    bool isRefused(const BatchEntry& entry) const noexcept;
    std::string_view getForm(const ResourceValue& resourceValue, std::string& joined) const;

    const TermFamily& m_family;
    mutable AffixTable m_affixes; // writing a chunk may add a text
    const Policy m_policy;

    Mutex m_mutex;                  // of threads that make the table
    std::unique_ptr<Table> m_table; // protected by the mutex until it is published
    Atomic<Table*> m_publishedTable;
    bool m_keepsFingerprints; // constant while threads run
};

extern template class TermDatatype<uint32_t>;
extern template class TermDatatype<uint64_t>;

} // namespace melnar
