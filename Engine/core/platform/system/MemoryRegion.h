#pragma once

#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/InputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/SpinPause.h"
#include "Engine/core/platform/system/VirtualMemory.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

/// A range of address space, reserved once and made accessible from its start as needed.
///
/// Units          Capacity and end count items of T; committed memory counts bytes, whole pages.
/// Ownership      Owns the reservation and the charge against the MemoryManager, which must outlive it.
/// Addresses      Never move while the region is initialised: indices and pointers survive growth.
/// Contents       Items read as zero until first written. T is an integer, an atomic integer or a plain struct: items
///                are neither constructed nor destroyed.
/// Threads        ensureEndAtLeast and accesses below the end: any threads at any time. The rest: alone.
/// Errors         Every throw except load's leaves the region as it was before the call, or empty for initialize.
///
/// INVARIANTS     R1 committed bytes <= reserved bytes, both whole pages; everything beyond faults
///                R2 after every growth, end = min(committed bytes / sizeof(T), capacity)
///                R3 the manager is charged exactly the committed bytes; a reservation alone costs nothing
///
/// MEMORY ORDERS
///   #   operation                     order    pairs with   makes visible                                 checked by
///   G1  growth lock, exchange 0->1    acquire  G2           the last grower's committed bytes and end     schedules
///   G2  growth lock, store 0          release  G1                                                         schedules
///   G3  publish the new end, store    release  G4           that the pages below the end are accessible   TSan
///   G4  read the end, load            acquire  G3                                                         TSan
/// Schedules: as in ParallelHashTable.h; with a weaker order a thread loses another one's growth. TSan: as there, where
/// making a page accessible counts as writing zeros to it. The committed bytes change only under the growth lock or
/// alone. They are atomic, with relaxed accesses, because statistics read them at any time.
template<class T>
class MemoryRegion : private Unmovable {
public:
    /// Makes an empty region, which charges the manager for all that is committed.
    explicit MemoryRegion(MemoryManager& memoryManager) noexcept;
    ~MemoryRegion() { deinitialize(); }

    /// Drops any previous reservation and reserves address space for `maximumNumberOfItems` items, none of them
    /// accessible yet. Throws SystemCallException ("mmap") if there is no address space; the region is then empty.
    void initialize(size_t maximumNumberOfItems);

    /// Releases the reservation, the contents and the charge.
    void deinitialize() noexcept;

    /// Makes at least the first `end` items accessible.
    void ensureEndAtLeast(const size_t end) {
        if (end > getEnd())
            doEnsureEndAtLeast(end);
    }

    /// Commits whole pages, no more than `end` items need. Throws MelnarException beyond the capacity,
    /// MemoryExhaustedException at the memory limit, SystemCallException ("mprotect") if the system refuses.
    void doEnsureEndAtLeast(size_t end);

    /// Shrinks the accessible part to the whole pages that `end` items need, releases the pages beyond, and zeroes the
    /// items from `end` to the end of the last page kept. The reservation stays.
    void truncate(size_t end) noexcept;

    /// Exchanges reservation, end, capacity and charge with a region of the same manager.
    void swapContents(MemoryRegion& other) noexcept;

    /// Writes capacity, end and the raw items.
    void save(OutputStream& outputStream) const;

    /// Replaces the region by a saved one. After a throw the region must be initialised again.
    void load(InputStream& inputStream);

    ///@{
    /// Returns the first item, or an item by its index, which must be below the end.
    T* getData() noexcept { return m_data; }
    const T* getData() const noexcept { return m_data; }
    T& operator[](const size_t index) noexcept { return m_data[index]; }
    const T& operator[](const size_t index) const noexcept { return m_data[index]; }
    ///@}

    /// Returns the number of accessible items.
    size_t getEnd() const noexcept { return m_end.load(std::memory_order_acquire); } // G4

    /// Returns the capacity.
    size_t getMaximumNumberOfItems() const noexcept { return m_maximumNumberOfItems; }

