#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>

/// Observes calls on mutexes and conditions, and of munmap, while it exists; tests/support/SystemCallFaults.cpp calls
/// it. So a test can check the order of a thread's calls, and hold the thread at one of them: the thread continues when
/// notice returns.
///
/// Calls of shared libraries, and those of notice itself, are not reported. A wait that wakes up locks its mutex
/// without a report.
///
/// Threads  notice is called in the thread that makes the call, concurrently for several threads. Made and destroyed
///          while no other thread makes such calls.
/// Limits   At most one at a time.
class LockObserver : private Unmovable {
public:
    enum class Event {
        MUTEX_LOCKED,
        MUTEX_UNLOCKING, // still locked
        MUTEX_UNLOCKED,
        CONDITION_WAITING, // the mutex is still locked: a thread that locks it after this finds a waiting thread
        CONDITION_SIGNALLED,
        CONDITION_BROADCAST,
        MUTEX_DESTROYED,
        CONDITION_DESTROYED,
        UNMAPPED,
    };

    LockObserver();
    virtual ~LockObserver();

    /// `object` is the mutex, the condition or the start of the address range.
    virtual void notice(Event event, const void* object) = 0;
};
