#include "tools/melnar-dict-mpi/PieceQueue.h"

#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/LockObserver.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

constexpr size_t ANY_BYTES = size_t(1) << 30;
constexpr size_t MANY = 5 * PieceQueue::NUMBER_OF_PIECES;

/// Detects when a thread has locked a mutex.
class FirstLock final : public LockObserver {
public:
    void notice(const Event event, const void*) override {
        if (event == Event::MUTEX_LOCKED)
            m_isLocked.store(true, std::memory_order_release);
    }

    void wait() const {
        while (!m_isLocked.load(std::memory_order_acquire))
            std::this_thread::yield();
    }

private:
    std::atomic<bool> m_isLocked = false;
};

class PieceQueueTest : public testing::Test {
protected:
    /// Pushes the piece with the next number, with a term of `size` bytes.
    void push(const bool goesAhead, const size_t size = 10, PieceQueue* const queue = nullptr) {
        PieceQueue& target = queue == nullptr ? m_queue : *queue;
        std::unique_ptr<ReadPiece> piece = target.takeEmpty(goesAhead);
        ASSERT_NE(nullptr, piece);
        piece->clear(m_pushed);
        piece->m_parsed.m_terms.append(std::string(size, static_cast<char>('a' + m_pushed % 26)), 1, m_pushed);
        piece->m_rows.assignCells(std::vector<uint32_t>(3 * (m_pushed % 5)));
        target.push(std::move(piece));
        ++m_pushed;
    }

    void pushMany(const size_t number, const bool goesAhead = true) {
        for (size_t index = 0; index < number; ++index)
            push(goesAhead);
    }

    /// Pops a piece that has been offered, which must be the next one.
    std::unique_ptr<ReadPiece> pop(const size_t size = 10) {
        std::unique_ptr<ReadPiece> piece = m_queue.pop();
        const auto entries = piece->m_parsed.m_terms.getEntries();
        EXPECT_EQ(m_popped, piece->m_place.m_slice);
        EXPECT_EQ(1u, entries.size());
        EXPECT_EQ(std::string(size, static_cast<char>('a' + m_popped % 26)), entries[0].m_lexicalForm);
        EXPECT_EQ(m_popped, piece->m_parsed.m_terms.getLine(0));
        EXPECT_EQ(3 * (m_popped % 5), piece->m_rows.getCells().size());
        ++m_popped;
        return piece;
    }

    /// Takes all pieces and gives them back.
    void popAll() {
        while (const uint32_t number = m_queue.getOffer(ANY_BYTES).m_number)
            for (uint32_t index = 0; index < number; ++index)
                m_queue.giveBack(pop());
    }

    std::vector<uint64_t> getOffered(const size_t largestBytes = ANY_BYTES) {
        const SliceFrontier::Offer offer = m_queue.getOffer(largestBytes);
        std::vector<uint64_t> numbers;
        for (uint32_t index = 0; index < offer.m_number; ++index)
            numbers.push_back(offer.m_pieces[index].m_slice);
        return numbers;
    }

    const TemporaryDirectory m_directory;
    PieceQueue m_queue{m_directory.getPathOf("."), 3};
    uint64_t m_pushed = 0;
    uint64_t m_popped = 0;
};

using Numbers = std::vector<uint64_t>;

TEST_F(PieceQueueTest, piecesComeInTheirOrder) {
    EXPECT_EQ(Numbers(), getOffered());
    pushMany(3, false);
    m_queue.waitForPiece();
    EXPECT_EQ((Numbers{0, 1, 2}), getOffered());
    popAll();
    EXPECT_EQ(3u, m_popped);
    EXPECT_EQ(Numbers(), getOffered());
}

TEST_F(PieceQueueTest, anOfferDescribesThePieces) {
    for (const bool isLast : {true, false, true}) {
        std::unique_ptr<ReadPiece> piece = m_queue.takeEmpty(false);
        piece->clear(uint64_t(1) << 40);
        piece->m_place.m_isLast = isLast;
        m_queue.push(std::move(piece));
    }
    const SliceFrontier::Offer offer = m_queue.getOffer(0);
    ASSERT_EQ(3u, offer.m_number) << "pieces without terms take no bytes";
    EXPECT_EQ(uint64_t(1) << 40, offer.m_pieces[0].m_slice);
    EXPECT_TRUE(offer.m_pieces[0].m_isLast);
    EXPECT_FALSE(offer.m_pieces[1].m_isLast);
    EXPECT_TRUE(offer.m_pieces[2].m_isLast);
}

