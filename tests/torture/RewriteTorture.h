#pragma once

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>

/// Loads, encodes and decodes files with processes of the tool: generated ones of all syntaxes, and all N-Triples and
/// N-Quads of the folder that MELNAR_DATA names. load and encode must write the same rows of IDs. The text decoded from
/// them, and from the form with IRIs if there is one, must be the output of `canonical` for the file, byte by byte,
/// except for the case of language tags, which decoding keeps. For generated N-Triples and N-Quads the judge must find
/// the same statements in it as in the file, with tags as written. Prints each fault, and then a line. Returns whether
/// there was none.
///
/// The executable is the tool, or a replacement with faults that must be found.
bool tortureByRewriting(size_t numberOfFiles, uint32_t seed, const std::string& folder, std::ostream& output,
                        const std::string& executable = MELNAR_DICT_EXECUTABLE);
