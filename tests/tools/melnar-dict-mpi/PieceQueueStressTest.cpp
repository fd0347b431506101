#include "tools/melnar-dict-mpi/PieceQueue.h"

#include "tests/support/RepeatUntilDeadline.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <exception>
#include <memory>
#include <random>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr uint64_t NUMBER_OF_PIECES = 400;

/// Returns the content of the piece with this number.
std::string makeForm(const uint64_t number) {
    std::mt19937_64 random(number);
    return std::string(random() % 3 == 0 ? 0 : random() % 3000, static_cast<char>('a' + number % 26));
}

/// Pushes all pieces, some ranges of them ahead of their turn. Returns how many were taken when it was stopped.
uint64_t readPieces(PieceQueue& queue, const uint32_t seed) {
    std::mt19937 random(seed);
    bool goesAhead = false;
    for (uint64_t number = 0; number < NUMBER_OF_PIECES; ++number) {
        if (random() % 30 == 0)
            goesAhead = !goesAhead;
        std::unique_ptr<ReadPiece> piece = queue.takeEmpty(goesAhead);
        if (piece == nullptr)
            return number;
        piece->clear(number);
        piece->m_place.m_isLast = number % 2 == 0;
        piece->m_parsed.m_terms.append(makeForm(number), static_cast<uint8_t>(number), number);
        queue.push(std::move(piece));
    }
    queue.end(std::make_exception_ptr(std::runtime_error("the end")));
    return NUMBER_OF_PIECES;
}

/// Takes some of the offered pieces, and gives them back a round later, like rounds of an exchange. Returns how many
/// pieces it got until there were `enough`.
uint64_t sendPieces(PieceQueue& queue, const uint32_t seed, const uint64_t enough) {
    std::mt19937 random(~seed);
    std::vector<std::unique_ptr<ReadPiece>> held;
    uint64_t next = 0;
    while (next < enough) {
        if (random() % 2 == 0)
            queue.waitForPiece();
        const SliceFrontier::Offer offer = queue.getOffer(random() % 2 == 0 ? 5000 : 1 << 20);
        std::vector<std::unique_ptr<ReadPiece>> taken;
        for (auto left = offer.m_number == 0 ? 0 : random() % (offer.m_number + 1); left != 0; --left) {
            std::unique_ptr<ReadPiece> piece = queue.pop();
            const auto entries = piece->m_parsed.m_terms.getEntries();
            EXPECT_EQ(next, piece->m_place.m_slice);
            EXPECT_EQ(next, offer.m_pieces[taken.size()].m_slice);
            EXPECT_EQ(next % 2 == 0, offer.m_pieces[taken.size()].m_isLast);
            EXPECT_EQ(1u, entries.size());
            EXPECT_EQ(makeForm(next), entries[0].m_lexicalForm);
            taken.push_back(std::move(piece));
            ++next;
        }
        for (std::unique_ptr<ReadPiece>& piece : held)
            queue.giveBack(std::move(piece));
        held = std::move(taken);
    }
    for (std::unique_ptr<ReadPiece>& piece : held)
        queue.giveBack(std::move(piece));
    return next;
}

TEST(PieceQueueStressTest, piecesComeOnceAndInOrder) {
    SystemCallFaults writes(SystemCallFaults::Call::PWRITE);
    repeatUntilDeadline([](const uint32_t seed) {
        const TemporaryDirectory directory;
        PieceQueue queue(directory.getPathOf("."), 3);
        std::thread reader([&] { EXPECT_EQ(NUMBER_OF_PIECES, readPieces(queue, seed)); });
        EXPECT_EQ(NUMBER_OF_PIECES, sendPieces(queue, seed, NUMBER_OF_PIECES));
        EXPECT_THROW(queue.waitForPiece(), std::runtime_error);
        reader.join();
    });
    EXPECT_GT(writes.getNumberOfCalls(), 0u) << "the reader was never ahead";
}

TEST(PieceQueueStressTest, aStopAtAnyMomentEndsTheReader) {
    repeatUntilDeadline([](const uint32_t seed) {
        const TemporaryDirectory directory;
        PieceQueue queue(directory.getPathOf("."), 3);
        uint64_t numberRead = 0;
        std::thread reader([&] { numberRead = readPieces(queue, seed); });
        const uint64_t numberSent = sendPieces(queue, seed, seed % 100);
        queue.stop();
        reader.join();
        EXPECT_LE(numberSent, numberRead);
    });
}

} // namespace
