#pragma once

#include "benchmarks/data/TextList.h"

#include <string>

/// Returns the distinct strings of a file, in the order of their first occurrence: each line or, if a line is a
/// statement of N-Triples, the text of its literal as it is written there, including escapes. Skips statements without
/// a literal, and empty lines. Throws std::runtime_error if the file cannot be read.
TextList readLiterals(const std::string& fileName);
