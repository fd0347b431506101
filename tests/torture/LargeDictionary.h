#pragma once

#include <cstddef>
#include <string>

/// Saves and opens a dictionary with a data pool of so many GiB, more than 4, and checks that what was opened is what
/// was saved: each resource, on either side of the offset that 32 bits hold, by its ID and by a lookup. Needs the
/// memory once and the disk space once. Throws when anything differs.
void checkLargeDictionary(size_t gibibytes, const std::string& folder);
