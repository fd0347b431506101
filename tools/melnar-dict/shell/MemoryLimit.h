#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// What --memory-limit is about: all memory that the process takes after its start, but for the stacks of its threads.
/// The dictionary counts its part itself and gets what is left when enough for the threads is set aside. The system
/// enforces the whole (RLIMIT_DATA), refusing memory before it is there: so a long line takes from what the dictionary
/// does not use yet, and the process never has more than the limit.
namespace MemoryLimit {

/// Whether the system enforces the limit, too: not where a sanitizer watches, which takes memory of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool IS_ENFORCED = false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool IS_ENFORCED = false;
#else
inline constexpr bool IS_ENFORCED = true;
#endif
#else
inline constexpr bool IS_ENFORCED = true;
#endif

/// Returns the limit unless another is given: 15/16 of the machine's memory, or of the container's if that is less,
/// in whole megabytes.
uint64_t getDefault();

/// What a thread holds beside the dictionary, in bytes, as long as no line is longer than a block: a block, what was parsed
/// from it, the text that is written, and the arena of its allocator.
inline constexpr uint64_t BYTES_OF_THREAD = uint64_t(2) << 20;

/// The same for a thread that resolves or looks up all terms of a block at a time, of which short statements have many. Up to
/// a megabyte of it is what threads leave unused in their arenas, now and then, as they take turns.
inline constexpr uint64_t BYTES_OF_THREAD_WITH_TERMS = uint64_t(7) << 20;

/// Keeps this process within a limit from now on, once, before it starts threads. Returns the limit of the dictionary, which
/// is what the threads, and other things of so many bytes, leave.
/// Refuses a limit that is too small, with ExitCode::USAGE.
size_t apply(uint64_t limit, size_t numberOfThreads, uint64_t bytesOfThread = BYTES_OF_THREAD, uint64_t otherBytes = 0);

/// Tells why there is no more memory.
std::string describeFailure();

} // namespace MemoryLimit
