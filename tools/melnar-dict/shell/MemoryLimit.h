#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

/// The limit of --memory-limit: all memory that the process allocates after its start, except the stacks of its
/// threads. The dictionary counts its part itself and gets what remains after a reserve for the threads. The system
/// enforces the whole limit (RLIMIT_DATA) by refusing allocations. So a long line uses memory that the dictionary does
/// not use yet, and the process never exceeds the limit.
namespace MemoryLimit {

/// Whether the system enforces the limit, too: not under a sanitizer, which allocates its own memory.
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

/// Returns the default limit: 15/16 of the machine's memory, or of the container's if that is less, in whole megabytes.
uint64_t getDefault();

/// The bytes that a thread uses in addition to the dictionary, if no line is longer than a block: a block, its parsed
/// content, the text that is written, and the arena of the thread's allocator.
inline constexpr uint64_t BYTES_OF_THREAD = uint64_t(2) << 20;

/// The same for a thread that resolves or looks up all terms of a block together; if statements are short, a block has
/// many. It includes up to a megabyte that threads may leave unused in their arenas as they take turns.
inline constexpr uint64_t BYTES_OF_THREAD_WITH_TERMS = uint64_t(7) << 20;

/// Limits this process to `limit` bytes from now on. Called once, before it starts threads. Returns the limit of the
/// dictionary, which is what the threads, and `otherBytes`, leave.
/// Refuses a limit that is too small, with ExitCode::USAGE.
size_t apply(uint64_t limit, size_t numberOfThreads, uint64_t bytesOfThread = BYTES_OF_THREAD, uint64_t otherBytes = 0);

/// Returns the reason why an allocation failed.
std::string describeFailure();

} // namespace MemoryLimit
