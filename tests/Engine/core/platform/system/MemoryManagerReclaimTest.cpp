#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "tests/Engine/core/platform/system/ReclaimableBytes.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <array>
#include <new>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace {

constexpr size_t LIMIT = 1000;

/// Pieces of reclaimable memory, each registered with the memory manager.
class Pieces : private Unmovable {
public:
    explicit Pieces(MemoryManager& memoryManager, const std::array<size_t, 3>& bytes = {100, 100, 100})
        : m_pieces{ReclaimableBytes(memoryManager), ReclaimableBytes(memoryManager), ReclaimableBytes(memoryManager)} {
        for (size_t piece = 0; piece < m_pieces.size(); ++piece) {
            m_pieces[piece].hold(bytes[piece]);
            memoryManager.addReclaimable(m_pieces[piece]);
        }
    }

    std::vector<size_t> getNumbersOfReclaims() const {
        std::vector<size_t> numbers;
        for (const ReclaimableBytes& piece : m_pieces)
            numbers.push_back(piece.getNumberOfReclaims());
        return numbers;
    }

    std::array<ReclaimableBytes, 3> m_pieces;
};

} // namespace

TEST(MemoryManagerReclaimTest, anOperationThatSucceedsIsPerformedOnceAndReclaimsNothing) {
    MemoryManager memoryManager(LIMIT);
    const Pieces pieces(memoryManager);
    size_t attempts = 0;
    EXPECT_EQ(42, memoryManager.withReclaim([&] {
        ++attempts;
        memoryManager.allocate(700);
        return 42;
    }));
    EXPECT_EQ(1u, attempts);
    EXPECT_EQ((std::vector<size_t>{0, 0, 0}), pieces.getNumbersOfReclaims());
    EXPECT_EQ(0u, memoryManager.getFreeBytes());
}

TEST(MemoryManagerReclaimTest, theResultKeepsItsType) {
    MemoryManager memoryManager(LIMIT);
    int number = 1;
    static_assert(std::is_same_v<int&, decltype(memoryManager.withReclaim([&]() -> int& { return number; }))>);
    static_assert(std::is_same_v<void, decltype(memoryManager.withReclaim([&] { ++number; }))>);
    memoryManager.withReclaim([&]() -> int& { return number; }) = 7;
    EXPECT_EQ(7, number);
}

TEST(MemoryManagerReclaimTest, anOperationThatRunsOutOfMemoryGetsAllThatCanBeReclaimed) {
    MemoryManager memoryManager(LIMIT);
    const Pieces pieces(memoryManager);
    size_t attempts = 0;
    memoryManager.withReclaim([&] {
        ++attempts;
        memoryManager.allocate(701);
    });
    EXPECT_EQ(2u, attempts);
    EXPECT_EQ((std::vector<size_t>{1, 1, 1}), pieces.getNumbersOfReclaims()) << "each is asked once";
    EXPECT_EQ(299u, memoryManager.getFreeBytes());
}

TEST(MemoryManagerReclaimTest, onePieceThatHasMemoryIsEnoughForAnotherAttempt) {
    for (size_t full = 0; full < 3; ++full) {
        MemoryManager memoryManager(LIMIT);
        std::array<size_t, 3> bytes{};
        bytes[full] = 100;
        const Pieces pieces(memoryManager, bytes);
        size_t attempts = 0;
        memoryManager.withReclaim([&] {
            ++attempts;
            memoryManager.allocate(LIMIT);
        });
        EXPECT_EQ(2u, attempts);
        EXPECT_EQ((std::vector<size_t>{1, 1, 1}), pieces.getNumbersOfReclaims());
    }
}

