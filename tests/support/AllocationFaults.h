#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "tests/support/FaultDuration.h"

#include <cstddef>

/// Makes an allocation by operator new, or it and all later ones, fail with std::bad_alloc. failEach (FailureLoop.h)
/// does so with each allocation of an operation in turn.
///
/// Exceptions, malloc, and allocations of system libraries that do not use operator new are not affected.
///
/// Threads  Counts only the allocations of the thread that made it. At most one per thread at a time.
class AllocationFaults : private Unmovable {
public:
    /// Lets `allowedAllocations` succeed and the next one fail, or that one and all later ones.
    static AllocationFaults failAfter(const size_t allowedAllocations,
                                      const FaultDuration duration = FaultDuration::ONCE) {
        return {allowedAllocations, duration};
    }

    ~AllocationFaults();

    bool hasFailed() const { return getNumberOfFailures() != 0; }
    size_t getNumberOfFailures() const;

private:
    AllocationFaults(size_t allowedAllocations, FaultDuration duration);
};

/// Counts the blocks of memory that operator new returned and operator delete has not taken back, in all threads.
///
/// Threads  At most one at a time. Any thread may allocate meanwhile.
class BlockCounter : private Unmovable {
public:
    BlockCounter();
    ~BlockCounter();

    /// Returns how many more blocks there are than when it was made.
    ptrdiff_t getGrowth() const;
};
