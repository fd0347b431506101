#include "tools/melnar-dict/load/DistinctEstimator.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>

namespace {

TEST(DistinctEstimatorTest, countsWhatIsThereWhenAllOfItWasSeen) {
    DistinctEstimator estimator;
    estimator.startUnit();
    estimator.take(7, 10);
    estimator.take(7, 10);
    estimator.startUnit();
    estimator.take(7, 10);
    estimator.take(3, 200);
    const DistinctEstimator::Estimate estimate = estimator.extrapolate(1);
    EXPECT_EQ(2, estimate.m_number);
    EXPECT_EQ(210, estimate.m_textBytes);
    EXPECT_EQ(10 + 2 + 200 + 3, estimate.m_chunkBytes);
    EXPECT_EQ(0, DistinctEstimator().extrapolate(0.5).m_number);
}

TEST(DistinctEstimatorTest, isExactForLiteralsOfOneUnitEach) {
    DistinctEstimator estimator;
    for (uint64_t unit = 0; unit < 10; ++unit) {
        estimator.startUnit();
        for (uint64_t number = 0; number < 100; ++number) {
            estimator.take(unit * 100 + number + 1, 5);
            estimator.take(unit * 100 + number + 1, 5);
        }
    }
    EXPECT_NEAR(10'000, estimator.extrapolate(0.1).m_number, 1e-6);
    EXPECT_NEAR(50'000, estimator.extrapolate(0.1).m_textBytes, 1e-6);
}

TEST(DistinctEstimatorTest, isExactForLiteralsOfAllUnits) {
    DistinctEstimator estimator;
    for (uint64_t unit = 0; unit < 10; ++unit) {
        estimator.startUnit();
        for (uint64_t resourceID = 1; resourceID <= 100; ++resourceID)
            estimator.take(resourceID, 5);
    }
    EXPECT_EQ(100, estimator.extrapolate(0.1).m_number);
}

TEST(DistinctEstimatorTest, makesDoWithOneUnit) {
    DistinctEstimator estimator;
    estimator.startUnit();
    estimator.take(1, 5);
    EXPECT_NEAR(4, estimator.extrapolate(0.25).m_number, 1e-9);
}

TEST(DistinctEstimatorTest, isNearForDrawsFromAPool) {
    constexpr uint64_t POOL = 20'000;
    constexpr int UNITS = 400;
    std::mt19937_64 random(1); // NOLINT(cert-msc51-cpp): the same numbers each time
    DistinctEstimator estimator;
    std::set<uint64_t> distinct;
    for (int unit = 0; unit < UNITS; ++unit) {
        if (unit % 4 == 0)
            estimator.startUnit();
        for (int draw = 0; draw < 100; ++draw) {
            const uint64_t resourceID = random() % POOL + 1;
            distinct.insert(resourceID);
            if (unit % 4 == 0)
                estimator.take(resourceID, 5);
        }
    }
    const auto expected = static_cast<double>(distinct.size());
    EXPECT_NEAR(expected, estimator.extrapolate(0.25).m_number, 0.2 * expected);
}

} // namespace