    /// Returns the size of the accessible part in bytes, whole pages.
    size_t getCommittedBytes() const noexcept { return m_committedBytes.load(std::memory_order_relaxed); }

    /// Returns the manager that is charged.
    MemoryManager& getMemoryManager() const noexcept { return m_memoryManager; }

private:
    friend class MemoryRegionTestPeer;

    class GrowthGuard;

    static constexpr const char* SOURCE_FILE = "Engine/core/platform/system/MemoryRegion";
    static constexpr long LINE_CANNOT_COMMIT = 167;
    static constexpr long LINE_CANNOT_RESERVE = 212;
    static constexpr long LINE_GROWTH_BEYOND_CAPACITY = 242;

    static uint8_t getPageSizeShift() noexcept;

    size_t roundUpToPages(const size_t numberOfBytes) const noexcept {
        return numberOfBytes == 0 ? 0 : (((numberOfBytes - 1) >> m_pageSizeShift) + 1) << m_pageSizeShift;
    }

    uint8_t* getBytes() const noexcept { return reinterpret_cast<uint8_t*>(m_data); }

    T* m_data;                               // constant while initialised
    melnar::Atomic<size_t> m_end;            // G3, G4
    const uint8_t m_pageSizeShift;           // constant
    melnar::Atomic<uint32_t> m_growthLock;   // 0 free, 1 held; G1, G2
    MemoryManager& m_memoryManager;          // constant
    size_t m_maximumNumberOfItems;           // constant while initialised
    melnar::Atomic<size_t> m_committedBytes; // written under the growth lock or alone
};

/// Holds the growth lock. Growth is short and rare, so waiting threads spin.
template<class T>
class MemoryRegion<T>::GrowthGuard : private Unmovable {
public:
    explicit GrowthGuard(melnar::Atomic<uint32_t>& growthLock) noexcept : m_growthLock(growthLock) {
        do {
            while (m_growthLock.load(std::memory_order_relaxed) != 0)
                melnar::spinPause();
        } while (m_growthLock.exchange(1, std::memory_order_acquire) != 0); // G1
    }

    ~GrowthGuard() { m_growthLock.store(0, std::memory_order_release); } // G2

private:
    melnar::Atomic<uint32_t>& m_growthLock;
};

template<class T>
MemoryRegion<T>::MemoryRegion(MemoryManager& memoryManager) noexcept
    : m_data(nullptr), m_end(0), m_pageSizeShift(getPageSizeShift()), m_growthLock(0), m_memoryManager(memoryManager),
      m_maximumNumberOfItems(0), m_committedBytes(0) {}

template<class T>
uint8_t MemoryRegion<T>::getPageSizeShift() noexcept {
    uint8_t shift = 0;
    for (size_t pageSize = getVMPageSize(); pageSize > 1; pageSize /= 2)
        ++shift;
    return shift;
}

template<class T>
void MemoryRegion<T>::deinitialize() noexcept {
    if (m_data == nullptr)
        return;
    melnar::VirtualMemory::release(m_data, roundUpToPages(m_maximumNumberOfItems * sizeof(T)));
    m_memoryManager.deallocate(getCommittedBytes());
    m_data = nullptr;
    m_committedBytes.store(0, std::memory_order_relaxed);
    m_end.store(0, std::memory_order_relaxed);
    m_maximumNumberOfItems = 0;
}

template<class T>
void MemoryRegion<T>::initialize(const size_t maximumNumberOfItems) {
    deinitialize();
    if (maximumNumberOfItems == 0)
        return;
    const size_t reservedBytes = roundUpToPages(maximumNumberOfItems * sizeof(T));
    void* const data = melnar::VirtualMemory::reserve(reservedBytes);
    if (data == nullptr) {
        const int errorCode = errno; // making the exception allocates, which may change it
        m_memoryManager.noteRefusal();
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_RESERVE, MelnarException::NO_CAUSES, "mmap", errorCode,
                                  "An error occurred while reserving ", reservedBytes, " bytes of address space.");
    }
    m_data = static_cast<T*>(data);
    m_maximumNumberOfItems = maximumNumberOfItems;
}

