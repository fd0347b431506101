#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/system/MemoryRegionGrowth.h"

#include <algorithm>
#include <array>
#include <cstring>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/dictionary/DictionaryDatatype";
constexpr long LINE_TOO_MANY_RESOURCES = 47;

/// Answers one entry after the other; an exception of an entry becomes its failure.
template<class Answer>
void answerEach(const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures, const Answer& answer) {
    for (size_t index = 0; index < entries.size(); ++index)
        try {
            entries[index].m_resourceID = 0;
            entries[index].m_resourceID = answer(entries[index]);
        } catch (...) {
            failures.push_back(BatchFailure::ofCurrentException(index));
        }
}

} // namespace

DictionaryDatatype::DictionaryDatatype(Atomic<uint64_t>& nextResourceID, MemoryRegion<uint64_t>& resourceDataOffsets,
                                       MemoryRegion<Atomic<uint8_t>>& resourceFlags, DataPool& dataPool) noexcept
    : m_initialSize(0), m_nextResourceID(nextResourceID), m_resourceDataOffsets(resourceDataOffsets),
      m_resourceFlags(resourceFlags), m_dataPool(dataPool) {}

DictionaryDatatype::~DictionaryDatatype() = default;

void DictionaryDatatype::addDetailedComponentInfo(ComponentInfo&) const {}

void DictionaryDatatype::enableFingerprints() {}

size_t DictionaryDatatype::getFingerprintBytes() const {
    return 0;
}

void DictionaryDatatype::limitCollisions(size_t) {}

std::vector<TableProfile> DictionaryDatatype::getTableProfiles(size_t) const {
    return {};
}

void DictionaryDatatype::resolveResources(DictionaryThreadContext* const threadContext,
                                          const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
    answerEach(entries, failures, [this, threadContext](const BatchEntry& entry) {
        return resolveResource(threadContext, entry.m_lexicalForm.data(), entry.m_lexicalForm.size(),
                               entry.m_datatypeID);
    });
}

void DictionaryDatatype::tryResolveResources(const DictionaryCommitPoint commitPoint,
                                             const std::span<BatchEntry> entries,
                                             std::vector<BatchFailure>& failures) const {
    answerEach(entries, failures, [this, commitPoint](const BatchEntry& entry) {
        return tryResolveResource(commitPoint, entry.m_lexicalForm.data(), entry.m_lexicalForm.size(),
                                  entry.m_datatypeID);
    });
}

void DictionaryDatatype::findResources(const std::span<BatchEntry> entries, uint64_t*) const {
    std::vector<BatchFailure> failures; // Not used: createResources will refuse the same entries.
    tryResolveResources(DictionaryCommitPoint::ALL, entries, failures);
}

void DictionaryDatatype::createResources(DictionaryThreadContext* const threadContext,
                                         const std::span<BatchEntry> entries, const uint64_t*,
                                         std::vector<BatchFailure>& failures) {
    for (size_t index = 0; index < entries.size(); ++index)
        if (entries[index].m_resourceID == 0) {
            const size_t firstFailure = failures.size();
            resolveResources(threadContext, entries.subspan(index, 1), failures);
            if (failures.size() != firstFailure)
                failures.back().m_entryIndex = index;
        }
}

void DictionaryDatatype::getResources(const std::span<BatchEntry> entries) const {
    ResourceValue resourceValue;
    for (BatchEntry& entry : entries)
        if (entry.m_datatypeID != D_INVALID) {
            getResource(entry.m_resourceID, entry.m_datatypeID, resourceValue);
            entry.m_lexicalForm = {reinterpret_cast<const char*>(resourceValue.m_data), resourceValue.m_dataSize - 1};
        }
}

size_t DictionaryDatatype::getChunkSize(const uint64_t resourceID) const noexcept {
    return getStringChunkSize(m_resourceDataOffsets[resourceID]);
}

size_t DictionaryDatatype::getStringChunkSize(const uint64_t dataOffset) const noexcept {
    const uint64_t dataPoolEnd = m_dataPool.getEnd();
    if (dataOffset >= dataPoolEnd)
        return 0;
    const uint64_t availableBytes = dataPoolEnd - dataOffset;
    const uint8_t* const chunk = m_dataPool.getData() + dataOffset;
    // The header is read from a copy, which always has enough bytes.
    std::array<uint8_t, AdaptiveResourceSizeEncoding::MAXIMUM_HEADER_LENGTH> header{};
    std::memcpy(header.data(), chunk, std::min<uint64_t>(header.size(), availableBytes));
    size_t storedSize;
    const size_t headerLength = AdaptiveResourceSizeEncoding::decodeSize(header.data(), storedSize);
    const bool isWhole = storedSize != 0 &&
                         headerLength == AdaptiveResourceSizeEncoding::getEncodedSizeLength(storedSize) &&
                         headerLength <= availableBytes && storedSize <= availableBytes - headerLength &&
                         chunk[headerLength + storedSize - 1] == 0;
    return isWhole ? headerLength + storedSize : 0;
}

std::string_view DictionaryDatatype::getAffix(const BatchEntry&) const noexcept {
    return {};
}

void DictionaryDatatype::appendLexicalForm(const BatchEntry& entry, std::string& output) const {
    output += entry.m_lexicalForm;
}

bool DictionaryDatatype::isInUse() const noexcept {
    return true;
}

void DictionaryDatatype::loadUntrusted(UntrustedInputStream& inputStream) {
    load(inputStream);
}

uint64_t DictionaryDatatype::newDataChunk(DictionaryThreadContext* const threadContext, const size_t chunkSize) {
    return m_dataPool.newDataChunk(threadContext, chunkSize);
}

/// Makes the items of a resource ID in the regions accessible.
void DictionaryDatatype::ensureResourceID(const uint64_t resourceID) {
    const size_t capacity = m_resourceDataOffsets.getMaximumNumberOfItems();
    if (resourceID >= capacity)
        throw MelnarException(FailureKind::FULL, SOURCE_FILE, LINE_TOO_MANY_RESOURCES, MelnarException::NO_CAUSES,
                              "The dictionary cannot create resource ", resourceID,
                              " because it was created to hold at most ", capacity == 0 ? 0 : capacity - 1,
                              " resources.");
    ensureEndInSteps(m_resourceDataOffsets, resourceID + 1);
    ensureEndInSteps(m_resourceFlags, resourceID + 1);
}

/// Takes the counter's value only when the regions can be written there, so a failure uses no ID. The counter only
/// counts: a resource becomes visible with its bucket and its datatype byte.
uint64_t DictionaryDatatype::newResourceID() {
    uint64_t resourceID = m_nextResourceID.load(std::memory_order_relaxed);
    do {
        if (resourceID >= m_resourceDataOffsets.getEnd() || resourceID >= m_resourceFlags.getEnd())
            ensureResourceID(resourceID);
    } while (!m_nextResourceID.compare_exchange_weak(resourceID, resourceID + 1, std::memory_order_relaxed,
                                                     std::memory_order_relaxed));
    return resourceID;
}

std::pair<uint64_t, uint64_t>
DictionaryDatatype::newResourceIDAndDataChunk(DictionaryThreadContext* const threadContext, const size_t chunkSize) {
    const uint64_t offset = m_dataPool.newDataChunk(threadContext, chunkSize);
    try {
        return {newResourceID(), offset};
    } catch (...) {
        m_dataPool.returnDataChunk(threadContext, offset, chunkSize);
        throw;
    }
}
