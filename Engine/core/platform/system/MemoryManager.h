#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/ReclaimableMemory.h"

#include <atomic>
#include <cstddef>
#include <mutex>

/// Keeps one store within its memory limit: every committed page is charged here before it is committed.
///
/// Units    Bytes.
/// Threads  Any operation, any threads, any time. The charges order nothing but themselves, so relaxed accesses do.
/// Errors   allocate throws MemoryExhaustedException and charges nothing.
///
/// Some memory only makes work faster (ReclaimableMemory). It is charged like all other, and given back as soon as an
/// operation fails without it: so it never makes anything fail.
///
/// MEMORY ORDERS
///   #   operation                order    pairs with   makes visible                              checked by
///   E1  number of reclaims + 1   release  E2           that the memory's charge is gone           argued
///   E2  read it, load            acquire  E1                                                      argued
/// Argued: nothing but atomics is read across.
class MELNAR_EXPORT MemoryManager : private Unmovable {
public:
    /// `reservedBytes` is the limit; nothing is set aside or touched. What is charged is charged to `shared` as well, if it
    /// is there: so several stores keep within one limit, and all of them give reclaimable memory back before one fails.
    /// It must outlive this.
    explicit MemoryManager(size_t reservedBytes, MemoryManager* shared = nullptr) noexcept;

    /// Charges `bytes`, or throws when fewer are free.
    void allocate(size_t bytes);

    /// Gives back `bytes` that were charged before.
    void deallocate(const size_t bytes) noexcept {
        m_freeBytes.fetch_add(bytes, std::memory_order_relaxed);
        if (m_shared != nullptr)
            m_shared->deallocate(bytes);
    }

    /// Makes memory known that can be given back. It must be removed before it is destroyed.
    void addReclaimable(melnar::ReclaimableMemory& memory) noexcept;
    void removeReclaimable(melnar::ReclaimableMemory& memory) noexcept;

    /// Tells that an owner of reclaimable memory has given some back without being asked: an operation that has failed
    /// for it is performed again. Takes no lock.
    void noteReclaim() noexcept { m_outermost.m_numberOfReclaims.fetch_add(1, std::memory_order_release); } // E1

    /// Performs an operation. If it runs out of memory, lets all reclaimable memory be given back and performs it
    /// again; fails only if there is none. The operation must undo its work when it fails. The caller holds nothing
    /// that the owners of reclaimable memory wait for.
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

    /// Tells that the system has refused memory.
    void noteRefusal() noexcept { m_outermost.m_numberOfRefusals.fetch_add(1, std::memory_order_relaxed); }

    /// How often the limit or the system has refused memory, to any of the stores. As long as that is never, nothing has
    /// had to make do with less, and what is stored has the layout that it always has.
    size_t getNumberOfRefusals() const noexcept {
        return m_outermost.m_numberOfRefusals.load(std::memory_order_relaxed);
    }

    size_t getReservedBytes() const noexcept { return m_reservedBytes; }
    size_t getFreeBytes() const noexcept { return m_freeBytes.load(std::memory_order_relaxed); }

private:
    bool reclaim(size_t knownNumberOfReclaims) noexcept;

    const size_t m_reservedBytes;
    std::atomic<size_t> m_freeBytes;

    MemoryManager* const m_shared;
    MemoryManager& m_outermost; // this, or that of the shared one; the rest is used of it alone

    // How often memory was given back: if it has grown since an operation began, another attempt may succeed.
    std::atomic<size_t> m_numberOfReclaims;
    std::atomic<size_t> m_numberOfRefusals;

    std::mutex m_reclaimMutex;
    melnar::ReclaimableMemory* m_firstReclaimable; // protected by m_reclaimMutex, as is the list that begins there
};
