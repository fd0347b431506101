#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// Kills `numberOfKills` processes among several that each add a literal to one dictionary file in a loop: lock, open,
/// resolve, save, unlock. At the end, every literal that a process has reported as saved must be in the file, each
/// under its own ID, and the lock must be free. Prints the results. Throws if a claim does not hold, or if no kill met
/// a holder of the lock.
void killLockHolders(size_t numberOfKills, const std::string& folder, uint32_t seed);
