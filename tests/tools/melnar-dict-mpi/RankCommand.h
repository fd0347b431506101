#pragma once

#include <cstddef>
#include <string>
#include <vector>

/// Ranks of a run that are started in the same way.
struct RankGroup {
    size_t m_number;
    std::string m_shellCommands{}; // executed by a shell that then becomes the rank, such as: ulimit -f 1
};

/// The program that runs a RankCommand.
inline constexpr const char* RUNNER_OF_RANKS = "/usr/bin/env";

/// Returns the arguments of RUNNER_OF_RANKS that make it run melnar-dict-mpi, or its replacement, with some ranks on
/// this machine. It becomes mpirun, with options to run for the superuser, too, to start more ranks than there are
/// processors, to let only the ranks report errors, and not to wait a second before it ends them. Ranks do not read
/// each other's memory, which some containers forbid. Leaks of Open MPI itself under a sanitizer are ignored.
inline std::vector<std::string> makeRankCommand(const std::vector<std::string>& arguments,
                                                const std::vector<RankGroup>& groups,
                                                const std::string& executable = MELNAR_DICT_MPI_EXECUTABLE) {
    std::vector<std::string> command{"OMPI_ALLOW_RUN_AS_ROOT=1",
                                     "OMPI_ALLOW_RUN_AS_ROOT_CONFIRM=1",
                                     "LSAN_OPTIONS=detect_leaks=0",
                                     MELNAR_MPIRUN_EXECUTABLE,
                                     "--quiet",
                                     "--mca",
                                     "odls_base_sigkill_timeout",
                                     "0",
                                     "--mca",
                                     "btl_vader_single_copy_mechanism",
                                     "none",
                                     "--oversubscribe"};
    for (const RankGroup& group : groups) {
        if (&group != &groups.front())
            command.emplace_back(":");
        command.insert(command.end(), {"-n", std::to_string(group.m_number)});
        if (!group.m_shellCommands.empty())
            command.insert(command.end(), {"/bin/sh", "-c", group.m_shellCommands + "\nexec \"$0\" \"$@\""});
        command.push_back(executable);
        command.insert(command.end(), arguments.begin(), arguments.end());
    }
    return command;
}