TEST_F(PieceQueueTest, anOfferHasItsLargestNumberOfPieces) {
    pushMany(PieceQueue::NUMBER_OF_PIECES, false);
    EXPECT_EQ((Numbers{0, 1, 2, 3, 4, 5, 6, 7}), getOffered());
    EXPECT_EQ(SliceFrontier::LARGEST_OFFER, getOffered().size()) << "an offer takes nothing";
}

TEST_F(PieceQueueTest, anOfferHasSoManyBytesOrOnePiece) {
    for (const size_t size : {100u, 50u, 1u, 10u})
        push(false, size);
    EXPECT_EQ(Numbers{0}, getOffered(0));
    EXPECT_EQ(Numbers{0}, getOffered(99));
    EXPECT_EQ(Numbers{0}, getOffered(149));
    EXPECT_EQ((Numbers{0, 1}), getOffered(150));
    EXPECT_EQ((Numbers{0, 1, 2}), getOffered(160));
    EXPECT_EQ((Numbers{0, 1, 2, 3}), getOffered(161));
}

TEST_F(PieceQueueTest, piecesAheadGoToAFileAndComeBack) {
    SystemCallFaults writes(Call::PWRITE);
    for (int time = 0; time < 3; ++time) {
        pushMany(MANY);
        popAll();
        EXPECT_EQ(m_pushed, m_popped);
    }
    EXPECT_EQ(3 * (MANY - PieceQueue::NUMBER_OF_PIECES + 1), writes.getNumberOfCalls())
        << "a piece must be free for the next one";
    EXPECT_TRUE(std::filesystem::is_empty(m_directory.getPathOf("."))) << "the file has no name";
}

TEST_F(PieceQueueTest, piecesThatFitGoToNoFile) {
    PieceQueue queue(m_directory.getPathOf("missing"), 3);
    for (size_t number = 0; number < PieceQueue::NUMBER_OF_PIECES; ++number)
        push(true, 10, &queue);
    EXPECT_EQ(SliceFrontier::LARGEST_OFFER, queue.getOffer(ANY_BYTES).m_number);
}

TEST_F(PieceQueueTest, theFileIsEmptiedWhenAllHasComeBack) {
    SystemCallFaults truncations(Call::FTRUNCATE);
    pushMany(MANY);
    EXPECT_EQ(0u, truncations.getNumberOfCalls());
    popAll();
    EXPECT_EQ(1u, truncations.getNumberOfCalls());
    popAll();
    EXPECT_EQ(1u, truncations.getNumberOfCalls());
    truncations.failAfter(0, EIO, Duration::FOR_GOOD);
    for (int time = 0; time < 3; ++time) {
        pushMany(MANY);
        popAll();
    }
    EXPECT_EQ(3u, truncations.getNumberOfFailures());
    EXPECT_EQ(m_pushed, m_popped) << "the file is rewritten from its start";
}

TEST_F(PieceQueueTest, whatWasOfferedStaysWhileOthersGoToTheFile) {
    pushMany(PieceQueue::NUMBER_OF_PIECES);
    const Numbers offered = getOffered();
    pushMany(MANY);
    for (size_t index = 0; index < offered.size(); ++index)
        m_queue.giveBack(pop());
    popAll();
    EXPECT_EQ(m_pushed, m_popped);
}

TEST_F(PieceQueueTest, whatWasOfferedAndNotTakenStaysToo) {
    pushMany(PieceQueue::NUMBER_OF_PIECES);
    EXPECT_EQ(8u, getOffered().size());
    for (int number = 0; number < 3; ++number)
        m_queue.giveBack(pop()); // five are still offered
    pushMany(MANY);
    for (int number = 0; number < 5; ++number)
        m_queue.giveBack(pop());
    popAll();
    EXPECT_EQ(m_pushed, m_popped);
}

TEST_F(PieceQueueTest, onlyPiecesThatAreNotOfferedMakeRoom) {
    pushMany(8);
    EXPECT_EQ(8u, getOffered().size());
    std::vector<std::unique_ptr<ReadPiece>> held;
    while (held.size() < 4)
        held.push_back(m_queue.takeEmpty(true));
    // Eight are offered, and four are taken: another one is available only when one comes back.
    SystemCallFaults writes(Call::PWRITE);
    std::unique_ptr<ReadPiece> next;
    const FirstLock lock;
    std::thread reader([&] { next = m_queue.takeEmpty(true); });
    lock.wait();
    for (int number = 0; number < 8; ++number)
        m_queue.giveBack(pop()); // needs the mutex, so the reader waits for a piece by now
    reader.join();
    EXPECT_NE(nullptr, next);
    EXPECT_EQ(0u, writes.getNumberOfCalls());
}

