#include "Engine/core/data-store/dictionary/DataPool.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/system/MemoryRegionGrowth.h"

#include <utility>

using namespace melnar;

namespace {

/// Constant-initialised, since a pool may be made before main.
constinit Atomic<uint64_t> s_latestGeneration{0};

} // namespace

DataPool::DataPool(MemoryManager& memoryManager) noexcept
    : m_end(0), m_unusedBytes(0), m_data(nullptr), m_bytes(memoryManager), m_generation(newGeneration()) {}

/// Returns a number that no contents of any pool have had, and with which no thread context starts. Relaxed: the atomic
/// addition makes the number unique, and it orders no other memory. A thread that compares generations has received
/// both the pool and the thread context from its caller.
uint64_t DataPool::newGeneration() noexcept {
    return s_latestGeneration.fetch_add(1, std::memory_order_relaxed) + 1;
}

void DataPool::initialize(const size_t capacity, const size_t size) {
    m_generation = newGeneration();
    m_end.store(0, std::memory_order_relaxed);
    m_unusedBytes.store(0, std::memory_order_relaxed);
    for (Atomic<uint64_t>& spare : m_spares)
        spare.store(0, std::memory_order_relaxed);
    m_data = nullptr;
    m_bytes.initialize(capacity);
    m_data = m_bytes.getData();
    m_bytes.ensureEndAtLeast(size);
    m_end.store(size, std::memory_order_relaxed);
}

void DataPool::swapContents(DataPool& other) noexcept {
    const auto swapRelaxed = [](Atomic<uint64_t>& first, Atomic<uint64_t>& second) {
        const uint64_t value = first.load(std::memory_order_relaxed);
        first.store(second.load(std::memory_order_relaxed), std::memory_order_relaxed);
        second.store(value, std::memory_order_relaxed);
    };
    swapRelaxed(m_end, other.m_end);
    swapRelaxed(m_unusedBytes, other.m_unusedBytes);
    for (size_t index = 0; index < NUMBER_OF_SPARES; ++index)
        swapRelaxed(m_spares[index], other.m_spares[index]);
    std::swap(m_data, other.m_data);
    m_bytes.swapContents(other.m_bytes);
    m_generation = newGeneration();
    other.m_generation = newGeneration();
}

uint64_t DataPool::append(const size_t numberOfBytes) {
    uint64_t begin = m_end.load(std::memory_order_relaxed);
    MemoryManager& memoryManager = m_bytes.getMemoryManager();
    if (begin + numberOfBytes > getCapacity() && getCapacity() >= memoryManager.getReservedBytes()) {
        // The pool may take all memory, so it is full because the memory limit is reached. The memory manager reports
        // that.
        memoryManager.allocate(numberOfBytes);
        memoryManager.deallocate(numberOfBytes);
    }
    do
        ensureEndInSteps(m_bytes, begin + numberOfBytes);
    while (!m_end.compare_exchange_weak(begin, begin + numberOfBytes, std::memory_order_relaxed,
                                        std::memory_order_relaxed));
    return begin;
}

/// Returns [begin, end) to the pool if it was taken last, and counts it as unused otherwise. Returns whether it is
/// unused.
bool DataPool::giveBack(const uint64_t begin, const uint64_t end) noexcept {
    uint64_t expected = end;
    if (begin == end ||
        m_end.compare_exchange_strong(expected, begin, std::memory_order_relaxed, std::memory_order_relaxed))
        return false;
    m_unusedBytes.fetch_add(end - begin, std::memory_order_relaxed);
    return true;
}

/// Does the same for the rest of a block whose thread leaves. The rest becomes a spare if it is large enough and there
/// is room for one.
void DataPool::giveBackBlock(const uint64_t begin, const uint64_t end) noexcept {
    if (!giveBack(begin, end) || end - begin < LARGEST_CHUNK_IN_BLOCK || (end - begin) >> SPARE_SIZE_BITS != 0)
        return;
    const uint64_t spare = begin << SPARE_SIZE_BITS | (end - begin);
    for (Atomic<uint64_t>& place : m_spares)
        if (uint64_t expected = 0;
            place.load(std::memory_order_relaxed) == 0 &&
            place.compare_exchange_strong(expected, spare, std::memory_order_relaxed, std::memory_order_relaxed))
            return;
}

/// Returns a spare, which belongs to the caller from now on, or 0.
uint64_t DataPool::takeSpare() noexcept {
    for (Atomic<uint64_t>& place : m_spares)
        if (place.load(std::memory_order_relaxed) != 0)
            if (const uint64_t spare = place.exchange(0, std::memory_order_relaxed); spare != 0) {
                m_unusedBytes.fetch_sub(spare & ((uint64_t(1) << SPARE_SIZE_BITS) - 1), std::memory_order_relaxed);
                return spare;
            }
    return 0;
}

/// Takes a chunk that does not fit into the thread's block. A thread context gets blocks only from its own pool: its
/// destructor returns the rest to that pool, and a thread that uses two pools in turn does not take a block for each
/// chunk.
uint64_t DataPool::newDataChunkFromEnd(DictionaryThreadContext* const threadContext, const size_t chunkSize) {
    if (threadContext == nullptr || &threadContext->m_dataPool != this || chunkSize > LARGEST_CHUNK_IN_BLOCK)
        return append(chunkSize);
    if (threadContext->m_generation != m_generation) {
        threadContext->m_blockNext = threadContext->m_blockEnd = 0;
        threadContext->m_generation = m_generation;
    }
    uint64_t block;
    size_t blockSize = BLOCK_SIZE;
    if (const uint64_t spare = takeSpare(); spare != 0) {
        block = spare >> SPARE_SIZE_BITS;
        blockSize = spare & ((uint64_t(1) << SPARE_SIZE_BITS) - 1);
    } else
        try {
            block = append(BLOCK_SIZE);
        } catch (const MelnarException&) {
            return append(chunkSize); // The limit is near: use the rest chunk by chunk.
        }
    if (block != threadContext->m_blockEnd) { // Otherwise it continues the old block, which loses nothing.
        giveBack(threadContext->m_blockNext, threadContext->m_blockEnd);
        threadContext->m_blockNext = block;
    }
    threadContext->m_blockEnd = block + blockSize;
    const uint64_t offset = threadContext->m_blockNext;
    threadContext->m_blockNext += chunkSize;
    return offset;
}

void DataPool::returnDataChunk(DictionaryThreadContext* const threadContext, const uint64_t offset,
                               const size_t chunkSize) noexcept {
    if (threadContext != nullptr && threadContext->m_generation == m_generation &&
        threadContext->m_blockNext == offset + chunkSize)
        threadContext->m_blockNext = offset;
    else
        giveBack(offset, offset + chunkSize);
}

DictionaryThreadContext::~DictionaryThreadContext() {
    if (m_generation == m_dataPool.m_generation)
        m_dataPool.giveBackBlock(m_blockNext, m_blockEnd);
}
