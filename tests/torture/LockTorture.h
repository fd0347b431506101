#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// Kills `numberOfKills` processes of several that each add a literal to one dictionary file in a loop: lock, open,
/// resolve, save, unlock. In the end every literal that a process has told to be saved must be in the file, each under
/// an ID of its own, and the lock must be free. Prints what happened; throws when a claim does not hold, or when no
/// kill met a holder of the lock.
void killLockHolders(size_t numberOfKills, const std::string& folder, uint32_t seed);
