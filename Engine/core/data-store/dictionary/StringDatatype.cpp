#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DatatypeStreamValidator.h"
#include "Engine/core/data-store/dictionary/LanguageCounts.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFailureSites.h"
#include "Engine/core/data-store/dictionary/StringDatatypeMarker.h"
#include "Engine/core/data-store/dictionary/TableDatatypeImpl.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>

using namespace melnar;

namespace {

constexpr PlainLiteralFailureLines TRY_RESOLVE_FAILURE_LINES{LINE_TRY_RESOLVE_MISSING_AT_SIGN,
                                                             LINE_TRY_RESOLVE_MALFORMED_TAG};
constexpr PlainLiteralFailureLines RESOLVE_FAILURE_LINES{LINE_RESOLVE_MISSING_AT_SIGN, LINE_RESOLVE_MALFORMED_TAG};

// Not a function pointer, which would prevent inlining.
constexpr auto ACCEPT = [](std::string_view& lexicalForm, uint8_t& datatypeID) noexcept {
    return acceptPlainLiteral(lexicalForm, datatypeID);
};

/// Throws the reason why an entry is refused.
template<const PlainLiteralFailureLines& failureLines>
void refuse(const BatchEntry& entry, const void*) {
    size_t lexicalFormLength = entry.m_lexicalForm.size();
    uint8_t datatypeID = entry.m_datatypeID;
    AdaptiveResourceSizeEncoding::checkLength(lexicalFormLength);
    validatePlainLiteral(entry.m_lexicalForm.data(), lexicalFormLength, datatypeID, failureLines);
}

std::string_view getLexicalForm(const ResourceValue& resourceValue) noexcept {
    return {reinterpret_cast<const char*>(resourceValue.m_data), resourceValue.m_dataSize - 1};
}

} // namespace

template<class T>
StringDatatype<T>::StringDatatype(MemoryManager& memoryManager, Atomic<uint64_t>& nextResourceID,
                                  MemoryRegion<uint64_t>& resourceDataOffsets,
                                  MemoryRegion<Atomic<uint8_t>>& resourceFlags, DataPool& dataPool) noexcept
    : Base(nextResourceID, resourceDataOffsets, resourceFlags, dataPool),
      m_xsdStringTable(memoryManager, Policy(resourceDataOffsets, dataPool)),
      m_plainLiteralTable(memoryManager, Policy(resourceDataOffsets, dataPool)) {}

template<class T>
StringDatatype<T>::~StringDatatype() = default;

template<class T>
void StringDatatype<T>::initialize(const size_t initialSize) {
    m_initialSize = initialSize;
    m_xsdStringTable.initialize(Base::MINIMUM_NUMBER_OF_BUCKETS);
    m_plainLiteralTable.initialize(Base::MINIMUM_NUMBER_OF_BUCKETS);
}

template<class T>
void StringDatatype<T>::initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) {
    m_xsdStringTable.initialize(Base::getNumberOfBucketsFor(resourceCounts[D_XSD_STRING]));
    m_plainLiteralTable.initialize(Base::getNumberOfBucketsFor(resourceCounts[D_RDF_PLAIN_LITERAL]));
}

template<class T>
uint64_t StringDatatype<T>::resolveResource(DictionaryThreadContext* const threadContext, const char* const lexicalForm,
                                            size_t lexicalFormLength, uint8_t datatypeID) {
    AdaptiveResourceSizeEncoding::checkLength(lexicalFormLength); // before the form is read, which cannot be so long
    validatePlainLiteral(lexicalForm, lexicalFormLength, datatypeID, RESOLVE_FAILURE_LINES);
    return Base::doResolveResource(selectTable(datatypeID), threadContext, DictionaryDatatype::GetNextResourceID(),
                                   {lexicalForm, lexicalFormLength}, datatypeID);
}

template<class T>
uint64_t StringDatatype<T>::resolveResource(DictionaryThreadContext* const threadContext,
                                            const ResourceValue& resourceValue) {
    return Base::doResolveResource(selectTable(resourceValue.m_datatypeID), threadContext,
                                   DictionaryDatatype::GetNextResourceID(), getLexicalForm(resourceValue),
                                   resourceValue.m_datatypeID);
}

