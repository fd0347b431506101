#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/Mutex.h"
#include "Engine/core/platform/system/ReclaimableMemory.h"

#include <cstddef>

/// Keeps one store within its memory limit: every page is charged here before it is committed.
///
/// Units    Bytes.
/// Threads  Any operation, any threads, any time. The charges order no other accesses, so relaxed accesses suffice.
/// Errors   allocate throws MemoryExhaustedException and charges nothing.
///
/// Some memory only makes operations faster (ReclaimableMemory). It is charged like all other memory, and released as
/// soon as an operation would fail without it. So it never makes an operation fail.
///
/// MEMORY ORDERS
///   #   operation                order    pairs with   makes visible                              checked by
///   E1  number of reclaims + 1   release  E2           that the memory's charge is gone           argued
///   E2  read it, load            acquire  E1                                                      argued
/// Argued: these operations order only atomics.
class MELNAR_EXPORT MemoryManager : private Unmovable {
public:
    /// `reservedBytes` is the limit; no memory is reserved or touched. If `shared` is not null, every charge is also
    /// made there. Thus several stores share one limit, and all of them release reclaimable memory before one of them
    /// fails. It must outlive this object.
    explicit MemoryManager(size_t reservedBytes, MemoryManager* shared = nullptr) noexcept;

    /// Charges `bytes`, or throws if fewer are free.
    void allocate(size_t bytes);

    /// Takes back `bytes` that were charged before.
    void deallocate(const size_t bytes) noexcept {
        m_freeBytes.fetch_add(bytes, std::memory_order_relaxed);
        if (m_shared != nullptr)
            m_shared->deallocate(bytes);
    }

    ///@{
    /// Registers memory that can be reclaimed. It must be removed before it is destroyed.
    void addReclaimable(melnar::ReclaimableMemory& memory) noexcept;
    void removeReclaimable(melnar::ReclaimableMemory& memory) noexcept;
    ///@}

    /// Notes that an owner of reclaimable memory has released some without a request, so an operation that failed for
    /// lack of memory is performed again. Takes no lock.
    void noteReclaim() noexcept { m_outermost.m_numberOfReclaims.fetch_add(1, std::memory_order_release); } // E1

    /// Performs an operation. If it runs out of memory, has all reclaimable memory released and performs it again;
    /// fails only if there is none. The operation must undo its work when it fails. The caller must not hold anything
    /// for which owners of reclaimable memory wait.
    template<class Operation>
    [[gnu::always_inline]] auto withReclaim(const Operation& operation) -> decltype(operation()) {
        for (;;) {
            const size_t numberOfReclaims = m_outermost.m_numberOfReclaims.load(std::memory_order_acquire); // E2
            try {
                return operation();
            } catch (const MemoryExhaustedException&) {
                if (!m_outermost.reclaim(numberOfReclaims))
                    throw;
            }
        }
    }

    /// Notes that the system has refused memory.
    void noteRefusal() noexcept { m_outermost.m_numberOfRefusals.fetch_add(1, std::memory_order_relaxed); }

    /// Returns how often the limit or the system has refused memory to any of the stores. While it is 0, lack of memory
    /// has not changed anything, so the layout of stored data is the usual one.
    size_t getNumberOfRefusals() const noexcept {
        return m_outermost.m_numberOfRefusals.load(std::memory_order_relaxed);
    }

    /// Returns the limit.
    size_t getReservedBytes() const noexcept { return m_reservedBytes; }

    /// Returns the bytes of the limit that are not charged.
    size_t getFreeBytes() const noexcept { return m_freeBytes.load(std::memory_order_relaxed); }

private:
    bool reclaim(size_t knownNumberOfReclaims) noexcept;

    const size_t m_reservedBytes;
    melnar::Atomic<size_t> m_freeBytes;

    MemoryManager* const m_shared;
    MemoryManager& m_outermost; // this, or that of the shared one; only its members below are used

    // How often memory was reclaimed. If it has grown since an operation started, another attempt may succeed.
    melnar::Atomic<size_t> m_numberOfReclaims;
    melnar::Atomic<size_t> m_numberOfRefusals;

    melnar::Mutex m_reclaimMutex;
    melnar::ReclaimableMemory* m_firstReclaimable; // protected by m_reclaimMutex, as is the list that starts there
};
