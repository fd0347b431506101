#pragma once

#include <cstddef>
#include <cstdint>

/// Replaces the engine's virtual memory within schedules: pages of 64 bytes in one array, so that a schedule takes no
/// system call. Addresses are used once in a schedule. Pages that are not committed, or are released, hold GARBAGE,
/// which is no valid content of anything that the engine keeps.
namespace ReplacedMemory {

inline constexpr uint8_t GARBAGE = 0xDD;

/// Takes all memory back, for the next schedule.
void reset() noexcept;

/// Makes one of the next commits fail: none if there are fewer than `allowedCommits` more.
void failAfter(size_t allowedCommits) noexcept;

/// Lets all commits succeed again, and returns whether one has failed.
bool stopFailing() noexcept;

} // namespace ReplacedMemory
