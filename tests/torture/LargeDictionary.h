#pragma once

#include <cstddef>
#include <string>

/// Saves and opens a dictionary with a data pool of `gibibytes` GiB, more than 4, and checks that the opened one is
/// equal to the saved one: each resource, on both sides of the offset 2^32, by its ID and by a lookup. Needs the memory
/// once and the disk space once. Throws if anything differs.
void checkLargeDictionary(size_t gibibytes, const std::string& folder);
