#include "tests/support/WordDatatype.h"

#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <cstring>
#include <optional>

namespace {

constexpr const char* const SOURCE_FILE = "tests/support/WordDatatype";
constexpr long LINE_NOT_A_WORD = 1;
constexpr long LINE_NOT_A_STREAM = 2;

constexpr std::string_view MARKER = "WordDatatype";

size_t getChunkSizeFor(const size_t length) {
    return sizeof(uint32_t) + length + 1;
}

} // namespace

WordDatatype::WordDatatype(const uint8_t smallID, const uint8_t capitalID, std::atomic<uint64_t>& nextResourceID,
                           MemoryRegion<uint64_t>& resourceDataOffsets,
                           MemoryRegion<std::atomic<uint8_t>>& resourceFlags, DataPool& dataPool) noexcept
    : DictionaryDatatype(nextResourceID, resourceDataOffsets, resourceFlags, dataPool), m_smallID(smallID),
      m_capitalID(capitalID) {}

WordDatatype::~WordDatatype() = default;

void WordDatatype::checkWord(const std::string_view lexicalForm, const bool isCapital) {
    const char first = isCapital ? 'A' : 'a';
    if (lexicalForm.empty() || !std::all_of(lexicalForm.begin(), lexicalForm.end(), [first](const char letter) {
            return first <= letter && letter <= first + 25;
        }))
        throw MelnarException(FailureKind::REFUSED_LITERAL, SOURCE_FILE, LINE_NOT_A_WORD, MelnarException::NO_CAUSES,
                              "'", std::string(lexicalForm), "' is not a word of ", isCapital ? "capital" : "small",
                              " letters.");
}

bool WordDatatype::isOwn(const uint64_t resourceID) const noexcept {
    const uint8_t datatypeID = m_resourceFlags[resourceID].load(std::memory_order_acquire);
    return datatypeID == m_smallID || datatypeID == m_capitalID;
}

std::string_view WordDatatype::getWord(const uint64_t resourceID) const noexcept {
    const uint8_t* const chunk = m_dataPool.getData() + m_resourceDataOffsets[resourceID];
    uint32_t length;
    std::memcpy(&length, chunk, sizeof(length));
    return {reinterpret_cast<const char*>(chunk) + sizeof(length), length};
}

void WordDatatype::addWord(const uint64_t resourceID) {
    m_resourceIDs.insert_or_assign(
        {m_resourceFlags[resourceID].load(std::memory_order_acquire), std::string(getWord(resourceID))}, resourceID);
}

void WordDatatype::initialize(const size_t initialSize) {
    m_initialSize = initialSize;
    m_resourceIDs.clear();
}

void WordDatatype::initializeForSnapshot(const std::vector<uint64_t>&) {
    m_resourceIDs.clear();
}

size_t WordDatatype::getNumberOfMappableEntriesInCompaction() {
    return 0;
}

size_t WordDatatype::prepareCompact(const size_t resourceID, const size_t newResourceID,
                                    DictionaryCompactionState& state) {
    const uint8_t datatypeID = m_resourceFlags[resourceID].load(std::memory_order_acquire);
    const size_t chunkSize = getChunkSizeFor(getWord(resourceID).size());
    state.m_entries[state.m_numberOfEntries] = {newResourceID, datatypeID, false, m_resourceDataOffsets[resourceID],
                                                chunkSize};
    ++state.m_numberOfEntries;
    return chunkSize;
}

void WordDatatype::finishCompact(const DictionaryCompactionState& state) {
    m_resourceIDs.clear();
    const CompactionEntry* const begin = state.m_entries.getData();
    std::for_each(begin, begin + state.m_numberOfEntries, [this](const CompactionEntry& entry) {
        if (entry.datatypeID != m_smallID && entry.datatypeID != m_capitalID)
            return;
        m_resourceDataOffsets[entry.resourceID] = entry.dataOffset;
        m_resourceFlags[entry.resourceID].store(entry.datatypeID, std::memory_order_release);
        addWord(entry.resourceID);
    });
}

