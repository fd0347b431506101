#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Kills loads of shards by one process (see LoadKillTorture), and gives the same command again, each time with other threads,
/// memory and checkpoints: loads of a new folder, and loads that add to one. Kills meet blocks that are taken in, shards that
/// are saved, those that resolve what was put aside, rows that are written, and files that are replaced.
///
/// The executable is the tool, or one that takes its place, to see that its faults are found.
bool tortureShardsByKills(size_t numberOfKills, uint32_t seed, const std::string& folder, std::ostream& output,
                          const std::string& executable = MELNAR_DICT_EXECUTABLE);
