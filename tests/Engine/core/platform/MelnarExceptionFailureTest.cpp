#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/AllocationFaults.h"

#include <gtest/gtest.h>

#include <new>

namespace {

const std::string LONG_TEXT(100, 'x');

/// Throws with `action` while every allocation fails in turn, and returns how many allocations there were. Incomplete
/// objects must be released: the sanitizers would report leaks.
template<class Exception, class Action>
size_t countFailingAllocations(const Action& action) {
    for (size_t allowed = 0;; ++allowed) {
        bool hasFailed = false;
        bool isOutOfMemory = false;
        bool isThrown = false;
        {
            const AllocationFaults faults = AllocationFaults::failAfter(allowed);
            try {
                action();
            } catch (const std::bad_alloc&) {
                isOutOfMemory = true;
            } catch (const Exception&) {
                isThrown = true;
            }
            hasFailed = faults.hasFailed();
        }
        EXPECT_EQ(hasFailed, isOutOfMemory) << "allocation " << allowed + 1;
        EXPECT_EQ(!hasFailed, isThrown) << "allocation " << allowed + 1;
        if (!hasFailed)
            return allowed;
    }
}

} // namespace

TEST(MelnarExceptionFailureTest, failedAllocationReplacesTheException) {
    EXPECT_LT(3u, countFailingAllocations<MelnarException>([] {
                  throw MelnarException(LONG_TEXT, 1, MelnarException::NO_CAUSES, LONG_TEXT, 5u, LONG_TEXT);
              }));
}

TEST(MelnarExceptionFailureTest, failedAllocationReplacesTheMemoryExhaustedException) {
    EXPECT_LT(3u, countFailingAllocations<MemoryExhaustedException>([] {
                  throw MemoryExhaustedException(LONG_TEXT, 1, MelnarException::NO_CAUSES, LONG_TEXT, 5u, LONG_TEXT);
              }));
}

TEST(MelnarExceptionFailureTest, failedAllocationReplacesTheSystemCallException) {
    EXPECT_LT(3u, countFailingAllocations<SystemCallException>([] {
                  throw SystemCallException(LONG_TEXT, 1, MelnarException::NO_CAUSES, "mmap", 12, LONG_TEXT, 5u);
              }));
}
