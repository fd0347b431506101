#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Kills one rank of a load by several, or what has started them (see LoadKillTorture), and goes on with --resume, each time
/// with another number of ranks from 1 to 4, and other checkpoints: loads of a new folder, and loads that add to one, of plain
/// files and a packed one. What an undisturbed load makes is told by one process.
///
/// The executable is the program of the ranks, or one that takes its place, to see that its faults are found.
bool tortureRanksByKills(size_t numberOfKills, uint32_t seed, const std::string& folder, std::ostream& output,
                         const std::string& executable = MELNAR_DICT_MPI_EXECUTABLE);