template<class T>
uint64_t StringDatatype<T>::restoreResource(DictionaryThreadContext* const threadContext, const uint64_t resourceID,
                                            const ResourceValue& resourceValue) {
    Base::reserveResourceID(resourceID);
    return Base::doResolveResource(selectTable(resourceValue.m_datatypeID), threadContext,
                                   DictionaryDatatype::GetTargetResourceID{resourceID}, getLexicalForm(resourceValue),
                                   resourceValue.m_datatypeID);
}

template<class T>
uint64_t StringDatatype<T>::tryResolveResource(const DictionaryCommitPoint commitPoint, const char* const lexicalForm,
                                               size_t lexicalFormLength, uint8_t datatypeID) const {
    AdaptiveResourceSizeEncoding::checkLength(lexicalFormLength); // before the form is read, which cannot be so long
    validatePlainLiteral(lexicalForm, lexicalFormLength, datatypeID, TRY_RESOLVE_FAILURE_LINES);
    return Base::doTryResolveResource(selectTable(datatypeID), commitPoint, {lexicalForm, lexicalFormLength});
}

template<class T>
uint64_t StringDatatype<T>::tryResolveResource(const DictionaryCommitPoint commitPoint,
                                               const ResourceValue& resourceValue) const {
    return Base::doTryResolveResource(selectTable(resourceValue.m_datatypeID), commitPoint,
                                      getLexicalForm(resourceValue));
}

template<class T>
void StringDatatype<T>::getResource(const uint64_t resourceID, const uint8_t datatypeID,
                                    ResourceValue& resourceValue) const {
    const StringChunk chunk = m_xsdStringTable.getPolicy().getChunk(resourceID);
    resourceValue.m_datatypeID = datatypeID;
    resourceValue.m_data = chunk.getData();
    resourceValue.m_dataSize = chunk.getStoredSize();
    resourceValue.m_auxiliaryData = nullptr;
    resourceValue.m_auxiliaryDataSize = 0;
}

template<class T>
void StringDatatype<T>::getResource(const uint64_t resourceID, uint8_t, std::string& lexicalForm) const {
    const StringChunk chunk = m_xsdStringTable.getPolicy().getChunk(resourceID);
    lexicalForm.assign(chunk.getLexicalForm(), chunk.getLexicalFormLength());
}

template<class T>
void StringDatatype<T>::deleteUncommittedResourceID(const uint64_t resourceID, const uint8_t datatypeID) {
    Base::doDeleteUncommittedResourceID(selectTable(datatypeID), resourceID);
}

template<class T>
void StringDatatype<T>::finishCompact(const DictionaryCompactionState& state) {
    const CompactionEntry* const entriesEnd = state.m_entries.getData() + state.m_numberOfEntries;
    const CompactionEntry* entry =
        std::partition_point(state.m_entries.getData(), entriesEnd,
                             [](const CompactionEntry& candidate) { return candidate.datatypeID < D_XSD_STRING; });
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        entry = Base::refillTable(selectTable(datatypeID), entry, entriesEnd, datatypeID);
}

template<class T>
void StringDatatype<T>::enableFingerprints() {
    m_xsdStringTable.enableFingerprints();
    m_plainLiteralTable.enableFingerprints();
}

template<class T>
size_t StringDatatype<T>::getFingerprintBytes() const {
    return m_xsdStringTable.getFingerprintBytes() + m_plainLiteralTable.getFingerprintBytes();
}

template<class T>
void StringDatatype<T>::save(OutputStream& outputStream) const {
    outputStream.writeString(STRING_DATATYPE_MARKER);
    outputStream.writeUInt64(m_initialSize);
    m_xsdStringTable.save(outputStream);
    m_plainLiteralTable.save(outputStream);
}

template<class T>
void StringDatatype<T>::load(InputStream& inputStream) {
    if (!inputStream.readsString(STRING_DATATYPE_MARKER))
        throw MelnarException(FailureKind::DAMAGED_FILE, STRING_DATATYPE_SOURCE_FILE, LINE_NOT_A_STRING_DATATYPE,
                              MelnarException::NO_CAUSES, "Invalid input file: cannot load StringDatatype.");
    m_initialSize = inputStream.readUInt64();
    m_xsdStringTable.load(inputStream);
    m_plainLiteralTable.load(inputStream);
}

