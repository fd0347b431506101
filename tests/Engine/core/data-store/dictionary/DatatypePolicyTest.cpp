#include "Engine/core/data-store/dictionary/DatatypePolicy.h"

#include <gtest/gtest.h>

#include <cstdint>

TEST(DatatypePolicyTest, markersOfWideBucketsSitJustBelowTheTopBit) {
    using Policy = DatatypePolicy<uint64_t>;
    EXPECT_EQ(0u, Policy::EMPTY_BUCKET + 0);
    EXPECT_EQ(0x7FFFFFFFFFFFFFFEu, Policy::BUCKET_IN_PROGRESS + 0);
    EXPECT_EQ(0x7FFFFFFFFFFFFFFFu, Policy::BUCKET_DELETED + 0);
    EXPECT_EQ(8u, sizeof(Policy::Bucket));
}

TEST(DatatypePolicyTest, markersOfNarrowBucketsAreTheLargestValues) {
    using Policy = DatatypePolicy<uint32_t>;
    EXPECT_EQ(0u, Policy::EMPTY_BUCKET + 0);
    EXPECT_EQ(0xFFFFFFFEu, Policy::BUCKET_IN_PROGRESS + 0);
    EXPECT_EQ(0xFFFFFFFFu, Policy::BUCKET_DELETED + 0);
    EXPECT_EQ(4u, sizeof(Policy::Bucket));
}
