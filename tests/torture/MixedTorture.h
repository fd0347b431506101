#pragma once

#include "tests/torture/MixedWork.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <ostream>

/// Lets threads do mixed work (MixedWork) on dictionaries for that long, at least one round of each kind. The
/// dictionaries start small, so their tables grow often. In some rounds they reach the memory limit or their largest
/// number of resources. A few times in each round all threads rest, everything is compared with a model, and the
/// dictionary is compacted, with a part of the terms removed. If even that needs too much memory, and at the end of the
/// round, all terms are removed, and the dictionary must work again.
///
/// Prints each fault, and then a line. Returns whether there was none, and everything has happened.
///
/// `changeFoundID` replaces IDs that lookups have found, to check that wrong ones are found.
bool tortureByMixedWork(std::chrono::seconds duration, size_t numberOfThreads, uint32_t seed, std::ostream& output,
                        const ChangeFoundID& changeFoundID = nullptr);
