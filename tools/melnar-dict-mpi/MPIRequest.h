#pragma once

#include <ctime>

#include <mpi.h>
#include <sched.h>

/// Waits until MPI has completed the request. MPI itself would wait busily; this soon yields the processor to others,
/// and sleeps if it takes longer.
///
/// Source  The pause grows as in exponential backoff, up to a fraction of the time for reading a block.
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
