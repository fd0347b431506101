#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Kills loads of shards by one process (see LoadKillTorture), and repeats the same command, each time with other
/// threads, memory and checkpoints: loads of a new folder, and loads that add to one. Kills come while blocks are
/// resolved, shards are saved, spilled terms are resolved, rows are written, and files are replaced.
///
/// The executable is the tool, or a replacement with faults that must be found.
bool tortureShardsByKills(size_t numberOfKills, uint32_t seed, const std::string& folder, std::ostream& output,
                          const std::string& executable = MELNAR_DICT_EXECUTABLE);