TEST(MemoryManagerReclaimTest, anOperationFailsWithItsOwnExceptionWhenNothingIsGivenBack) {
    MemoryManager memoryManager(LIMIT);
    const Pieces pieces(memoryManager, {0, 0, 0});
    memoryManager.allocate(400);
    size_t attempts = 0;
    const auto exception = catchException<MemoryExhaustedException>([&] {
        memoryManager.withReclaim([&] {
            ++attempts;
            memoryManager.allocate(601);
        });
    });
    EXPECT_EQ("The Melnar instance has run out of memory.\n[Extended information: 1000 bytes were reserved for the "
              "system, of which 600 were free when an attempt to allocate 601 bytes was made.]",
              exception.getMessage());
    EXPECT_EQ(73, exception.getSourceLineNumber());
    EXPECT_EQ(1u, attempts);
    EXPECT_EQ((std::vector<size_t>{1, 1, 1}), pieces.getNumbersOfReclaims());
    EXPECT_EQ(600u, memoryManager.getFreeBytes());
}

TEST(MemoryManagerReclaimTest, withoutReclaimableMemoryAnOperationFailsTheFirstTime) {
    MemoryManager memoryManager(LIMIT);
    size_t attempts = 0;
    const auto fail = [&] {
        ++attempts;
        memoryManager.allocate(LIMIT + 1);
    };
    EXPECT_THROW(memoryManager.withReclaim(fail), MemoryExhaustedException);
    EXPECT_EQ(1u, attempts);
}

TEST(MemoryManagerReclaimTest, otherExceptionsPassWithoutAReclaim) {
    MemoryManager memoryManager(LIMIT);
    const Pieces pieces(memoryManager);
    size_t attempts = 0;
    EXPECT_THROW(memoryManager.withReclaim([&] {
        ++attempts;
        throw MelnarException("file", 1, MelnarException::NO_CAUSES, "Another failure.");
    }),
                 MelnarException);
    EXPECT_THROW(memoryManager.withReclaim([&] {
        ++attempts;
        throw std::bad_alloc();
    }),
                 std::bad_alloc);
    EXPECT_EQ(2u, attempts);
    EXPECT_EQ((std::vector<size_t>{0, 0, 0}), pieces.getNumbersOfReclaims());
}

TEST(MemoryManagerReclaimTest, anotherExceptionOfTheNextAttemptPasses) {
    MemoryManager memoryManager(LIMIT);
    const Pieces pieces(memoryManager);
    size_t attempts = 0;
    EXPECT_THROW(memoryManager.withReclaim([&] {
        if (++attempts == 2)
            throw std::runtime_error("later");
        memoryManager.allocate(LIMIT);
    }),
                 std::runtime_error);
    EXPECT_EQ((std::vector<size_t>{1, 1, 1}), pieces.getNumbersOfReclaims());
}

TEST(MemoryManagerReclaimTest, anOperationThatFailsForeverEndsWhenAllIsGivenBack) {
    MemoryManager memoryManager(LIMIT);
    Pieces pieces(memoryManager);
    size_t attempts = 0;
    const auto fail = [&] {
        ++attempts;
        if (attempts == 2)
            pieces.m_pieces[1].hold(50); // is allocated again once, as fingerprints are by a resize
        memoryManager.allocate(LIMIT + 1);
    };
    const auto exception = catchException<MemoryExhaustedException>([&] { memoryManager.withReclaim(fail); });
    EXPECT_EQ(3u, attempts);
    EXPECT_EQ((std::vector<size_t>{3, 3, 3}), pieces.getNumbersOfReclaims());
    EXPECT_EQ(LIMIT, memoryManager.getFreeBytes());
}

TEST(MemoryManagerReclaimTest, aReclaimSinceTheBeginOfAnOperationMakesItTryAgain) {
    MemoryManager memoryManager(LIMIT);
    const Pieces pieces(memoryManager);
    size_t attempts = 0;
    memoryManager.withReclaim([&] {
        if (++attempts == 1) {
            // Another operation reclaims everything, and ends.
            memoryManager.withReclaim([&] { memoryManager.allocate(LIMIT); });
            memoryManager.deallocate(LIMIT);
            memoryManager.allocate(LIMIT + 1);
        }
        memoryManager.allocate(LIMIT);
    });
    EXPECT_EQ(2u, attempts);
    EXPECT_EQ((std::vector<size_t>{1, 1, 1}), pieces.getNumbersOfReclaims()) << "they are not asked a second time";
}

