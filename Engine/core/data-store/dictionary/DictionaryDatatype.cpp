#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/system/MemoryRegionGrowth.h"

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/dictionary/DictionaryDatatype";
constexpr long LINE_TOO_MANY_RESOURCES = 47;

} // namespace

DictionaryDatatype::DictionaryDatatype(std::atomic<uint64_t>& nextResourceID,
                                       MemoryRegion<uint64_t>& resourceDataOffsets,
                                       MemoryRegion<std::atomic<uint8_t>>& resourceFlags, DataPool& dataPool) noexcept
    : m_initialSize(0), m_nextResourceID(nextResourceID), m_resourceDataOffsets(resourceDataOffsets),
      m_resourceFlags(resourceFlags), m_dataPool(dataPool) {}

DictionaryDatatype::~DictionaryDatatype() = default;

std::unique_ptr<ComponentInfo> DictionaryDatatype::getDetailedComponentInfo() const {
    return nullptr;
}

uint64_t DictionaryDatatype::newDataChunk(DictionaryThreadContext* const threadContext, const size_t chunkSize) {
    return m_dataPool.newDataChunk(threadContext, chunkSize);
}

/// Takes the counter's value only when the regions can be written there, so that a failure uses up no ID. The counter
/// only counts: a resource becomes visible with its bucket and its datatype byte.
uint64_t DictionaryDatatype::newResourceID() {
    uint64_t resourceID = m_nextResourceID.load(std::memory_order_relaxed);
    do {
        const size_t capacity = m_resourceDataOffsets.getMaximumNumberOfItems();
        if (resourceID >= capacity)
            throw MelnarException(SOURCE_FILE, LINE_TOO_MANY_RESOURCES, MelnarException::NO_CAUSES,
                                  "The dictionary cannot create resource ", resourceID,
                                  " because it was created to hold at most ", capacity == 0 ? 0 : capacity - 1,
                                  " resources.");
        ensureEndInSteps(m_resourceDataOffsets, resourceID + 1);
        ensureEndInSteps(m_resourceFlags, resourceID + 1);
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
