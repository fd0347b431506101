#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

const std::string LONG_TEXT(100, 'x');

/// Throws with `action` while every allocation fails in turn, and returns how many failed. Incomplete objects must be
/// released.
template<class Exception>
size_t countFailingAllocations(const std::function<void()>& action) {
    return failEach(ofAllocations(),
                    [&action](FailureRound& round) {
                        bool isThrown = false;
                        round.attempt([&] {
                            try {
                                action();
                            } catch (const Exception&) {
                                isThrown = true;
                            }
                        });
                        EXPECT_EQ(!round.hasFailed(), isThrown);
                        EXPECT_EQ(round.hasFailed(), round.hasThrown());
                    })
        .m_throws;
}

} // namespace

TEST(MelnarExceptionFailureTest, failedAllocationReplacesTheException) {
    EXPECT_LT(6u, countFailingAllocations<MelnarException>([] {
                  throw MelnarException(LONG_TEXT, 1, MelnarException::NO_CAUSES, LONG_TEXT, 5u, LONG_TEXT);
              }));
}

TEST(MelnarExceptionFailureTest, failedAllocationReplacesTheMemoryExhaustedException) {
    EXPECT_LT(6u, countFailingAllocations<MemoryExhaustedException>([] {
                  throw MemoryExhaustedException(LONG_TEXT, 1, MelnarException::NO_CAUSES, LONG_TEXT, 5u, LONG_TEXT);
              }));
}

TEST(MelnarExceptionFailureTest, failedAllocationReplacesTheSystemCallException) {
    EXPECT_LT(6u, countFailingAllocations<SystemCallException>([] {
                  throw SystemCallException(LONG_TEXT, 1, MelnarException::NO_CAUSES, "mmap", 12, LONG_TEXT, 5u);
              }));
}
