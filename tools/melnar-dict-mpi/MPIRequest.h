#pragma once

#include <ctime>

#include <mpi.h>
#include <sched.h>

/// Waits until MPI has done what was requested. It would wait busily itself; this gives the processor to others soon, and
/// sleeps when it takes longer.
///
/// Source  The pause grows as in exponential backoff, up to a fraction of what a block takes to be read.
inline void waitFor(MPI_Request& request) {
    constexpr int YIELDS = 16;
    constexpr long FIRST_NANOSECONDS = 10'000;
    constexpr long LONGEST_NANOSECONDS = 320'000;
    timespec pause{0, FIRST_NANOSECONDS};
    for (int look = 0;; ++look) {
        int isDone = 0;
        MPI_Test(&request, &isDone, MPI_STATUS_IGNORE);
        if (isDone != 0)
            return;
        if (look < YIELDS)
            ::sched_yield();
        else {
            ::nanosleep(&pause, nullptr);
            if (pause.tv_nsec < LONGEST_NANOSECONDS)
                pause.tv_nsec *= 2;
        }
    }
}
