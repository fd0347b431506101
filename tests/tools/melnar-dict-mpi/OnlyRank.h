#pragma once

#include "tools/melnar-dict-mpi/Ranks.h"

#include <cstdlib>

/// Returns this process as the only rank of a run, which ends with the process: MPI starts only once in a process.
inline const Ranks& getOnlyRank() {
    static const Ranks ranks = [] {
        ::setenv("OMPI_MCA_ess_singleton_isolated", "1", 1); // starts no other process
        int argumentCount = 0;
        char** arguments = nullptr;
        return Ranks(argumentCount, arguments);
    }();
    return ranks;
}
