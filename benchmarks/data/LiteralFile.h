#pragma once

#include "benchmarks/data/TextList.h"

#include <string>

/// The distinct strings of a file, in the order of their first occurrence: each line's, or, where a line is a statement
/// of N-Triples, the text of its literal as it is written there, escapes included. Statements without one are left out,
/// and so are empty lines. Throws std::runtime_error when the file cannot be read.
TextList readLiterals(const std::string& fileName);
