#include "tools/melnar-dict/load/DistinctEstimator.h"

#include "tools/melnar-dict/load/UnitCounts.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <random>
#include <set>

namespace {

/// Terms of five bytes that occur in units.
class Samples {
public:
    void startUnit() { m_units.startUnit(); }

    void take(const uint64_t resourceID) {
        m_units.take(resourceID);
        m_resourceIDs.insert(resourceID);
    }

    DistinctEstimator::Estimate extrapolate(const double share) const {
        DistinctEstimator estimator(m_units.getNumberOfUnits());
        for (const uint64_t resourceID : m_resourceIDs)
            estimator.take(m_units.getNumberOfUnits(resourceID), 5, 7);
        return estimator.extrapolate(share);
    }

private:
    UnitCounts m_units;
    std::set<uint64_t> m_resourceIDs;
};

TEST(DistinctEstimatorTest, countsExactlyWhenEverythingWasSeen) {
    DistinctEstimator estimator(2);
    estimator.take(2, 10, 12);
    estimator.take(1, 200, 203);
    const DistinctEstimator::Estimate estimate = estimator.extrapolate(1);
    EXPECT_EQ(2, estimate.m_number);
    EXPECT_EQ(210, estimate.m_textBytes);
    EXPECT_EQ(12 + 203, estimate.m_chunkBytes);
    EXPECT_EQ(0, DistinctEstimator(0).extrapolate(0.5).m_number);
}

TEST(DistinctEstimatorTest, assumesThatUnseenTermsAreAsLongAsThoseOfOneUnit) {
    DistinctEstimator estimator(2);
    estimator.take(2, 1000, 1003);
    estimator.take(1, 10, 12);
    const DistinctEstimator::Estimate estimate = estimator.extrapolate(0.5);
    ASSERT_GT(estimate.m_number, 2);
    EXPECT_NEAR(1010 + (estimate.m_number - 2) * 10, estimate.m_textBytes, 1e-6);
    EXPECT_NEAR(1015 + (estimate.m_number - 2) * 12, estimate.m_chunkBytes, 1e-6);
}

TEST(DistinctEstimatorTest, isExactForLiteralsOfOneUnitEach) {
    Samples samples;
    for (uint64_t unit = 0; unit < 10; ++unit) {
        samples.startUnit();
        for (uint64_t number = 0; number < 100; ++number) {
            samples.take(unit * 100 + number + 1);
            samples.take(unit * 100 + number + 1);
        }
    }
    EXPECT_NEAR(10'000, samples.extrapolate(0.1).m_number, 1e-6);
    EXPECT_NEAR(50'000, samples.extrapolate(0.1).m_textBytes, 1e-6);
}

TEST(DistinctEstimatorTest, isExactForLiteralsOfAllUnits) {
    Samples samples;
    for (uint64_t unit = 0; unit < 10; ++unit) {
        samples.startUnit();
        for (uint64_t resourceID = 1; resourceID <= 100; ++resourceID)
            samples.take(resourceID);
    }
    EXPECT_EQ(100, samples.extrapolate(0.1).m_number);
}

TEST(DistinctEstimatorTest, makesDoWithOneUnit) {
    Samples samples;
    samples.startUnit();
    samples.take(1);
    EXPECT_NEAR(4, samples.extrapolate(0.25).m_number, 1e-9);
}

TEST(DistinctEstimatorTest, isNearForDrawsFromAPool) {
    constexpr uint64_t POOL = 20'000;
    constexpr int UNITS = 400;
    std::mt19937_64 random(1); // NOLINT(cert-msc51-cpp): the same numbers each time
    Samples samples;
    std::set<uint64_t> distinct;
    for (int unit = 0; unit < UNITS; ++unit) {
        if (unit % 4 == 0)
            samples.startUnit();
        for (int draw = 0; draw < 100; ++draw) {
            const uint64_t resourceID = random() % POOL + 1;
            distinct.insert(resourceID);
            if (unit % 4 == 0)
                samples.take(resourceID);
        }
    }
    const auto expected = static_cast<double>(distinct.size());
    EXPECT_NEAR(expected, samples.extrapolate(0.25).m_number, 0.2 * expected);
}

} // namespace