TEST_F(PieceQueueTest, piecesThatAreNotAheadWaitForAFreeOne) {
    pushMany(PieceQueue::NUMBER_OF_PIECES, false);
    std::thread reader([this] { pushMany(MANY, false); });
    while (m_popped < PieceQueue::NUMBER_OF_PIECES + MANY) {
        m_queue.waitForPiece();
        popAll();
    }
    reader.join();
    EXPECT_EQ(m_pushed, m_popped);
}

TEST_F(PieceQueueTest, piecesThatAreNotAheadWaitUntilTheFileIsEmpty) {
    SystemCallFaults writes(Call::PWRITE);
    pushMany(MANY);
    const size_t writesAhead = writes.getNumberOfCalls();
    std::thread reader([this] { pushMany(MANY, false); });
    while (m_popped < 2 * MANY) {
        m_queue.waitForPiece();
        popAll();
    }
    reader.join();
    EXPECT_EQ(writesAhead, writes.getNumberOfCalls());
}

TEST_F(PieceQueueTest, aPieceEndsTheWait) {
    std::thread reader([this] { push(false); });
    m_queue.waitForPiece();
    EXPECT_EQ(Numbers{0}, getOffered());
    reader.join();
}

TEST_F(PieceQueueTest, theEndEndsTheWait) {
    std::thread reader([this] { m_queue.end(nullptr); });
    m_queue.waitForPiece();
    reader.join();
    EXPECT_EQ(Numbers(), getOffered());
    m_queue.waitForPiece();
}

TEST_F(PieceQueueTest, aFailureComesAfterAllPieces) {
    pushMany(MANY);
    m_queue.end(std::make_exception_ptr(std::runtime_error("failed")));
    while (m_popped < MANY) {
        EXPECT_NO_THROW(m_queue.waitForPiece());
        ASSERT_NE(0u, m_queue.getOffer(ANY_BYTES).m_number);
        m_queue.giveBack(pop());
    }
    EXPECT_STREQ("failed", catchException<std::runtime_error>([this] { m_queue.waitForPiece(); }).what());
    EXPECT_NO_THROW(m_queue.waitForPiece()) << "it is reported once";
}

TEST_F(PieceQueueTest, whenStoppedThereAreNoMorePieces) {
    push(false);
    m_queue.stop();
    EXPECT_EQ(nullptr, m_queue.takeEmpty(false));
    EXPECT_EQ(nullptr, m_queue.takeEmpty(true));
    popAll();
    EXPECT_EQ(1u, m_popped) << "what is there stays";
}

TEST_F(PieceQueueTest, aStopEndsTheWaitForAFreePiece) {
    for (const bool goesAhead : {false, true}) {
        PieceQueue queue(m_directory.getPathOf("."), 3);
        for (size_t number = 0; number < PieceQueue::NUMBER_OF_PIECES; ++number)
            push(false, 10, &queue);
        std::vector<std::unique_ptr<ReadPiece>> taken;
        for (size_t left = PieceQueue::NUMBER_OF_PIECES; left != 0; --left) { // so nothing could be written to the file
            queue.getOffer(ANY_BYTES);
            taken.push_back(queue.pop());
        }
        std::unique_ptr<ReadPiece> piece = std::make_unique<ReadPiece>(3);
        std::thread reader([&] { piece = queue.takeEmpty(goesAhead); });
        queue.stop();
        reader.join();
        EXPECT_EQ(nullptr, piece);
    }
}

TEST_F(PieceQueueTest, aFileThatCannotBeMadeIsReportedWithItsFolder) {
    PieceQueue queue(m_directory.getPathOf("missing"), 3);
    for (size_t number = 0; number < PieceQueue::NUMBER_OF_PIECES; ++number)
        push(true, 10, &queue);
    for (int time = 0; time < 2; ++time) {
        const auto exception = catchException<SystemCallException>([&] { queue.takeEmpty(true); });
        EXPECT_EQ(ENOENT, exception.getErrorCode());
        EXPECT_NE(std::string::npos, exception.getMessage().find(m_directory.getPathOf("missing")));
    }
    std::filesystem::create_directory(m_directory.getPathOf("missing"));
    EXPECT_NO_THROW(queue.takeEmpty(true));
    for (uint64_t number = 0; number < 2; ++number) {
        queue.getOffer(ANY_BYTES);
        EXPECT_EQ(number, queue.pop()->m_place.m_slice) << "nothing was lost";
    }
}

