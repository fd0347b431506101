#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/HashCollisionException.h"
#include "Engine/core/data-store/dictionary/LanguageCounts.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFailureSites.h"
#include "Engine/core/data-store/dictionary/StringDatatypeImpl.h"
#include "Engine/core/data-store/dictionary/StringDatatypeMarker.h"
#include "Engine/core/data-store/dictionary/StringDatatypeStreamValidator.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <utility>

namespace {

const char* getLexicalForm(const ResourceValue& resourceValue) noexcept {
    return reinterpret_cast<const char*>(resourceValue.m_data);
}

} // namespace

template<class T>
StringDatatype<T>::StringDatatype(MemoryManager& memoryManager, std::atomic<uint64_t>& nextResourceID,
                                  MemoryRegion<uint64_t>& resourceDataOffsets,
                                  MemoryRegion<std::atomic<uint8_t>>& resourceFlags, DataPool& dataPool) noexcept
    : DictionaryDatatype(nextResourceID, resourceDataOffsets, resourceFlags, dataPool),
      m_xsdStringTable(memoryManager, Policy(resourceDataOffsets, dataPool)),
      m_plainLiteralTable(memoryManager, Policy(resourceDataOffsets, dataPool)) {}

template<class T>
StringDatatype<T>::~StringDatatype() = default;

template<class T>
void StringDatatype<T>::initialize(const size_t initialSize) {
    m_initialSize = initialSize;
    m_xsdStringTable.initialize(MINIMUM_NUMBER_OF_BUCKETS);
    m_plainLiteralTable.initialize(MINIMUM_NUMBER_OF_BUCKETS);
}

template<class T>
void StringDatatype<T>::initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) {
    const auto getNumberOfBuckets = [](const uint64_t resourceCount) {
        const size_t neededBuckets = static_cast<size_t>(static_cast<double>(resourceCount) / 0.7) + 1;
        return std::max(MINIMUM_NUMBER_OF_BUCKETS, std::bit_ceil(neededBuckets));
    };
    m_xsdStringTable.initialize(getNumberOfBuckets(resourceCounts[D_XSD_STRING]));
    m_plainLiteralTable.initialize(getNumberOfBuckets(resourceCounts[D_RDF_PLAIN_LITERAL]));
}

template<class T>
size_t StringDatatype<T>::getNumberOfMappableEntriesInCompaction() {
    return 0;
}

template<class T>
uint64_t StringDatatype<T>::resolveResource(DictionaryThreadContext* const threadContext, const char* const lexicalForm,
                                            size_t lexicalFormLength, uint8_t datatypeID) {
    AdaptiveResourceSizeEncoding::checkLength(lexicalFormLength); // Before the form is read: it cannot be that long.
    validatePlainLiteral(lexicalForm, lexicalFormLength, datatypeID, RESOLVE_FAILURE_LINES);
    return doResolveResource(selectTable(datatypeID), threadContext, GetNextResourceID(), lexicalForm,
                             lexicalFormLength, datatypeID);
}

template<class T>
uint64_t StringDatatype<T>::resolveResource(DictionaryThreadContext* const threadContext,
                                            const ResourceValue& resourceValue) {
    return doResolveResource(selectTable(resourceValue.m_datatypeID), threadContext, GetNextResourceID(),
                             getLexicalForm(resourceValue), resourceValue.m_dataSize - 1, resourceValue.m_datatypeID);
}

template<class T>
uint64_t StringDatatype<T>::restoreResource(DictionaryThreadContext* const threadContext, const uint64_t resourceID,
                                            const ResourceValue& resourceValue) {
    m_resourceDataOffsets.getMemoryManager().withReclaim([this, resourceID] {
        m_resourceDataOffsets.ensureEndAtLeast(resourceID + 1);
        m_resourceFlags.ensureEndAtLeast(resourceID + 1);
    });
    return doResolveResource(selectTable(resourceValue.m_datatypeID), threadContext, GetTargetResourceID{resourceID},
                             getLexicalForm(resourceValue), resourceValue.m_dataSize - 1, resourceValue.m_datatypeID);
}

template<class T>
template<class ResourceIDSource>
uint64_t StringDatatype<T>::doResolveResource(Table& table, DictionaryThreadContext* const threadContext,
                                              const ResourceIDSource resourceIDSource, const char* const lexicalForm,
                                              const size_t lexicalFormLength, const uint8_t datatypeID) {
    return table.getMemoryManager().withReclaim([&] {
        const typename Table::Operation operation(table);
        // Before it is known whether anything will be inserted: growing later would move the buckets under the probe.
        table.reserveInsertionQuota(operation.getThreadContext());
        return doResolveResource(table, operation.getThreadContext(), startProbe(table, lexicalForm, lexicalFormLength),
                                 threadContext, resourceIDSource, lexicalForm, lexicalFormLength, datatypeID);
    });
}