template<class T>
void StringDatatype<T>::loadUntrusted(UntrustedInputStream& inputStream) {
    DatatypeStreamValidator<T> validator(inputStream, STRING_DATATYPE_MARKER, "string",
                                         {D_XSD_STRING, D_RDF_PLAIN_LITERAL},
                                         m_nextResourceID.load(std::memory_order_relaxed), m_resourceFlags);
    load(validator);
}

template<class T>
std::unique_ptr<ComponentInfo> StringDatatype<T>::getComponentInfo() const {
    using Metric = ComponentInfo::Metric;
    auto root = std::make_unique<ComponentInfo>("StringDatatype");
    root->addChild(Base::describeTable(m_xsdStringTable, "xsd:string"));
    root->addChild(Base::describeTable(m_plainLiteralTable, "rdf:PlainLiteral"));
    const std::string aggregateName = "Aggregate memory consumed (bytes)";
    root->addNumericProperty(Metric::AGGREGATE_MEMORY_CONSUMED, aggregateName,
                             root->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, aggregateName), 0);
    return root;
}

template<class T>
void StringDatatype<T>::addDetailedComponentInfo(ComponentInfo& dictionary) const {
    auto probes = std::make_unique<ComponentInfo>("StringDatatype probes");
    probes->addChild(Base::describeProbes(m_xsdStringTable, "xsd:string"));
    probes->addChild(Base::describeProbes(m_plainLiteralTable, "rdf:PlainLiteral"));
    LanguageCounts languages;
    const uint64_t endResourceID = std::min(m_nextResourceID.load(std::memory_order_relaxed), m_resourceFlags.getEnd());
    for (uint64_t resourceID = 1; resourceID < endResourceID; ++resourceID)
        if (m_resourceFlags[resourceID].load(std::memory_order_acquire) == D_RDF_PLAIN_LITERAL) { // D2
            const StringChunk chunk = m_plainLiteralTable.getPolicy().getChunk(resourceID);
            languages.add({chunk.getLexicalForm(), chunk.getLexicalFormLength()});
        }
    dictionary.addChild(std::move(probes));
    dictionary.addChild(languages.toComponentInfo());
}

template<class T>
std::vector<TableProfile> StringDatatype<T>::getTableProfiles(const size_t numberOfSegments) const {
    return {Base::getTableProfile(m_xsdStringTable, "xsd:string", numberOfSegments),
            Base::getTableProfile(m_plainLiteralTable, "rdf:PlainLiteral", numberOfSegments)};
}

template<class T>
void StringDatatype<T>::resolveResources(DictionaryThreadContext* const threadContext,
                                         const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
    Base::resolveBatch(threadContext, entries, failures, ACCEPT, {&refuse<RESOLVE_FAILURE_LINES>},
                       [this](const uint8_t datatypeID) -> Table& { return selectTable(datatypeID); });
}

template<class T>
void StringDatatype<T>::tryResolveResources(const DictionaryCommitPoint commitPoint,
                                            const std::span<BatchEntry> entries,
                                            std::vector<BatchFailure>& failures) const {
    Base::tryResolveBatch(commitPoint, entries, failures, ACCEPT, {&refuse<TRY_RESOLVE_FAILURE_LINES>},
                          [this](const uint8_t datatypeID) -> Table& { return selectTable(datatypeID); });
}

template<class T>
void StringDatatype<T>::findResources(const std::span<BatchEntry> entries, uint64_t* const hashes) const {
    Base::findBatch(entries, hashes, ACCEPT,
                    [this](const uint8_t datatypeID) -> Table& { return selectTable(datatypeID); });
}

template<class T>
void StringDatatype<T>::createResources(DictionaryThreadContext* const threadContext,
                                        const std::span<BatchEntry> entries, const uint64_t* const hashes,
                                        std::vector<BatchFailure>& failures) {
    Base::createBatch(threadContext, entries, hashes, failures, ACCEPT, {&refuse<RESOLVE_FAILURE_LINES>},
                      [this](const uint8_t datatypeID) -> Table& { return selectTable(datatypeID); });
}

template<class T>
void StringDatatype<T>::getResources(const std::span<BatchEntry> entries) const {
    Base::readBatch(m_xsdStringTable.getPolicy(), entries);
}

template class StringDatatype<uint32_t>;
template class StringDatatype<uint64_t>;
