#pragma once

#include "Engine/core/data-store/dictionary/DatatypeStringPolicy.h"
#include "Engine/core/data-store/dictionary/TableDatatype.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/collections/ParallelHashTable.h"
#include "Engine/core/platform/system/Atomic.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

/// The literals of xsd:string (datatype ID 5) and rdf:PlainLiteral (6) of one dictionary.
///
/// T is the type of a bucket, uint32_t or uint64_t; both behave alike. Datatype ID 5 selects one table, every other ID
/// the other one. The ID that a caller passes is stored unchanged.
///
/// Sizes, ownership, threads and errors are those of DictionaryDatatype. The operations that take a lexical form check
/// it. Those that take a ResourceValue trust it, since a factory has checked it.
template<class T>
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): the base depends on T
class MELNAR_EXPORT StringDatatype final : public TableDatatype<DatatypeStringPolicy<T>> {
public:
    /// As DictionaryDatatype.
    StringDatatype(MemoryManager& memoryManager, melnar::Atomic<uint64_t>& nextResourceID,
                   MemoryRegion<uint64_t>& resourceDataOffsets, MemoryRegion<melnar::Atomic<uint8_t>>& resourceFlags,
                   DataPool& dataPool) noexcept;
    ~StringDatatype() override;

    /// Both tables start with 1024 buckets; the initial size does not matter.
    void initialize(size_t initialSize) override;
    void initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) override;

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

    /// Adds, for each table, how many buckets a lookup of an existing string reads, and the language tags with the
    /// numbers of their resources, most frequent first.
    void addDetailedComponentInfo(ComponentInfo& dictionary) const override;

    void resolveResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries,
                          std::vector<BatchFailure>& failures) override;
    void tryResolveResources(DictionaryCommitPoint commitPoint, std::span<BatchEntry> entries,
                             std::vector<BatchFailure>& failures) const override;
    void findResources(std::span<BatchEntry> entries, uint64_t* hashes) const override;
    void createResources(DictionaryThreadContext* threadContext, std::span<BatchEntry> entries, const uint64_t* hashes,
                         std::vector<BatchFailure>& failures) override;
    void getResources(std::span<BatchEntry> entries) const override;

    void loadUntrusted(UntrustedInputStream& inputStream) override;
    void enableFingerprints() override;
    size_t getFingerprintBytes() const override;
    std::vector<TableProfile> getTableProfiles(size_t numberOfSegments) const override;

private:
    friend class StringDatatypeTestPeer;

    using Base = TableDatatype<DatatypeStringPolicy<T>>;
    using Base::m_dataPool;
    using Base::m_initialSize;
    using Base::m_nextResourceID;
    using Base::m_resourceDataOffsets;
    using Base::m_resourceFlags;
    using typename Base::Policy;
    using typename Base::Table;

    Table& selectTable(const uint8_t datatypeID) const noexcept {
        return datatypeID == D_XSD_STRING ? m_xsdStringTable : m_plainLiteralTable;
    }

    // Mutable because a lookup, too, takes its thread's slot and helps with a resize.
    mutable Table m_xsdStringTable;
    mutable Table m_plainLiteralTable;
};

extern template class StringDatatype<uint32_t>;
extern template class StringDatatype<uint64_t>;
