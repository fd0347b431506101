#include "benchmarks/pages/PagePool.h"

#include "benchmarks/pages/HugePages.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <new>

#include <sys/mman.h>

namespace {

// Two dictionaries with room for 2^32 resources and 32 GiB of text each.
constexpr size_t RANGE_SIZE = size_t(1) << 38;
constexpr size_t PAGE_SIZE = 4096;
constexpr size_t SMALLEST_GIVEN_BACK = size_t(128) << 10; // malloc returns separate blocks from this size on
constexpr size_t HUGE_PAGE_SIZE = size_t(2) << 20;

size_t roundUp(const size_t number, const size_t factor) {
    return (number + factor - 1) / factor * factor;
}

uint8_t* mapRange() {
    void* const begin = ::mmap(nullptr, RANGE_SIZE + HUGE_PAGE_SIZE, PROT_READ | PROT_WRITE,
                               MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    if (begin == MAP_FAILED)
        throw std::bad_alloc();
    uint8_t* const range = static_cast<uint8_t*>(begin);
    return range + (roundUp(reinterpret_cast<size_t>(begin), HUGE_PAGE_SIZE) - reinterpret_cast<size_t>(begin));
}

} // namespace

PagePool& PagePool::get() {
    static PagePool s_pool;
    return s_pool;
}

PagePool::PagePool() : m_range(mapRange()), m_isWritten(RANGE_SIZE / HUGE_PAGE_SIZE) {
    m_free.emplace(0, RANGE_SIZE);
}

void PagePool::configure(const bool isWarm, const bool usesHugePages) {
    m_isWarm = isWarm;
    if (usesHugePages)
        ::madvise(m_range, RANGE_SIZE, MADV_HUGEPAGE);
    else
        forbidHugePages();
}

/// Blocks at least as large as a huge page are aligned to one.
void* PagePool::takeLowestFit(const size_t numberOfBytes) {
    const size_t alignment = numberOfBytes >= HUGE_PAGE_SIZE ? HUGE_PAGE_SIZE : PAGE_SIZE;
    const auto fit = std::find_if(m_free.begin(), m_free.end(), [&](const auto& range) {
        return roundUp(range.first, alignment) + numberOfBytes <= range.first + range.second;
    });
    if (fit == m_free.end())
        throw std::bad_alloc();
    const size_t begin = roundUp(fit->first, alignment);
    const size_t end = begin + numberOfBytes;
    const size_t endOfFree = fit->first + fit->second;
    fit->second = begin - fit->first;
    if (fit->second == 0)
        m_free.erase(fit);
    if (endOfFree > end)
        m_free.emplace(end, endOfFree - end);
    m_blocks.emplace(begin, Block{numberOfBytes, 0});
    return m_range + begin;
}

void PagePool::noteUse(const size_t begin, const size_t numberOfBytes) {
    std::prev(m_blocks.upper_bound(begin))->second.m_usedBytes += numberOfBytes;
    m_usedBytes += numberOfBytes;
    for (size_t page = begin / HUGE_PAGE_SIZE; page * HUGE_PAGE_SIZE < begin + numberOfBytes; ++page)
        m_isWritten[page] = true;
}

/// Zeroes bytes of a new block that this run has written to an earlier block.
void PagePool::clear(const size_t begin, const size_t numberOfBytes) {
    const size_t end = begin + numberOfBytes;
    for (size_t page = begin / HUGE_PAGE_SIZE; page * HUGE_PAGE_SIZE < end; ++page)
        if (m_isWritten[page]) {
            const size_t beginOfPart = std::max(begin, page * HUGE_PAGE_SIZE);
            const size_t endOfPart = std::min(end, (page + 1) * HUGE_PAGE_SIZE);
            std::memset(m_range + beginOfPart, 0, endOfPart - beginOfPart);
        }
}

void* PagePool::reserve(const size_t numberOfBytes) {
    const std::lock_guard lock(m_mutex);
    uint8_t* const block = static_cast<uint8_t*>(takeLowestFit(roundUp(numberOfBytes, PAGE_SIZE)));
    clear(static_cast<size_t>(block - m_range), numberOfBytes);
    return block;
}

void PagePool::use(void* const begin, const size_t numberOfBytes) {
    const std::lock_guard lock(m_mutex);
    noteUse(static_cast<size_t>(static_cast<uint8_t*>(begin) - m_range), numberOfBytes);
}

void* PagePool::allocate(const size_t numberOfBytes) {
    const std::lock_guard lock(m_mutex);
    const size_t wholePages = roundUp(numberOfBytes, PAGE_SIZE);
    uint8_t* const block = static_cast<uint8_t*>(takeLowestFit(wholePages));
    noteUse(static_cast<size_t>(block - m_range), wholePages);
    return block;
}

void PagePool::free(void* const block) noexcept {
    const std::lock_guard lock(m_mutex);
    const auto found = m_blocks.find(static_cast<size_t>(static_cast<uint8_t*>(block) - m_range));
    size_t begin = found->first;
    size_t size = found->second.m_numberOfBytes;
    m_usedBytes -= found->second.m_usedBytes;
    m_blocks.erase(found);
    if (!m_isWarm && size >= SMALLEST_GIVEN_BACK)
        ::madvise(block, size, MADV_DONTNEED);
    const auto next = m_free.find(begin + size);
    if (next != m_free.end()) {
        size += next->second;
        m_free.erase(next);
    }
    const auto after = m_free.lower_bound(begin);
    if (after != m_free.begin() && std::prev(after)->first + std::prev(after)->second == begin)
        std::prev(after)->second += size;
    else
        m_free.emplace(begin, size);
}

void PagePool::reset() {
    m_free = {{0, RANGE_SIZE}};
    m_blocks.clear();
    m_usedBytes = 0;
    ++m_generation;
    for (size_t page = 0; page < m_isWritten.size(); ++page)
        if (m_isWritten[page]) {
            uint8_t* const begin = m_range + page * HUGE_PAGE_SIZE;
            if (m_isWarm)
                std::memset(begin, 0, HUGE_PAGE_SIZE);
            else
                ::madvise(begin, HUGE_PAGE_SIZE, MADV_DONTNEED);
            m_isWritten[page] = false;
        }
}
