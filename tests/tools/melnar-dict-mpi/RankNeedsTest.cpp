#include "tools/melnar-dict-mpi/RankNeeds.h"

#include <gtest/gtest.h>

namespace {

TEST(RankNeedsTest, ranksOfAMachineShareWhatOneProcessWouldGet) {
    EXPECT_EQ(MemoryLimit::getDefault(), RankNeeds::getLimit(0, 1));
    EXPECT_EQ(MemoryLimit::getDefault() / 4, RankNeeds::getLimit(0, 4));
    EXPECT_EQ(uint64_t(5), RankNeeds::getLimit(5, 4)) << "is that of each rank";
}

} // namespace
