#include "tests/support/FailureLoop.h"

#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "Engine/core/platform/system/VirtualMemory.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <unistd.h>
#include <vector>

using namespace melnar;

// The helper of failure tests: it must reach each failure, and find what an operation forgets.

namespace {

using Call = SystemCallFaults::Call;

const std::vector<Fault> ONE_ALLOCATION{{std::nullopt, 0, FaultDuration::ONCE}};

/// Takes and returns memory three times.
void allocateThreeTimes() {
    for (int number = 0; number < 3; ++number)
        std::make_unique<std::vector<int>>();
}

void expectCounts(const size_t failures, const size_t throws, const size_t tolerated, const FailureCounts& counts) {
    EXPECT_EQ(failures, counts.m_failures);
    EXPECT_EQ(throws, counts.m_throws);
    EXPECT_EQ(tolerated, counts.m_tolerated);
}

} // namespace

TEST(FailureLoopTest, eachAllocationFailsOnceAndForGood) {
    expectCounts(6, 6, 0, failEach(ofAllocations(), [](FailureRound& round) {
                     const bool isDone = round.attempt(&allocateThreeTimes);
                     EXPECT_EQ(isDone, !round.hasFailed());
                 }));
}

TEST(FailureLoopTest, whatFailsForGoodFailsAgainWhenItIsTolerated) {
    expectCounts(3 + 2 + 1 + 3, 0, 6, failEach(ofAllocations(), [](FailureRound& round) {
                     EXPECT_TRUE(round.attempt([] {
                         for (int number = 0; number < 3; ++number)
                             ::operator delete(::operator new(1, std::nothrow));
                     }));
                 }));
}

TEST(FailureLoopTest, aLongStepBeginsWithTheFirstFailure) {
    if (std::getenv("MELNAR_SEED") != nullptr || std::getenv("MELNAR_ALL_FAILURES") != nullptr)
        GTEST_SKIP() << "this run begins elsewhere";
    expectCounts(2, 2, 0,
                 failEach(
                     ofAllocations(), [](FailureRound& round) { round.attempt([] { std::make_unique<int>(); }); }, 10));
}

TEST(FailureLoopTest, eachCallFailsWithEachError) {
    const std::vector<Fault> faults = ofCalls({Call::OPEN, Call::CLOSE}, {EIO, EINTR});
    EXPECT_EQ(6u, faults.size()) << "no call is interrupted for good";
    // An interrupted call of open is repeated, and a failed close of a file that was read does no harm.
    expectCounts(6, 2, 4, failEach(faults, [&](FailureRound& round) {
                     const bool isDone = round.attempt([] { const FileInputStream input("/dev/null"); });
                     EXPECT_EQ(!isDone, round.hasFailed() && round.getFault().m_call == Call::OPEN &&
                                            round.getFault().m_errorCode == EIO);
                 }));
}

TEST(FailureLoopTest, aStepLeavesFailuresOut) {
    size_t rounds = 0;
    const FailureCounts counts = failEach(
        ONE_ALLOCATION,
        [&rounds](FailureRound& round) {
            ++rounds;
            round.attempt([] {
                for (int number = 0; number < 100; ++number)
                    std::make_unique<int>();
            });
        },
        10);
    expectCounts(10, 10, 0, counts);
    EXPECT_EQ(11u, rounds);
}

TEST(FailureLoopTest, whatAFailedOperationForgetsIsFound) {
    std::vector<std::unique_ptr<int>> forgotten;
    forgotten.reserve(100);
    EXPECT_NONFATAL_FAILURE(failEach(ONE_ALLOCATION,
                                     [&](FailureRound& round) {
                                         std::unique_ptr<int> block;
                                         forgotten.push_back(std::make_unique<int>());
                                         round.attempt([&] { block = std::make_unique<int>(); });
                                     }),
                            "blocks of operator new");
    void* reserved = nullptr;
    EXPECT_NONFATAL_FAILURE(failEach(ONE_ALLOCATION,
                                     [&](FailureRound& round) {
                                         round.attempt([&] {
                                             if (reserved == nullptr)
                                                 reserved = VirtualMemory::reserve(getVMPageSize());
                                             std::make_unique<int>();
                                         });
                                     }),
                            "bytes of address space");
    VirtualMemory::release(reserved, getVMPageSize());
    int file = -1;
    EXPECT_NONFATAL_FAILURE(failEach(ONE_ALLOCATION,
                                     [&](FailureRound& round) {
                                         round.attempt([&] {
                                             if (file < 0)
                                                 file = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
                                             std::make_unique<int>();
                                         });
                                     }),
                            "open files");
    ::close(file);
}

TEST(FailureLoopTest, onlyTheExceptionOfTheFailureIsAccepted) {
    const std::vector<Fault> oneOpen{{Call::OPEN, EIO, FaultDuration::ONCE}};
    const auto expectRefusal = [](const std::vector<Fault>& faults, const std::string& message,
                                  const std::function<void()>& throwAnother) {
        try {
            failEach(faults, [&](FailureRound& round) {
                round.attempt([&] {
                    try {
                        const FileInputStream input("/dev/null");
                    } catch (const std::exception&) {
                        throwAnother();
                    }
                });
            });
            FAIL() << "nothing thrown";
        } catch (const std::logic_error& error) {
            EXPECT_EQ(0u, std::string(error.what()).find(message)) << error.what();
        }
    };
    const auto throwSystemCallException = [] {
        throw SystemCallException("file", 1, MelnarException::NO_CAUSES, "open", ENOSPC, "no space");
    };
    const auto throwThatOfAnotherCall = [] {
        throw SystemCallException("file", 1, MelnarException::NO_CAUSES, "read", EIO, "broken");
    };
    expectRefusal(oneOpen, "open with error 5 fails once after 0: another",
                  [] { throw std::runtime_error("another"); });
    expectRefusal(oneOpen, "No memory, but open with error 5 fails once after 0", [] { throw std::bad_alloc(); });
    expectRefusal(oneOpen, "open with error 5 fails once after 0: ", throwSystemCallException);
    expectRefusal(oneOpen, "open with error 5 fails once after 0: ", throwThatOfAnotherCall);
    expectRefusal(ONE_ALLOCATION, "allocation fails once after 0: ", throwSystemCallException);
    EXPECT_THROW(failEach(oneOpen, [](FailureRound& round) { round.attempt([] { throw std::bad_alloc(); }); }),
                 std::logic_error)
        << "nothing has failed";
}

TEST(FailureLoopTest, aRoundAttemptsExactlyOnce) {
    EXPECT_THROW(failEach(ONE_ALLOCATION, [](FailureRound&) {}), std::logic_error);
    EXPECT_THROW(failEach(ONE_ALLOCATION,
                          [](FailureRound& round) {
                              round.attempt([] {});
                              round.attempt([] {});
                          }),
                 std::logic_error);
}
