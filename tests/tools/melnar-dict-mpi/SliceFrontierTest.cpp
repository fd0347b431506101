#include "tools/melnar-dict-mpi/SliceFrontier.h"

#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <random>
#include <vector>

namespace {

using Offer = SliceFrontier::Offer;
using Piece = SliceFrontier::Piece;

constexpr uint64_t SIZE = SlicePlan::SLICE_SIZE;

SlicePlan makePlan(const uint64_t numberOfSlices, const uint32_t numberOfRanks) {
    return {{{"a.nt", RdfFormat::N_TRIPLES, numberOfSlices * SIZE, true, SlicePlan::ANY_RANK}}, numberOfRanks};
}

Offer makeOffer(const std::vector<Piece>& pieces) {
    Offer offer;
    for (const Piece& piece : pieces)
        offer.m_pieces.at(offer.m_number++) = piece;
    return offer;
}

/// Rank, slice, whether it is the last one, and its index.
using Taken = std::vector<std::tuple<uint32_t, uint64_t, bool, uint64_t>>;

Taken take(SliceFrontier& frontier, const std::vector<Offer>& offers) {
    Taken all;
    for (const SliceFrontier::Taken& taken : frontier.take(offers))
        all.emplace_back(taken.m_rank, taken.m_piece.m_slice, taken.m_piece.m_isLast, taken.m_index);
    return all;
}

TEST(SliceFrontierTest, withoutSlicesItIsAtTheEnd) {
    const SlicePlan plan({}, 2);
    SliceFrontier frontier(plan);
    EXPECT_TRUE(frontier.isAtEnd());
    EXPECT_EQ(Taken(), take(frontier, {{}, {}}));
}

TEST(SliceFrontierTest, takesPiecesInTheOrderOfTheInput) {
    const SlicePlan plan = makePlan(3, 2);
    SliceFrontier frontier(plan);
    EXPECT_EQ((Taken{{0, 0, false, 0}, {0, 0, true, 1}, {1, 1, true, 0}, {0, 2, true, 0}}),
              take(frontier, {makeOffer({{0, false}, {0, true}, {2, true}}), makeOffer({{1, true}})}));
    EXPECT_TRUE(frontier.isAtEnd());
    EXPECT_EQ(3u, frontier.getSlice());
    EXPECT_EQ(0u, frontier.getPiece());
    EXPECT_EQ(Taken(), take(frontier, {makeOffer({{9, true}}), {}})) << "nothing comes after the end";
}

TEST(SliceFrontierTest, whatIsAheadOfItsTurnStays) {
    const SlicePlan plan = makePlan(4, 3);
    SliceFrontier frontier(plan);
    const Offer ahead = makeOffer({{1, false}, {1, true}});
    const Offer farAhead = makeOffer({{2, true}});
    EXPECT_EQ(Taken(), take(frontier, {{}, ahead, farAhead}));
    EXPECT_EQ(0u, frontier.getSlice());
    EXPECT_EQ((Taken{{0, 0, false, 0}}), take(frontier, {makeOffer({{0, false}}), ahead, farAhead}));
    EXPECT_EQ(0u, frontier.getSlice());
    EXPECT_EQ(1u, frontier.getPiece());
    EXPECT_EQ((Taken{{0, 0, true, 1}, {1, 1, false, 0}, {1, 1, true, 1}, {2, 2, true, 0}, {0, 3, false, 0}}),
              take(frontier, {makeOffer({{0, true}, {3, false}}), ahead, farAhead}));
    EXPECT_EQ(3u, frontier.getSlice());
    EXPECT_EQ(1u, frontier.getPiece());
    EXPECT_FALSE(frontier.isAtEnd());
}

TEST(SliceFrontierTest, aRankWithoutAnythingStopsTheOthersAtItsSlice) {
    const SlicePlan plan = makePlan(100, 2);
    SliceFrontier frontier(plan);
    const Offer offer = makeOffer({{0, true}, {2, true}, {4, true}});
    EXPECT_EQ((Taken{{0, 0, true, 0}}), take(frontier, {offer, {}}));
    EXPECT_EQ(1u, frontier.getSlice());
    EXPECT_EQ(Taken(), take(frontier, {makeOffer({{2, true}, {4, true}}), {}}));
}

TEST(SliceFrontierTest, takesAllOfAFullOfferAndSlicesOfOnePieceEach) {
    const SlicePlan plan = makePlan(SliceFrontier::LARGEST_OFFER, 1);
    SliceFrontier frontier(plan);
    std::vector<Piece> pieces;
    for (uint64_t slice = 0; slice < SliceFrontier::LARGEST_OFFER; ++slice)
        pieces.push_back({slice, true});
    EXPECT_EQ(SliceFrontier::LARGEST_OFFER, take(frontier, {makeOffer(pieces)}).size());
    EXPECT_TRUE(frontier.isAtEnd());
}

TEST(SliceFrontierTest, takesUpFilesOfAllKindsInTheirOrder) {
    const SlicePlan plan({{"c.nt", RdfFormat::N_TRIPLES, SIZE, true, SlicePlan::ANY_RANK},
                          {"w.ttl", RdfFormat::TURTLE, 5, false, SlicePlan::ANY_RANK},
                          {"e.nt", RdfFormat::N_TRIPLES, 0, true, SlicePlan::ANY_RANK},
                          {"r.nt", RdfFormat::N_TRIPLES, 2 * SIZE, true, 2}},
                         3);
    SliceFrontier frontier(plan);
    EXPECT_EQ((Taken{{0, 0, true, 0}, {0, 1, false, 0}, {0, 1, true, 1}, {2, 2, true, 0}, {2, 3, true, 0}}),
              take(frontier, {makeOffer({{0, true}, {1, false}, {1, true}}), {}, makeOffer({{2, true}, {3, true}})}));
    EXPECT_TRUE(frontier.isAtEnd());
}

/// Ranks read at any pace and offer any part of it. All pieces come once, in order.
TEST(SliceFrontierTest, whateverIsOfferedPiecesComeOnceAndInOrder) {
    for (const uint32_t seed : getTestSeeds(200)) {
        SCOPED_TRACE(describeSeed(seed));
        std::mt19937 random(seed);
        const auto below = [&](const uint32_t bound) { return static_cast<uint32_t>(random() % bound); };
        const uint32_t ranks = 1 + below(5);
        std::vector<SlicePlan::Input> inputs(below(6));
        for (SlicePlan::Input& input : inputs)
            input = {"", RdfFormat::N_TRIPLES, below(8) * SIZE / 2, below(2) == 0,
                     below(3) == 0 ? below(ranks) : SlicePlan::ANY_RANK};
        const SlicePlan plan(inputs, ranks);
        std::vector<std::deque<Piece>> unread(ranks);
        std::vector<std::deque<Piece>> read(ranks);
        Taken expected;
        for (uint64_t slice = 0; slice < plan.getNumberOfSlices(); ++slice) {
            const uint32_t pieces = 1 + below(4) * below(4);
            for (uint32_t piece = 0; piece < pieces; ++piece) {
                const uint32_t owner = plan.getSlice(slice).m_owner;
                unread[owner].push_back({slice, piece + 1 == pieces});
                expected.emplace_back(owner, slice, piece + 1 == pieces, piece);
            }
        }
        SliceFrontier frontier(plan);
        Taken all;
        for (int round = 0; !frontier.isAtEnd(); ++round) {
            ASSERT_LT(round, 100000);
            ASSERT_LT(all.size(), expected.size());
            EXPECT_EQ(std::get<1>(expected[all.size()]), frontier.getSlice());
            EXPECT_EQ(std::get<3>(expected[all.size()]), frontier.getPiece());
            std::vector<Offer> offers;
            for (uint32_t rank = 0; rank < ranks; ++rank) {
                for (uint32_t number = below(12); number != 0 && !unread[rank].empty(); --number) {
                    read[rank].push_back(unread[rank].front());
                    unread[rank].pop_front();
                }
                const size_t offered = std::min<size_t>(read[rank].size(), below(SliceFrontier::LARGEST_OFFER + 1));
                offers.push_back(makeOffer({read[rank].begin(), read[rank].begin() + static_cast<ptrdiff_t>(offered)}));
            }
            for (const auto& taken : take(frontier, offers)) {
                all.push_back(taken);
                ASSERT_FALSE(read[std::get<0>(taken)].empty());
                read[std::get<0>(taken)].pop_front();
            }
        }
        EXPECT_EQ(expected, all);
    }
}

} // namespace