TEST_F(PieceQueueTest, aFullDiskKeepsThePiecesInMemory) {
    pushMany(PieceQueue::NUMBER_OF_PIECES);
    {
        SystemCallFaults writes(Call::PWRITE);
        writes.failAfter(0, ENOSPC, Duration::FOR_GOOD);
        for (int time = 0; time < 2; ++time)
            EXPECT_EQ(ENOSPC, catchException<SystemCallException>([this] { push(true); }).getErrorCode());
        EXPECT_EQ(2u, writes.getNumberOfFailures());
    }
    pushMany(MANY);
    popAll();
    EXPECT_EQ(m_pushed, m_popped);
}

/// At that point some bytes have been written, in the middle of the file.
TEST_F(PieceQueueTest, aDiskThatFillsKeepsThePiecesInTheFile) {
    for (size_t allowed = 1; allowed < 30; ++allowed) {
        PieceQueue queue(m_directory.getPathOf("."), 3);
        std::exception_ptr failure;
        uint64_t pushed = 0;
        {
            SystemCallFaults writes(Call::PWRITE);
            writes.shortenTo(50);
            writes.failAfter(allowed, ENOSPC, Duration::FOR_GOOD);
            try {
                for (;; ++pushed) {
                    std::unique_ptr<ReadPiece> piece = queue.takeEmpty(true);
                    piece->clear(pushed);
                    piece->m_parsed.m_rejected = std::string(pushed * 10, 'r');
                    queue.push(std::move(piece));
                }
            } catch (const SystemCallException&) {
                failure = std::current_exception();
            }
        }
        queue.end(failure);
        for (uint64_t popped = 0; popped < pushed; ++popped) {
            queue.waitForPiece();
            ASSERT_NE(0u, queue.getOffer(ANY_BYTES).m_number);
            std::unique_ptr<ReadPiece> piece = queue.pop();
            EXPECT_EQ(popped, piece->m_place.m_slice);
            EXPECT_EQ(std::string(popped * 10, 'r'), piece->m_parsed.m_rejected);
            queue.giveBack(std::move(piece));
        }
        EXPECT_THROW(queue.waitForPiece(), SystemCallException);
    }
}

TEST_F(PieceQueueTest, piecesThatCannotBeReadBackAreReportedAndStay) {
    pushMany(MANY);
    for (const int errorCode : {EIO, EBADF}) {
        for (int number = 0; number < 3; ++number) {
            getOffered();
            m_queue.giveBack(pop());
        }
        SystemCallFaults reads(Call::PREAD);
        reads.failAfter(0, errorCode, Duration::ONCE);
        EXPECT_EQ(errorCode, catchException<SystemCallException>([this] { getOffered(); }).getErrorCode());
        reads.failAfter(0, errorCode, Duration::ONCE);
        EXPECT_EQ(errorCode, catchException<SystemCallException>([this] { m_queue.waitForPiece(); }).getErrorCode());
    }
    popAll();
    EXPECT_EQ(m_pushed, m_popped);
}

TEST_F(PieceQueueTest, interruptedAndShortCallsAreContinued) {
    SystemCallFaults writes(Call::PWRITE);
    SystemCallFaults reads(Call::PREAD);
    writes.shortenTo(7);
    reads.shortenTo(5);
    for (size_t allowed = 0; allowed < 3; ++allowed) {
        writes.failAfter(allowed, EINTR, Duration::ONCE);
        reads.failAfter(allowed, EINTR, Duration::ONCE);
        pushMany(MANY);
        popAll();
    }
    EXPECT_EQ(m_pushed, m_popped);
    EXPECT_EQ(3u, writes.getNumberOfFailures());
    EXPECT_EQ(3u, reads.getNumberOfFailures());
}

TEST_F(PieceQueueTest, theFileIsClosed) {
    SystemCallFaults closings(Call::CLOSE);
    {
        PieceQueue queue(m_directory.getPathOf("."), 3);
        for (size_t number = 0; number < MANY; ++number)
            push(true, 10, &queue);
        EXPECT_EQ(0u, closings.getNumberOfCalls());
    }
    EXPECT_EQ(1u, closings.getNumberOfCalls());
}

} // namespace
