#include "tools/melnar-dict/load/UnitCounts.h"

#include <gtest/gtest.h>

namespace {

TEST(UnitCountsTest, countATermOnceAUnit) {
    UnitCounts counts;
    EXPECT_EQ(0u, counts.getNumberOfUnits());
    counts.startUnit();
    counts.take(7);
    counts.take(7);
    counts.startUnit();
    counts.take(3);
    counts.take(7);
    counts.startUnit();
    EXPECT_EQ(3u, counts.getNumberOfUnits());
    EXPECT_EQ(2u, counts.getNumberOfUnits(7));
    EXPECT_EQ(1u, counts.getNumberOfUnits(3));
}

} // namespace
