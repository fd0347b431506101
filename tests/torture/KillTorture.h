#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Kills processes of the tool at random moments of load, compact, encode, decode and canonical, each of which replaces a
/// file, or with --ids two. Afterwards each file must be the old one or the new one, byte by byte, the inputs must be as
/// they were, and only `.saving`, `.replaced` and `.lock` files may be left, with which the next process does its work
/// and which it removes. Rows of IDs and their dictionary must both be old or both new; if the kill was between the two
/// calls of the system that replace them, the rows are new and decoding them must fail. Prints what is not so, and then a
/// line. Returns whether all is so, and a kill has met each verb.
///
/// The executable is the tool, or one that takes its place, to see that its faults are found.
bool tortureByKills(size_t numberOfKills, uint32_t seed, const std::string& folder, std::ostream& output,
                    const std::string& executable = MELNAR_DICT_EXECUTABLE);
