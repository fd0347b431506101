#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Kills loads of shards, and gives the same command again until it ends, each time with other threads, memory and
/// checkpoints: loads of a new folder, and loads that add to one. A kill comes when some file of the load has changed some
/// number of times, so that it meets every phase: blocks that are taken in, shards that are saved, those that resolve what
/// was put aside, rows that are written, and files that are replaced. After each kill manifest and rows must both be old or
/// both new, and the folder must pass `verify`. In the end folder and rows must be those of a load that nobody disturbed,
/// byte by byte, with no other files. Prints what is not so, and then a line that counts the kills of each phase. Returns
/// whether all is so.
///
/// The executable is the tool, or one that takes its place, to see that its faults are found.
bool tortureShardsByKills(size_t numberOfKills, uint32_t seed, const std::string& folder, std::ostream& output,
                          const std::string& executable = MELNAR_DICT_EXECUTABLE);
