#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Kills one rank of a load by several, or the process that has started them (see LoadKillTorture), and resumes with
/// --resume, each time with another number of ranks from 1 to 4, and other checkpoints: loads of a new folder, and
/// loads that add to one, of plain files and a compressed one. One process determines the results of an undisturbed
/// load.
///
/// The executable is the program of the ranks, or a replacement with faults that must be found.
bool tortureRanksByKills(size_t numberOfKills, uint32_t seed, const std::string& folder, std::ostream& output,
                         const std::string& executable = MELNAR_DICT_MPI_EXECUTABLE);