template<class T>
void MemoryRegion<T>::doEnsureEndAtLeast(const size_t end) {
    if (m_maximumNumberOfItems < end)
        throw MelnarException(FailureKind::FULL, SOURCE_FILE, LINE_GROWTH_BEYOND_CAPACITY, MelnarException::NO_CAUSES,
                              "Failed to ensure that a memory region could hold ", end,
                              " items because it was initialized to hold at most ", m_maximumNumberOfItems, " items.");
    const GrowthGuard growthGuard(m_growthLock);
    if (end <= getEnd())
        return; // Another thread has grown the region.
    const size_t committedBytes = getCommittedBytes();
    const size_t targetBytes = roundUpToPages(end * sizeof(T));
    const size_t additionalBytes = targetBytes - committedBytes;
    m_memoryManager.allocate(additionalBytes);
    if (!melnar::VirtualMemory::commit(getBytes() + committedBytes, additionalBytes)) {
        const int errorCode = errno;
        m_memoryManager.deallocate(additionalBytes);
        m_memoryManager.noteRefusal();
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_COMMIT, MelnarException::NO_CAUSES, "mprotect", errorCode,
                                  "An error occurred during memory allocation. This is most likely due to the system "
                                  "running out of memory.");
    }
    m_committedBytes.store(targetBytes, std::memory_order_relaxed);
    m_end.store(std::min(targetBytes / sizeof(T), m_maximumNumberOfItems), std::memory_order_release); // G3
}

template<class T>
void MemoryRegion<T>::truncate(const size_t end) noexcept {
    const size_t currentEnd = getEnd();
    if (end >= currentEnd)
        return;
    const size_t endBytes = end * sizeof(T);
    const size_t keptBytes = roundUpToPages(endBytes);
    const size_t clearToBytes = std::min(currentEnd * sizeof(T), keptBytes);
    const size_t committedBytes = getCommittedBytes();
    if (committedBytes > keptBytes) {
        melnar::VirtualMemory::decommit(getBytes() + keptBytes, committedBytes - keptBytes);
        m_memoryManager.deallocate(committedBytes - keptBytes);
        m_committedBytes.store(keptBytes, std::memory_order_relaxed);
    }
    std::memset(getBytes() + endBytes, 0, clearToBytes - endBytes);
    m_end.store(std::min(m_maximumNumberOfItems, keptBytes / sizeof(T)), std::memory_order_relaxed);
}

template<class T>
void MemoryRegion<T>::swapContents(MemoryRegion& other) noexcept {
    const auto swapRelaxed = [](melnar::Atomic<size_t>& first, melnar::Atomic<size_t>& second) {
        const size_t value = first.load(std::memory_order_relaxed);
        first.store(second.load(std::memory_order_relaxed), std::memory_order_relaxed);
        second.store(value, std::memory_order_relaxed);
    };
    std::swap(m_data, other.m_data);
    swapRelaxed(m_end, other.m_end);
    std::swap(m_maximumNumberOfItems, other.m_maximumNumberOfItems);
    swapRelaxed(m_committedBytes, other.m_committedBytes);
}

template<class T>
void MemoryRegion<T>::save(OutputStream& outputStream) const {
    outputStream.writeUInt64(m_maximumNumberOfItems);
    if (m_maximumNumberOfItems != 0) {
        const size_t end = getEnd();
        outputStream.writeUInt64(end);
        outputStream.write(m_data, end * sizeof(T));
    }
}

template<class T>
void MemoryRegion<T>::load(InputStream& inputStream) {
    const size_t maximumNumberOfItems = inputStream.readUInt64();
    if (maximumNumberOfItems == 0) {
        deinitialize();
        return;
    }
    const size_t end = inputStream.readUInt64();
    initialize(maximumNumberOfItems);
    ensureEndAtLeast(end);
    inputStream.readExactly(m_data, end * sizeof(T));
}
