#include "tools/melnar-dict/threads/PieceQueue.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

namespace {

std::unique_ptr<ParsedPiece> takeEmpty(PieceQueue& queue, const uint64_t sequence) {
    std::unique_ptr<ParsedPiece> piece = queue.takeEmpty();
    piece->clear(sequence);
    return piece;
}

TEST(PieceQueueTest, givesFullPiecesInTheirOrder) {
    PieceQueue queue(3);
    for (uint64_t sequence = 0; sequence < 3; ++sequence)
        queue.putFull(takeEmpty(queue, sequence));
    for (uint64_t sequence = 0; sequence < 3; ++sequence)
        EXPECT_EQ(sequence, queue.takeFull()->m_sequence);
}

TEST(PieceQueueTest, givesWhatIsFullEvenAfterClosing) {
    PieceQueue queue(2);
    queue.putFull(takeEmpty(queue, 7));
    queue.close();
    EXPECT_EQ(nullptr, queue.takeEmpty());
    EXPECT_EQ(7u, queue.takeFull()->m_sequence);
    EXPECT_EQ(nullptr, queue.takeFull());
}

TEST(PieceQueueConcurrentTest, wakesWhoeverWaitsWhenItCloses) {
    PieceQueue queue(0);
    std::atomic<int> returned = 0;
    std::vector<std::thread> threads;
    threads.emplace_back([&] {
        EXPECT_EQ(nullptr, queue.takeEmpty());
        ++returned;
    });
    threads.emplace_back([&] {
        EXPECT_EQ(nullptr, queue.takeFull());
        ++returned;
    });
    EXPECT_EQ(0, returned);
    queue.close();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(2, returned);
}

TEST(PieceQueueConcurrentTest, handsEveryPieceToExactlyOneTaker) {
    constexpr uint64_t NUMBER_OF_PIECES = 20000;
    constexpr size_t NUMBER_OF_TAKERS = 3;
    PieceQueue queue(4);
    std::vector<std::vector<uint64_t>> taken(NUMBER_OF_TAKERS);
    std::vector<std::thread> takers;
    for (std::vector<uint64_t>& sequences : taken)
        takers.emplace_back([&queue, &sequences] {
            while (std::unique_ptr<ParsedPiece> piece = queue.takeFull()) {
                sequences.push_back(piece->m_sequence);
                queue.putEmpty(std::move(piece));
            }
        });
    for (uint64_t sequence = 0; sequence < NUMBER_OF_PIECES; ++sequence)
        queue.putFull(takeEmpty(queue, sequence));
    queue.close();
    for (std::thread& taker : takers)
        taker.join();
    std::vector<unsigned> timesTaken(NUMBER_OF_PIECES);
    for (const std::vector<uint64_t>& sequences : taken) {
        EXPECT_TRUE(std::is_sorted(sequences.begin(), sequences.end()));
        for (const uint64_t sequence : sequences)
            ++timesTaken[sequence];
    }
    EXPECT_EQ(std::vector<unsigned>(NUMBER_OF_PIECES, 1), timesTaken);
}

} // namespace
