#include "Engine/core/data-store/terms/TermDatatype.h"

#include "Engine/core/data-store/dictionary/DatatypeStreamValidator.h"
#include "Engine/core/data-store/dictionary/TableDatatypeImpl.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <optional>
#include <utility>

namespace melnar {

namespace {

constexpr std::string_view MARKER = "TermDatatype";

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/terms/TermDatatype";
constexpr long LINE_NOT_A_TERM_DATATYPE = 163;

/// Returns how entries are refused that the family does not allow.
BatchFailure::Refusal getRefusal(const TermFamily& family) noexcept {
    return {[](const BatchEntry& entry, const void* const rules) {
                static_cast<const TermFamily*>(rules)->check(entry.m_lexicalForm);
            },
            &family};
}

} // namespace

template<class T>
TermDatatype<T>::TermDatatype(const TermFamily& family, MemoryManager& memoryManager, Atomic<uint64_t>& nextResourceID,
                              MemoryRegion<uint64_t>& resourceDataOffsets, MemoryRegion<Atomic<uint8_t>>& resourceFlags,
                              DataPool& dataPool) noexcept
    : Base(nextResourceID, resourceDataOffsets, resourceFlags, dataPool), m_family(family),
      m_affixes(memoryManager, family.m_numberOfSightings),
      m_policy(resourceDataOffsets, dataPool, m_affixes, m_family), m_publishedTable(nullptr),
      m_keepsFingerprints(false) {}

template<class T>
TermDatatype<T>::~TermDatatype() = default;

template<class T>
void TermDatatype<T>::reset() noexcept {
    m_publishedTable.store(nullptr, std::memory_order_relaxed);
    m_table.reset();
    m_affixes.initialize();
}

template<class T>
void TermDatatype<T>::initialize(const size_t initialSize) {
    m_initialSize = initialSize;
    reset();
}

template<class T>
void TermDatatype<T>::initializeForSnapshot(const std::vector<uint64_t>& resourceCounts) {
    reset();
    if (const uint64_t resourceCount = resourceCounts[m_family.m_datatypeID]; resourceCount != 0)
        makeTable(Base::getNumberOfBucketsFor(resourceCount));
}

template<class T>
bool TermDatatype<T>::isInUse() const noexcept {
    return getTable() != nullptr;
}

template<class T>
typename TermDatatype<T>::Table& TermDatatype<T>::getOrMakeTable() {
    if (Table* const table = getTable(); table != nullptr) [[likely]]
        return *table;
    return m_resourceDataOffsets.getMemoryManager().withReclaim([this]() -> Table& {
        const std::lock_guard lock(m_mutex);
        Table* const table = getTable();
        return table != nullptr ? *table : makeTable(Base::MINIMUM_NUMBER_OF_BUCKETS);
    });
}

template<class T>
typename TermDatatype<T>::Table& TermDatatype<T>::makeTable(const size_t numberOfBuckets) {
    auto table = std::make_unique<Table>(m_resourceDataOffsets.getMemoryManager(), m_policy);
    table->initialize(numberOfBuckets);
    publish(std::move(table));
    return *m_table;
}

template<class T>
void TermDatatype<T>::publish(std::unique_ptr<Table> table) noexcept {
    if (m_keepsFingerprints)
        table->enableFingerprints();
    m_table = std::move(table);
    m_publishedTable.store(m_table.get(), std::memory_order_release); // K1
}

template<class T>
uint64_t TermDatatype<T>::resolveResource(DictionaryThreadContext* const threadContext, const char* const lexicalForm,
                                          const size_t lexicalFormLength, const uint8_t datatypeID) {
    const std::string_view form(lexicalForm, lexicalFormLength);
    m_family.check(form);
    return Base::doResolveResource(getOrMakeTable(), threadContext, DictionaryDatatype::GetNextResourceID(), form,
                                   datatypeID);
}

/// Returns the whole form of a value, which may have two parts.
template<class T>
std::string_view TermDatatype<T>::getForm(const ResourceValue& resourceValue, std::string& joined) const {
    const std::string_view ownPart(reinterpret_cast<const char*>(resourceValue.m_data), resourceValue.m_dataSize - 1);
    if (resourceValue.m_auxiliaryDataSize == 0)
        return ownPart;
    m_family.appendJoined(
        ownPart, {reinterpret_cast<const char*>(resourceValue.m_auxiliaryData), resourceValue.m_auxiliaryDataSize},
        joined);
    return joined;
}

template<class T>
uint64_t TermDatatype<T>::resolveResource(DictionaryThreadContext* const threadContext,
                                          const ResourceValue& resourceValue) {
    std::string joined;
    return Base::doResolveResource(getOrMakeTable(), threadContext, DictionaryDatatype::GetNextResourceID(),
                                   getForm(resourceValue, joined), resourceValue.m_datatypeID);
}

template<class T>
uint64_t TermDatatype<T>::restoreResource(DictionaryThreadContext* const threadContext, const uint64_t resourceID,
                                          const ResourceValue& resourceValue) {
    std::string joined;
    Base::reserveResourceID(resourceID);
    return Base::doResolveResource(getOrMakeTable(), threadContext, DictionaryDatatype::GetTargetResourceID{resourceID},
                                   getForm(resourceValue, joined), resourceValue.m_datatypeID);
}

template<class T>
uint64_t TermDatatype<T>::tryResolveResource(const DictionaryCommitPoint commitPoint, const char* const lexicalForm,
                                             const size_t lexicalFormLength, uint8_t) const {
    const std::string_view form(lexicalForm, lexicalFormLength);
    m_family.check(form);
    Table* const table = getTable();
    return table == nullptr ? 0 : Base::doTryResolveResource(*table, commitPoint, form);
}

template<class T>
uint64_t TermDatatype<T>::tryResolveResource(const DictionaryCommitPoint commitPoint,
                                             const ResourceValue& resourceValue) const {
    std::string joined;
    Table* const table = getTable();
    return table == nullptr ? 0 : Base::doTryResolveResource(*table, commitPoint, getForm(resourceValue, joined));
}

template<class T>
void TermDatatype<T>::deleteUncommittedResourceID(const uint64_t resourceID, uint8_t) {
    Base::doDeleteUncommittedResourceID(*getTable(), resourceID);
}

template<class T>
void TermDatatype<T>::getResource(const uint64_t resourceID, const uint8_t datatypeID,
                                  ResourceValue& resourceValue) const {
    const TermChunk chunk = m_policy.getChunk(resourceID);
    const std::string_view affix = m_policy.getAffix(chunk);
    resourceValue.m_datatypeID = datatypeID;
    resourceValue.m_data = chunk.getOwnPart().getData();
    resourceValue.m_dataSize = chunk.getOwnPart().getStoredSize();
    resourceValue.m_auxiliaryData = reinterpret_cast<const uint8_t*>(affix.data());
    resourceValue.m_auxiliaryDataSize = affix.size();
}

template<class T>
void TermDatatype<T>::getResource(const uint64_t resourceID, uint8_t, std::string& lexicalForm) const {
    const TermChunk chunk = m_policy.getChunk(resourceID);
    lexicalForm.clear();
    m_family.appendJoined(chunk.getOwnText(), m_policy.getAffix(chunk), lexicalForm);
}

template<class T>
bool TermDatatype<T>::isRefused(const BatchEntry& entry) const noexcept {
    return entry.m_lexicalForm.size() >= AdaptiveResourceSizeEncoding::MAXIMUM_SIZE || // must not be read
           !m_family.m_isWellFormed(entry.m_lexicalForm);
}

/// Answers a batch when no literal of the family exists. If `isFailure` is true, every entry that is not refused fails
/// with the exception that is being handled.
template<class T>
void TermDatatype<T>::answerWithoutTable(const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures,
                                         const bool isFailure) const {
    for (size_t index = 0; index < entries.size(); ++index) {
        BatchEntry& entry = entries[index];
        entry.m_resourceID = 0;
        if (isRefused(entry))
            failures.emplace_back(index, entry, getRefusal(m_family));
        else if (isFailure)
            failures.push_back(BatchFailure::ofCurrentException(index));
    }
}

/// Returns a function that decides which forms a batch may have.
template<class T>
auto TermDatatype<T>::getAccept() const noexcept {
    return [this](const std::string_view form, uint8_t) noexcept { return m_family.m_isWellFormed(form); };
}

template<class T>
void TermDatatype<T>::resolveResources(DictionaryThreadContext* const threadContext,
                                       const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
    if (!isInUse() && std::ranges::all_of(entries, [this](const BatchEntry& entry) { return isRefused(entry); })) {
        answerWithoutTable(entries, failures, false);
        return;
    }
    Table* table;
    try {
        table = &getOrMakeTable();
    } catch (...) {
        answerWithoutTable(entries, failures, true);
        return;
    }
    Base::resolveBatch(threadContext, entries, failures, getAccept(), getRefusal(m_family),
                       [table](uint8_t) -> Table& { return *table; });
}

template<class T>
void TermDatatype<T>::tryResolveResources(const DictionaryCommitPoint commitPoint, const std::span<BatchEntry> entries,
                                          std::vector<BatchFailure>& failures) const {
    Table* const table = getTable();
    if (table == nullptr) {
        answerWithoutTable(entries, failures, false);
        return;
    }
    Base::tryResolveBatch(commitPoint, entries, failures, getAccept(), getRefusal(m_family),
                          [table](uint8_t) -> Table& { return *table; });
}

template<class T>
void TermDatatype<T>::findResources(const std::span<BatchEntry> entries, uint64_t* const hashes) const {
    Table* const table = getTable();
    if (table != nullptr) {
        Base::findBatch(entries, hashes, getAccept(), [table](uint8_t) -> Table& { return *table; });
        return;
    }
    for (size_t index = 0; index < entries.size(); ++index) {
        const std::string_view form = entries[index].m_lexicalForm;
        entries[index].m_resourceID = 0;
        hashes[index] = isRefused(entries[index]) ? 0 : hashLexicalForm(form.data(), form.size());
    }
}

template<class T>
void TermDatatype<T>::createResources(DictionaryThreadContext* const threadContext, const std::span<BatchEntry> entries,
                                      const uint64_t* const hashes, std::vector<BatchFailure>& failures) {
    Base::createBatch(threadContext, entries, hashes, failures, getAccept(), getRefusal(m_family),
                      [this](uint8_t) -> Table& { return getOrMakeTable(); });
}

template<class T>
void TermDatatype<T>::getResources(const std::span<BatchEntry> entries) const {
    Base::readBatch(m_policy, entries);
}

template<class T>
std::string_view TermDatatype<T>::getAffix(const BatchEntry& entry) const noexcept {
    return m_affixes.getText(entry.m_affixNumber);
}

template<class T>
void TermDatatype<T>::appendLexicalForm(const BatchEntry& entry, std::string& output) const {
    m_family.appendJoined(entry.m_lexicalForm, getAffix(entry), output);
}

template<class T>
void TermDatatype<T>::finishCompact(const DictionaryCompactionState& state) {
    if (!isInUse())
        return;
    const CompactionEntry* const entriesEnd = state.m_entries.getData() + state.m_numberOfEntries;
    const uint8_t datatypeID = m_family.m_datatypeID;
    const CompactionEntry* const entry =
        std::partition_point(state.m_entries.getData(), entriesEnd, [datatypeID](const CompactionEntry& candidate) {
            return candidate.datatypeID < datatypeID;
        });
    if (entry == entriesEnd || entry->datatypeID != datatypeID)
        reset();
    else
        Base::refillTable(*m_table, entry, entriesEnd, datatypeID);
}

/// The chunk may come from a damaged file. loadUntrusted checks whether there is a text with its affix number.
template<class T>
size_t TermDatatype<T>::getChunkSize(const uint64_t resourceID) const noexcept {
    const uint64_t dataOffset = m_resourceDataOffsets[resourceID];
    const uint64_t dataPoolEnd = m_dataPool.getEnd();
    if (dataOffset >= dataPoolEnd)
        return 0;
    std::array<uint8_t, TermChunk::LONGEST_AFFIX_NUMBER> numberBytes{};
    std::memcpy(numberBytes.data(), m_dataPool.getData() + dataOffset,
                std::min<uint64_t>(numberBytes.size(), dataPoolEnd - dataOffset));
    uint32_t affixNumber;
    const auto numberLength =
        static_cast<size_t>(TermChunk::readAffixNumber(numberBytes.data(), affixNumber) - numberBytes.data());
    const size_t ownPartSize = Base::getStringChunkSize(dataOffset + numberLength);
    return ownPartSize == 0 ? 0 : numberLength + ownPartSize;
}

template<class T>
void TermDatatype<T>::save(OutputStream& outputStream) const {
    outputStream.writeString(MARKER);
    outputStream.writeUInt64(m_initialSize);
    if (const Table* const table = getTable(); table != nullptr)
        table->save(outputStream);
    else {
        Table empty(m_resourceDataOffsets.getMemoryManager(), m_policy);
        empty.initialize(Base::MINIMUM_NUMBER_OF_BUCKETS);
        empty.save(outputStream);
    }
    m_affixes.save(outputStream);
}

/// Reads everything except the shared texts.
template<class T>
void TermDatatype<T>::loadTable(InputStream& inputStream) {
    reset();
    if (!inputStream.readsString(MARKER))
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_NOT_A_TERM_DATATYPE,
                              MelnarException::NO_CAUSES, "Invalid input file: cannot load TermDatatype.");
    m_initialSize = inputStream.readUInt64();
    auto table = std::make_unique<Table>(m_resourceDataOffsets.getMemoryManager(), m_policy);
    table->load(inputStream);
    publish(std::move(table));
}

