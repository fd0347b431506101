#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Kills processes of the tool at random moments of load, compact, encode, decode and canonical, each of which replaces
/// one file, or two with --ids. Afterwards each file must be the old one or the new one, byte by byte, and the inputs
/// must be unchanged. Only `.saving`, `.replaced` and `.lock` files may be left; they must not prevent the next
/// process, which removes them. Rows of IDs and their dictionary must both be old or both new. If the kill was between
/// the two system calls that replace them, the rows are new and decoding them must fail. Prints each fault, and then a
/// line. Returns whether there was none, and a kill has met each verb.
///
/// The executable is the tool, or a replacement with faults that must be found.
bool tortureByKills(size_t numberOfKills, uint32_t seed, const std::string& folder, std::ostream& output,
                    const std::string& executable = MELNAR_DICT_EXECUTABLE);