void WordDatatype::deleteUncommittedResourceID(const uint64_t resourceID, const uint8_t datatypeID) {
    const std::lock_guard lock(m_mutex);
    const auto found = m_resourceIDs.find({datatypeID, std::string(getWord(resourceID))});
    if (found != m_resourceIDs.end() && found->second == resourceID)
        m_resourceIDs.erase(found);
}

void WordDatatype::getResource(const uint64_t resourceID, const uint8_t datatypeID,
                               ResourceValue& resourceValue) const {
    const std::string_view word = getWord(resourceID);
    resourceValue.m_datatypeID = datatypeID;
    resourceValue.m_data = reinterpret_cast<const uint8_t*>(word.data());
    resourceValue.m_dataSize = word.size() + 1;
    resourceValue.m_auxiliaryData = resourceValue.m_data - sizeof(uint32_t);
    resourceValue.m_auxiliaryDataSize = sizeof(uint32_t);
}

void WordDatatype::getResource(const uint64_t resourceID, uint8_t, std::string& lexicalForm) const {
    lexicalForm = getWord(resourceID);
}

uint64_t WordDatatype::tryResolveResource(const DictionaryCommitPoint commitPoint,
                                          const ResourceValue& resourceValue) const {
    return tryResolveResource(commitPoint, reinterpret_cast<const char*>(resourceValue.m_data),
                              resourceValue.m_dataSize - 1, resourceValue.m_datatypeID);
}

uint64_t WordDatatype::tryResolveResource(const DictionaryCommitPoint commitPoint, const char* const lexicalForm,
                                          const size_t lexicalFormLength, const uint8_t datatypeID) const {
    checkWord({lexicalForm, lexicalFormLength}, datatypeID == m_capitalID);
    const std::lock_guard lock(m_mutex);
    const auto found = m_resourceIDs.find({datatypeID, std::string(lexicalForm, lexicalFormLength)});
    return found != m_resourceIDs.end() && found->second < commitPoint.m_resourceID ? found->second : 0;
}

uint64_t WordDatatype::resolveResource(DictionaryThreadContext* const threadContext,
                                       const ResourceValue& resourceValue) {
    return resolveResource(threadContext, reinterpret_cast<const char*>(resourceValue.m_data),
                           resourceValue.m_dataSize - 1, resourceValue.m_datatypeID);
}

uint64_t WordDatatype::resolveResource(DictionaryThreadContext* const threadContext, const char* const lexicalForm,
                                       const size_t lexicalFormLength, const uint8_t datatypeID) {
    checkWord({lexicalForm, lexicalFormLength}, datatypeID == m_capitalID);
    const Word word(datatypeID, std::string(lexicalForm, lexicalFormLength));
    const std::lock_guard lock(m_mutex);
    const auto [entry, isNew] = m_resourceIDs.try_emplace(word, 0);
    if (isNew)
        try {
            const auto [resourceID, dataOffset] =
                newResourceIDAndDataChunk(threadContext, getChunkSizeFor(lexicalFormLength));
            writeResource(resourceID, dataOffset, word);
            entry->second = resourceID;
        } catch (...) {
            m_resourceIDs.erase(entry);
            throw;
        }
    return entry->second;
}

uint64_t WordDatatype::restoreResource(DictionaryThreadContext* const threadContext, const uint64_t resourceID,
                                       const ResourceValue& resourceValue) {
    m_resourceDataOffsets.ensureEndAtLeast(resourceID + 1);
    m_resourceFlags.ensureEndAtLeast(resourceID + 1);
    const Word word(resourceValue.m_datatypeID,
                    std::string(reinterpret_cast<const char*>(resourceValue.m_data), resourceValue.m_dataSize - 1));
    const std::lock_guard lock(m_mutex);
    writeResource(resourceID, newDataChunk(threadContext, getChunkSizeFor(word.second.size())), word);
    addWord(resourceID);
    return resourceID;
}