TEST(MemoryManagerReclaimTest, whatAnOwnerGivesBackUnaskedMakesAnOperationTryAgain) {
    MemoryManager memoryManager(LIMIT);
    const Pieces pieces(memoryManager, {0, 0, 0});
    memoryManager.allocate(100);
    size_t attempts = 0;
    memoryManager.withReclaim([&] {
        ++attempts;
        try {
            memoryManager.allocate(LIMIT);
        } catch (const MemoryExhaustedException&) {
            memoryManager.deallocate(100);
            memoryManager.noteReclaim();
            throw;
        }
    });
    EXPECT_EQ(2u, attempts);
    EXPECT_EQ((std::vector<size_t>{0, 0, 0}), pieces.getNumbersOfReclaims()) << "no owner needs to be asked";
}

TEST(MemoryManagerReclaimTest, whatIsRemovedIsNotAskedAndTheOthersAre) {
    for (size_t removed = 0; removed < 3; ++removed) {
        SCOPED_TRACE(removed);
        MemoryManager memoryManager(LIMIT);
        Pieces pieces(memoryManager);
        memoryManager.removeReclaimable(pieces.m_pieces[removed]);
        std::vector<size_t> expected = {1, 1, 1};
        expected[removed] = 0;
        memoryManager.withReclaim([&] { memoryManager.allocate(900); });
        EXPECT_EQ(expected, pieces.getNumbersOfReclaims());
        EXPECT_EQ(0u, memoryManager.getFreeBytes());
        memoryManager.addReclaimable(pieces.m_pieces[removed]);
        memoryManager.withReclaim([&] { memoryManager.allocate(100); });
        EXPECT_EQ(1u, pieces.m_pieces[removed].getNumberOfReclaims()) << "it is known again";
    }
}

TEST(MemoryManagerReclaimTest, allCanBeRemovedInEveryOrder) {
    const std::vector<std::array<size_t, 3>> orders = {{0, 1, 2}, {0, 2, 1}, {1, 0, 2},
                                                       {1, 2, 0}, {2, 0, 1}, {2, 1, 0}};
    for (const auto& order : orders) {
        MemoryManager memoryManager(LIMIT);
        Pieces pieces(memoryManager);
        for (const size_t piece : order)
            memoryManager.removeReclaimable(pieces.m_pieces[piece]);
        EXPECT_THROW(memoryManager.withReclaim([&] { memoryManager.allocate(701); }), MemoryExhaustedException);
        EXPECT_EQ((std::vector<size_t>{0, 0, 0}), pieces.getNumbersOfReclaims());
    }
}

TEST(MemoryManagerReclaimTest, allStoresOfASharedManagerGiveBackBeforeOneFails) {
    MemoryManager shared(LIMIT);
    MemoryManager first(LIMIT, &shared);
    MemoryManager second(LIMIT, &shared);
    const Pieces ofFirst(first);
    const Pieces ofSecond(second);
    first.withReclaim([&] { first.allocate(900); });
    EXPECT_EQ((std::vector<size_t>{1, 1, 1}), ofFirst.getNumbersOfReclaims());
    EXPECT_EQ((std::vector<size_t>{1, 1, 1}), ofSecond.getNumbersOfReclaims());
    EXPECT_EQ(100u, shared.getFreeBytes());
    EXPECT_THROW(second.withReclaim([&] { second.allocate(101); }), MemoryExhaustedException);
    EXPECT_EQ(LIMIT, second.getFreeBytes());
    first.deallocate(900);
    EXPECT_EQ(LIMIT, shared.getFreeBytes());
}

TEST(MemoryManagerReclaimTest, anOwnerOfAnotherStoreMayGiveBackUnasked) {
    MemoryManager shared(LIMIT);
    MemoryManager first(LIMIT, &shared);
    MemoryManager second(LIMIT, &shared);
    second.allocate(500);
    size_t attempts = 0;
    first.withReclaim([&] {
        if (++attempts == 1) {
            second.deallocate(500);
            second.noteReclaim();
            first.allocate(LIMIT + 1);
        }
    });
    EXPECT_EQ(2u, attempts);
}
