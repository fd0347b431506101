#include "tools/melnar-dict-mpi/SlicePlan.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using Input = SlicePlan::Input;

constexpr uint64_t SIZE = SlicePlan::SLICE_SIZE;
constexpr uint32_t ANY = SlicePlan::ANY_RANK;

Input makeCut(const uint64_t bytes, const uint32_t rank = ANY) {
    return {"cut", RdfFormat::N_TRIPLES, bytes, true, rank};
}

Input makeWhole(const uint64_t bytes, const uint32_t rank = ANY) {
    return {"whole", RdfFormat::TURTLE, bytes, false, rank};
}

std::vector<uint32_t> getOwners(const SlicePlan& plan) {
    std::vector<uint32_t> owners;
    for (uint64_t slice = 0; slice < plan.getNumberOfSlices(); ++slice)
        owners.push_back(plan.getSlice(slice).m_owner);
    return owners;
}

/// Input and index of each slice.
using Places = std::vector<std::pair<size_t, uint64_t>>;

Places getPlaces(const SlicePlan& plan) {
    Places places;
    for (uint64_t slice = 0; slice < plan.getNumberOfSlices(); ++slice)
        places.emplace_back(plan.getSlice(slice).m_inputIndex, plan.getSlice(slice).m_index);
    return places;
}

using Owners = std::vector<uint32_t>;

TEST(SlicePlanTest, withoutInputsThereAreNoSlices) {
    const SlicePlan plan({}, 3);
    EXPECT_EQ(0u, plan.getNumberOfSlices());
    EXPECT_EQ(0u, plan.getFirstSlice(0));
    EXPECT_TRUE(plan.getInputs().empty());
}

TEST(SlicePlanTest, cutFilesHaveASliceForEachSizeThatTheyBegin) {
    for (const auto& [bytes, slices] : std::vector<std::pair<uint64_t, uint64_t>>{{0, 0},
                                                                                  {1, 1},
                                                                                  {SIZE - 1, 1},
                                                                                  {SIZE, 1},
                                                                                  {SIZE + 1, 2},
                                                                                  {2 * SIZE - 1, 2},
                                                                                  {2 * SIZE, 2},
                                                                                  {2 * SIZE + 1, 3},
                                                                                  {SIZE << 32, uint64_t(1) << 32}}) {
        const SlicePlan plan({makeCut(bytes)}, 2);
        EXPECT_EQ(slices, plan.getNumberOfSlices()) << bytes;
        EXPECT_EQ(slices, plan.getFirstSlice(1)) << bytes;
    }
}

TEST(SlicePlanTest, otherFilesAreASliceOfAnySize) {
    for (const uint64_t bytes : {uint64_t(0), uint64_t(1), SIZE, 100 * SIZE}) {
        const SlicePlan plan({makeWhole(bytes)}, 2);
        EXPECT_EQ(1u, plan.getNumberOfSlices()) << bytes;
        EXPECT_EQ((Places{{0, 0}}), getPlaces(plan)) << bytes;
    }
}

TEST(SlicePlanTest, slicesAreNumberedThroughInTheOrderOfTheInput) {
    const SlicePlan plan({makeCut(0), makeCut(2 * SIZE + 1), makeCut(0), makeCut(0), makeWhole(0), makeCut(SIZE),
                          makeWhole(3 * SIZE), makeCut(0)},
                         2);
    EXPECT_EQ((Places{{1, 0}, {1, 1}, {1, 2}, {4, 0}, {5, 0}, {6, 0}}), getPlaces(plan));
    const std::vector<uint64_t> firstSlices{0, 0, 3, 3, 3, 4, 5, 6, 6};
    for (size_t index = 0; index < firstSlices.size(); ++index)
        EXPECT_EQ(firstSlices[index], plan.getFirstSlice(index)) << index;
    EXPECT_EQ(6u, plan.getNumberOfSlices());
}

TEST(SlicePlanTest, ranksGetSlicesOfCutFilesByTurnsAcrossFiles) {
    EXPECT_EQ((Owners{0, 1, 2, 0, 1, 2, 0}), getOwners(SlicePlan({makeCut(2 * SIZE), makeCut(5 * SIZE)}, 3)));
    EXPECT_EQ((Owners{0, 0, 0}), getOwners(SlicePlan({makeCut(3 * SIZE)}, 1)));
    EXPECT_EQ((Owners{0, 1, 2}), getOwners(SlicePlan({makeCut(3 * SIZE)}, 100))) << "more ranks than slices";
}

TEST(SlicePlanTest, theLargestWholeFileGoesFirstToTheRankWithTheFewestBytes) {
    // 9 to rank 0, 7 to 1, 6 to 2, 5 to 2 (11), 4 to 1 (11), 1 to 0.
    EXPECT_EQ(
        (Owners{2, 1, 0, 1, 2, 0}),
        getOwners(SlicePlan({makeWhole(5), makeWhole(4), makeWhole(9), makeWhole(7), makeWhole(6), makeWhole(1)}, 3)));
}

TEST(SlicePlanTest, ofEqualFilesTheFirstAndOfEqualRanksTheLowestComesFirst) {
    EXPECT_EQ((Owners{0, 1, 2, 0}), getOwners(SlicePlan({makeWhole(5), makeWhole(5), makeWhole(5), makeWhole(5)}, 3)));
    EXPECT_EQ((Owners{0, 0, 0}), getOwners(SlicePlan({makeWhole(0), makeWhole(0), makeWhole(0)}, 3)))
        << "empty files leave a rank the one with the fewest bytes";
    EXPECT_EQ((Owners{0, 1}), getOwners(SlicePlan({makeWhole(1), makeWhole(1)}, 100)));
}

TEST(SlicePlanTest, filesOfARankGoToItAndCountForIt) {
    const SlicePlan plan({makeCut(3 * SIZE, 1), makeWhole(1, 0), makeWhole(5), makeWhole(4)}, 3);
    EXPECT_EQ((Owners{1, 1, 1, 0, 2, 0}), getOwners(plan));
    EXPECT_EQ((Owners{2, 0, 1}), getOwners(SlicePlan({makeWhole(9, 2), makeWhole(8), makeWhole(7)}, 3)));
}

TEST(SlicePlanTest, cutFilesOfAllRanksDoNotCountForAny) {
    EXPECT_EQ((Owners{0, 0, 1}), getOwners(SlicePlan({makeCut(SIZE), makeWhole(2), makeWhole(1)}, 2)));
}

TEST(SlicePlanTest, whereItCutsDependsOnTheInputAlone) {
    const std::vector<Input> inputs{makeCut(7 * SIZE + 1), makeWhole(3), makeCut(SIZE), makeWhole(9), makeCut(0)};
    const Places places = getPlaces(SlicePlan(inputs, 1));
    EXPECT_EQ(11u, places.size());
    for (uint32_t ranks = 2; ranks < 20; ++ranks) {
        const SlicePlan plan(inputs, ranks);
        EXPECT_EQ(places, getPlaces(plan)) << ranks;
        for (const uint32_t owner : getOwners(plan))
            EXPECT_LT(owner, ranks);
    }
}

} // namespace