/// Prefetches what the probe reads first: the fingerprint and the bucket, without waiting for one before the other.
template<class T>
typename StringDatatype<T>::ProbePlace StringDatatype<T>::startProbe(const Table& table, const char* const lexicalForm,
                                                                     const size_t lexicalFormLength) noexcept {
    const uint64_t hash = hashLexicalForm(lexicalForm, lexicalFormLength);
    const size_t homeIndex = table.getHomeIndex(hash);
    table.prefetchFingerprint(homeIndex);
    table.prefetchBucket(homeIndex);
    return {hash, homeIndex};
}

/// Refuses a new string with which too many others collide.
template<class T>
void StringDatatype<T>::checkCollisions(const size_t numberOfCollisions) const {
    if (numberOfCollisions > m_largestNumberOfCollisions) [[unlikely]]
        throw HashCollisionException(STRING_DATATYPE_SOURCE_FILE, LINE_TOO_MANY_COLLISIONS, MelnarException::NO_CAUSES,
                                     numberOfCollisions, "The string collides in the hash table with ",
                                     numberOfCollisions, " others, more than the ", m_largestNumberOfCollisions,
                                     " that are allowed.");
}

template<class T>
uint64_t StringDatatype<T>::tryResolveResource(const DictionaryCommitPoint commitPoint, const char* const lexicalForm,
                                               size_t lexicalFormLength, uint8_t datatypeID) const {
    AdaptiveResourceSizeEncoding::checkLength(lexicalFormLength); // Before the form is read: it cannot be that long.
    validatePlainLiteral(lexicalForm, lexicalFormLength, datatypeID, TRY_RESOLVE_FAILURE_LINES);
    return doTryResolveResource(selectTable(datatypeID), commitPoint, lexicalForm, lexicalFormLength);
}

template<class T>
uint64_t StringDatatype<T>::tryResolveResource(const DictionaryCommitPoint commitPoint,
                                               const ResourceValue& resourceValue) const {
    return doTryResolveResource(selectTable(resourceValue.m_datatypeID), commitPoint, getLexicalForm(resourceValue),
                                resourceValue.m_dataSize - 1);
}

template<class T>
uint64_t StringDatatype<T>::doTryResolveResource(Table& table, const DictionaryCommitPoint commitPoint,
                                                 const char* const lexicalForm,
                                                 const size_t lexicalFormLength) const noexcept {
    const typename Table::Operation operation(table);
    ProbePlace place = startProbe(table, lexicalForm, lexicalFormLength);
    const uint8_t fingerprint = Fingerprints::get(place.m_hash);
    for (;; place.m_index = table.getNextIndex(place.m_index)) {
        place.m_index = table.findCandidate(place.m_index, fingerprint);
        if (table.isKnownToEndLookup(place.m_index))
            return 0;
        const T value = Table::readBucket(table.getBucket(place.m_index));
        if (value == Policy::EMPTY_BUCKET)
            return 0;
        if (value != Policy::BUCKET_DELETED && value < commitPoint.m_resourceID &&
            isEntryOf(table, place, value, lexicalForm, lexicalFormLength))
            return value;
    }
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
    Table& table = selectTable(datatypeID);
    const typename Table::Operation operation(table);
    const StringChunk chunk = table.getPolicy().getChunk(resourceID);
    const ProbePlace home = startProbe(table, chunk.getLexicalForm(), chunk.getLexicalFormLength());
    const uint8_t fingerprint = Fingerprints::get(home.m_hash);
    for (size_t index = home.m_index;; index = table.getNextIndex(index)) {
        index = table.findCandidate(index, fingerprint);
        const T value = Table::readBucket(table.getBucket(index));
        if (value == Policy::EMPTY_BUCKET)
            return;
        if (value == static_cast<T>(resourceID)) {
            table.remove(table.getBucket(index));
            return;
        }
    }
}

template<class T>
size_t StringDatatype<T>::prepareCompact(const size_t resourceID, const size_t newResourceID,
                                         DictionaryCompactionState& state) {
    const uint8_t datatypeID = m_resourceFlags[resourceID].load(std::memory_order_acquire); // D2
    const uint64_t dataOffset = m_resourceDataOffsets[resourceID];
    const size_t chunkSize = StringChunk(m_dataPool.getData() + dataOffset).getChunkSize();
    state.m_entries[state.m_numberOfEntries] = {newResourceID, datatypeID, false, dataOffset, chunkSize};
    ++state.m_numberOfEntries;
    return chunkSize;
}