template<class T>
void TermDatatype<T>::load(InputStream& inputStream) {
    loadTable(inputStream);
    m_affixes.load(inputStream);
}

template<class T>
void TermDatatype<T>::loadUntrusted(UntrustedInputStream& inputStream) {
    DatatypeStreamValidator<T> validator(inputStream, MARKER, "term", {m_family.m_datatypeID},
                                         m_nextResourceID.load(std::memory_order_relaxed), m_resourceFlags);
    loadTable(validator);
    m_affixes.loadUntrusted(inputStream);
    checkAffixNumbers(inputStream);
}

template<class T>
void TermDatatype<T>::checkAffixNumbers(const UntrustedInputStream& inputStream) const {
    const uint64_t endResourceID = m_nextResourceID.load(std::memory_order_relaxed);
    for (uint64_t resourceID = 1; resourceID < endResourceID; ++resourceID)
        if (m_resourceFlags[resourceID].load(std::memory_order_relaxed) == m_family.m_datatypeID)
            if (const uint32_t number = m_policy.getChunk(resourceID).getAffixNumber(); number > m_affixes.getSize())
                inputStream.reportDamage("resource " + std::to_string(resourceID) + " shares text " +
                                         std::to_string(number) + ", which is not there.");
}

template<class T>
std::unique_ptr<ComponentInfo> TermDatatype<T>::getComponentInfo() const {
    using Metric = ComponentInfo::Metric;
    auto root = std::make_unique<ComponentInfo>("TermDatatype");
    if (const Table* const table = getTable(); table != nullptr)
        root->addChild(Base::describeTable(*table, m_family.m_plural));
    if (const size_t affixBytes = m_affixes.getCommittedBytes(); affixBytes != 0) {
        auto affixes = std::make_unique<ComponentInfo>(std::string("Shared texts of ") + m_family.m_plural);
        affixes->addNumericProperty(Metric::MEMORY_CONSUMED, std::nullopt, affixBytes, 0);
        root->addChild(std::move(affixes));
    }
    const std::string aggregateName = "Aggregate memory consumed (bytes)";
    root->addNumericProperty(Metric::AGGREGATE_MEMORY_CONSUMED, aggregateName,
                             root->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, aggregateName), 0);
    return root;
}

template<class T>
void TermDatatype<T>::addDetailedComponentInfo(ComponentInfo& dictionary) const {
    const Table* const table = getTable();
    if (table == nullptr)
        return;
    auto probes = std::make_unique<ComponentInfo>("TermDatatype probes");
    probes->addChild(Base::describeProbes(*table, m_family.m_plural));
    dictionary.addChild(std::move(probes));
}

template<class T>
std::vector<TableProfile> TermDatatype<T>::getTableProfiles(const size_t numberOfSegments) const {
    const Table* const table = getTable();
    if (table == nullptr)
        return {};
    return {Base::getTableProfile(*table, m_family.m_plural, numberOfSegments)};
}

template<class T>
void TermDatatype<T>::enableFingerprints() {
    m_keepsFingerprints = true;
    if (Table* const table = getTable(); table != nullptr)
        table->enableFingerprints();
}

template<class T>
size_t TermDatatype<T>::getFingerprintBytes() const {
    const Table* const table = getTable();
    return table == nullptr ? 0 : table->getFingerprintBytes();
}

template class TermDatatype<uint32_t>;
template class TermDatatype<uint64_t>;

} // namespace melnar
