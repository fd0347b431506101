#pragma once

#include "Engine/core/data-store/dictionary/TableDatatype.h"
#include "Engine/core/data-store/terms/AffixTable.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/data-store/terms/TermPolicy.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace melnar {

/// The terms of one family of one dictionary. Takes nothing of the memory limit before the first term.
///
/// T is the width of a bucket, uint32_t or uint64_t; both behave alike. The family tells what a form looks like, and
/// which part of it many terms may share. Such a part is kept once (AffixTable), and a chunk holds its number and the
/// rest (TermChunk): a value that is read comes in two parts, its own in m_data and the shared one in m_auxiliaryData.
///
/// Sizes, ownership, threads and errors are those of DictionaryDatatype. The operations that take a lexical form check
/// it; those that take a ResourceValue trust it, as it comes from a factory that has checked it.
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
    TermDatatype(const TermFamily& family, MemoryManager& memoryManager, std::atomic<uint64_t>& nextResourceID,
                 MemoryRegion<uint64_t>& resourceDataOffsets, MemoryRegion<std::atomic<uint8_t>>& resourceFlags,
                 DataPool& dataPool) noexcept;
    ~TermDatatype() override;

    void initialize(size_t initialSize) override;
    void initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) override;
    bool isInUse() const noexcept override;

    /// A family of which nothing survives gives all its memory back. Texts that no term shares any more stay otherwise.
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

    /// Gives the terms' own parts; getAffix has the others.
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
    mutable AffixTable m_affixes; // a chunk that is written may bring a new text
    const Policy m_policy;

    std::mutex m_mutex;             // of those who make the table
    std::unique_ptr<Table> m_table; // protected by the mutex until it is published
    std::atomic<Table*> m_publishedTable;
    bool m_keepsFingerprints; // constant while threads are at work
};

extern template class TermDatatype<uint32_t>;
extern template class TermDatatype<uint64_t>;

} // namespace melnar