template<class T>
void StringDatatype<T>::finishCompact(const DictionaryCompactionState& state) {
    const CompactionEntry* const entriesEnd = state.m_entries.getData() + state.m_numberOfEntries;
    const CompactionEntry* entry =
        std::partition_point(state.m_entries.getData(), entriesEnd,
                             [](const CompactionEntry& candidate) { return candidate.datatypeID < D_XSD_STRING; });
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        Table& table = selectTable(datatypeID);
        const typename Table::Operation operation(table);
        table.clear();
        std::array<T, MAXIMUM_NUMBER_OF_FORMS_TO_HASH> values;
        std::array<uint64_t, MAXIMUM_NUMBER_OF_FORMS_TO_HASH> hashes;
        while (entry != entriesEnd && entry->datatypeID == datatypeID) {
            size_t numberOfValues = 0;
            for (; numberOfValues < values.size() && entry != entriesEnd && entry->datatypeID == datatypeID; ++entry) {
                m_resourceDataOffsets[entry->resourceID] = entry->dataOffset;
                m_resourceFlags[entry->resourceID].store(datatypeID, std::memory_order_release); // D4
                values[numberOfValues++] = static_cast<T>(entry->resourceID);
            }
            table.getPolicy().getHashes(values.data(), numberOfValues, hashes.data());
            for (size_t index = 0; index < numberOfValues; ++index)
                table.prefetchBucket(table.getHomeIndex(hashes[index]));
            for (size_t index = 0; index < numberOfValues; ++index)
                table.reinsert(operation.getThreadContext(), hashes[index], values[index]);
        }
        table.shrinkToFit(MINIMUM_NUMBER_OF_BUCKETS);
    }
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
void StringDatatype<T>::limitCollisions(const size_t largestNumberOfCollisions) {
    m_largestNumberOfCollisions = largestNumberOfCollisions;
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
        throw MelnarException(STRING_DATATYPE_SOURCE_FILE, LINE_NOT_A_STRING_DATATYPE, MelnarException::NO_CAUSES,
                              "Invalid input file: cannot load StringDatatype.");
    m_initialSize = inputStream.readUInt64();
    m_xsdStringTable.load(inputStream);
    m_plainLiteralTable.load(inputStream);
}

template<class T>
void StringDatatype<T>::loadUntrusted(UntrustedInputStream& inputStream) {
    StringDatatypeStreamValidator<T> validator(inputStream, m_nextResourceID.load(std::memory_order_relaxed),
                                               m_resourceFlags);
    load(validator);
}

template<class T>
std::unique_ptr<ComponentInfo> StringDatatype<T>::getComponentInfo() const {
    using Metric = ComponentInfo::Metric;
    const auto describe = [](const Table& table, std::string&& name) {
        auto component = std::make_unique<ComponentInfo>(std::move(name));
        const size_t numberOfBuckets = table.getNumberOfBuckets();
        component->addNumericProperty(Metric::MEMORY_CONSUMED, std::nullopt, table.getCommittedBytes(), 0);
        component->addNumericProperty(Metric::NUMBER_OF_BUCKETS, std::nullopt, numberOfBuckets, 0);
        component->addNumericProperty(Metric::NUMBER_OF_USED_BUCKETS, std::nullopt, table.getNumberOfNonEmptyBuckets(),
                                      0);
        if (numberOfBuckets != 0)
            component->addDoubleProperty(Metric::LOAD_FACTOR, std::nullopt,
                                         static_cast<double>(table.getNumberOfNonEmptyBuckets()) * 100.0 /
                                             static_cast<double>(numberOfBuckets));
        return component;
    };
    auto root = std::make_unique<ComponentInfo>("StringDatatype");
    root->addChild(describe(m_xsdStringTable, "xsd:string"));
    root->addChild(describe(m_plainLiteralTable, "rdf:PlainLiteral"));
    const std::string aggregateName = "Aggregate memory consumed (bytes)";
    root->addNumericProperty(Metric::AGGREGATE_MEMORY_CONSUMED, aggregateName,
                             root->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, aggregateName), 0);
    return root;
}

template<class T>
void StringDatatype<T>::addDetailedComponentInfo(ComponentInfo& dictionary) const {
    using Metric = ComponentInfo::Metric;
    const auto describe = [](const Table& table, std::string&& name) {
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
        component->addNumericProperty(Metric::NUMBER_OF_DELETED_BUCKETS, std::nullopt,
                                      table.getNumberOfDeletedBuckets(), 0);
        return component;
    };
    auto probes = std::make_unique<ComponentInfo>("StringDatatype probes");
    probes->addChild(describe(m_xsdStringTable, "xsd:string"));
    probes->addChild(describe(m_plainLiteralTable, "rdf:PlainLiteral"));
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
    const auto describe = [numberOfSegments](const Table& table, const char* const name) {
        return TableProfile{name, table.getNumberOfBuckets(), table.getUsedBuckets(numberOfSegments),
                            table.getProbeLengths()};
    };
    return {describe(m_xsdStringTable, "xsd:string"), describe(m_plainLiteralTable, "rdf:PlainLiteral")};
}

template class StringDatatype<uint32_t>;
template class StringDatatype<uint64_t>;