void WordDatatype::writeResource(const uint64_t resourceID, const uint64_t dataOffset, const Word& word) noexcept {
    const auto length = static_cast<uint32_t>(word.second.size());
    uint8_t* const chunk = m_dataPool.getData() + dataOffset;
    std::memcpy(chunk, &length, sizeof(length));
    std::memcpy(chunk + sizeof(length), word.second.c_str(), length + 1);
    m_resourceDataOffsets[resourceID] = dataOffset;
    m_resourceFlags[resourceID].store(word.first, std::memory_order_release);
}

size_t WordDatatype::getChunkSize(const uint64_t resourceID) const noexcept {
    const uint64_t dataOffset = m_resourceDataOffsets[resourceID];
    const uint64_t dataPoolEnd = m_dataPool.getEnd();
    if (dataOffset >= dataPoolEnd || dataPoolEnd - dataOffset < getChunkSizeFor(0))
        return 0;
    const std::string_view word = getWord(resourceID);
    return word.size() <= dataPoolEnd - dataOffset - getChunkSizeFor(0) && word.data()[word.size()] == 0
               ? getChunkSizeFor(word.size())
               : 0;
}

void WordDatatype::save(OutputStream& outputStream) const {
    std::vector<uint64_t> resourceIDs;
    for (const auto& [word, resourceID] : m_resourceIDs)
        resourceIDs.push_back(resourceID);
    std::sort(resourceIDs.begin(), resourceIDs.end());
    outputStream.writeString(MARKER);
    outputStream.writeUInt64(resourceIDs.size());
    for (const uint64_t resourceID : resourceIDs)
        outputStream.writeUInt64(resourceID);
}

void WordDatatype::load(InputStream& inputStream) {
    if (!inputStream.readsString(MARKER))
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_NOT_A_STREAM, MelnarException::NO_CAUSES,
                              "Invalid input file: cannot load WordDatatype.");
    m_resourceIDs.clear();
    for (uint64_t remaining = inputStream.readUInt64(); remaining != 0; --remaining)
        addWord(inputStream.readUInt64());
}

void WordDatatype::loadUntrusted(UntrustedInputStream& inputStream) {
    if (!inputStream.readsString(MARKER))
        inputStream.reportDamage("it is not the stream of a datatype of words.");
    m_resourceIDs.clear();
    const uint64_t numberOfWords = inputStream.readUInt64();
    uint64_t previousID = 0;
    for (uint64_t count = 0; count < numberOfWords; ++count) {
        const uint64_t resourceID = inputStream.readUInt64();
        if (resourceID <= previousID || resourceID >= m_nextResourceID.load(std::memory_order_relaxed) ||
            !isOwn(resourceID))
            inputStream.reportDamage("word " + std::to_string(resourceID) + " is none, or out of order.");
        addWord(resourceID);
        previousID = resourceID;
    }
    uint64_t numberOfResources = 0;
    for (uint64_t resourceID = 1; resourceID < m_nextResourceID.load(std::memory_order_relaxed); ++resourceID)
        numberOfResources += isOwn(resourceID);
    if (numberOfResources != numberOfWords)
        inputStream.reportDamage("it lacks words.");
}

std::unique_ptr<ComponentInfo> WordDatatype::getComponentInfo() const {
    auto root = std::make_unique<ComponentInfo>("WordDatatype");
    root->addNumericProperty(ComponentInfo::Metric::AGGREGATE_MEMORY_CONSUMED, std::nullopt, 0, 0);
    return root;
}

void WordDatatype::addDetailedComponentInfo(ComponentInfo& dictionary) const {
    size_t longest = 0;
    for (const auto& [word, resourceID] : m_resourceIDs)
        longest = std::max(longest, word.second.size());
    auto words = std::make_unique<ComponentInfo>("Words");
    words->addNumericProperty(ComponentInfo::Metric::NUMBER_OF_RESOURCES, "Words", m_resourceIDs.size(), 0);
    words->addNumericProperty(ComponentInfo::Metric::BYTES_OF_TEXT, "Longest word", longest, 0);
    dictionary.addChild(std::move(words));
}
