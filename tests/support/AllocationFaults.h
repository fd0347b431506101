#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>

/// Makes one allocation by operator new fail with std::bad_alloc.
///
///     for (size_t allowed = 0;; ++allowed) {
///         bool hasFailed;
///         {
///             const AllocationFaults faults = AllocationFaults::failAfter(allowed);
///             ...                                 // the operation under test, in a try block
///             hasFailed = faults.hasFailed();
///         }
///         ...                                     // the state that must hold
///         if (!hasFailed)
///             break;                              // allowed + 1 is more than the operation needs
///     }
///
/// Exceptions, malloc, and allocations of system libraries that do not use operator new are not affected.
///
/// Threads  Counts only the allocations of the thread that made it. At most one per thread at a time.
class AllocationFaults : private Unmovable {
public:
    /// Lets `allowedAllocations` succeed and the next one fail; later ones succeed again.
    static AllocationFaults failAfter(const size_t allowedAllocations) { return AllocationFaults(allowedAllocations); }

    ~AllocationFaults();

    bool hasFailed() const;

private:
    explicit AllocationFaults(size_t allowedAllocations);
};
