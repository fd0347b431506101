#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Loads, encodes and decodes files by processes of the tool: made ones of all syntaxes, and all N-Triples and N-Quads of
/// the folder that MELNAR_DATA names. load and encode must write the same rows of IDs. What was decoded of them, and of
/// the form with IRIs where there is one, must be what `canonical` makes of the file, byte by byte, but for the case of
/// language tags, which decoding keeps. For made N-Triples and N-Quads the judge must find the same statements in it as in
/// the file, tags as written. Prints what is not so, and then a line. Returns whether all is so.
///
/// The executable is the tool, or one that takes its place, to see that its faults are found.
bool tortureByRewriting(size_t numberOfFiles, uint32_t seed, const std::string& folder, std::ostream& output,
                        const std::string& executable = MELNAR_DICT_EXECUTABLE);
