#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "tests/support/FaultDuration.h"

#include <atomic>
#include <cstddef>
#include <functional>
#include <limits>
#include <utility>

/// Watches the calls of one system call while it exists, and makes them fail or transfer less on request.
///
/// Every call from the engine, the tool and the tests passes through here: the linker redirects it to a replacement.
/// Calls from shared libraries do not. A failing call does nothing, except that a failing close still closes, as in
/// Linux.
///
/// Threads  Calls of all threads count together. Made, configured and destroyed while no other thread makes such calls.
/// Limits   At most one for each system call at a time.
class SystemCallFaults : private Unmovable {
public:
    enum class Call : size_t {
        MMAP,
        MUNMAP,
        MPROTECT,
        MADVISE,
        OPEN,
        READ,
        WRITE,
        CLOSE,
        FSYNC,
        RENAME,
        FLOCK,
        FCHMOD,
        FCHOWN,
        STAT,
        LSTAT,
        FSTAT,
        PREAD,
        PWRITE,
        FTRUNCATE,
        LINK,
        RENAMEAT2,
        UNLINK,
        REALPATH,
        READLINK,
        MUTEX_DESTROY,
        CONDITION_DESTROY,
        FDATASYNC,
        FORK,
        WAITPID,
    };

    static constexpr size_t NUMBER_OF_CALLS = 29;

    using Duration = FaultDuration;

    /// Returns the name of a system call.
    static const char* getName(Call call);

    /// Returns how many bytes of address space have been mapped and not been unmapped again. A failed munmap counts:
    /// the caller has done its part.
    static ptrdiff_t getMappedBytes();

    /// Counts calls, and lets all of them pass.
    explicit SystemCallFaults(Call call);
    ~SystemCallFaults();

    /// Lets `allowedCalls` more calls pass; the next one, or all later ones, report `errorCode`.
    void failAfter(size_t allowedCalls, int errorCode, Duration duration);

    /// Calls `action` with the range of each mapping over an old one (MAP_FIXED) that is made to fail, before it
    /// reports its failure: the system may have removed the old mapping by then, and another thread may have got its
    /// addresses.
    void onFailedRemapping(std::function<void(void* begin, size_t size)> action) { m_action = std::move(action); }

    /// Makes reads and writes transfer at most `maximumBytes` per call.
    void shortenTo(const size_t maximumBytes) { m_maximumBytes.store(maximumBytes, std::memory_order_relaxed); }

    /// Returns the number of calls since construction, including failed ones.
    size_t getNumberOfCalls() const { return m_numberOfCalls.load(std::memory_order_relaxed); }

    size_t getNumberOfFailures() const { return m_numberOfFailures.load(std::memory_order_relaxed); }

    /// Returns the largest number of bytes that a read, write, mmap, mprotect or munmap has requested, and the latest
    /// one.
    size_t getLargestRequest() const { return m_largestRequest.load(std::memory_order_relaxed); }
    size_t getLatestRequest() const { return m_latestRequest.load(std::memory_order_relaxed); }

private:
    friend class SystemCallGate;

    static constexpr size_t NEVER = std::numeric_limits<size_t>::max();

    const Call m_call;
    std::atomic<size_t> m_numberOfCalls;
    std::atomic<size_t> m_numberOfFailures;
    std::atomic<size_t> m_largestRequest;
    std::atomic<size_t> m_latestRequest;
    std::atomic<size_t> m_maximumBytes;
    std::atomic<size_t> m_firstFailure; // counted like m_numberOfCalls, from 0
    std::atomic<size_t> m_endOfFailures;
    std::atomic<int> m_errorCode;
    std::function<void(void* begin, size_t size)> m_action;
};
