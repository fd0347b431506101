#include "tools/melnar-dict/load/ShardedLoadNeeds.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <gtest/gtest.h>

namespace {

constexpr size_t MEBIBYTE = size_t(1) << 20;

TEST(ShardedLoadNeedsTest, aPartOfTheMemoryIsKeptForGrowth) {
    EXPECT_EQ(10 * MEBIBYTE, ShardedLoadNeeds::getLargestMemory(20 * MEBIBYTE));
    EXPECT_EQ(68 * MEBIBYTE, ShardedLoadNeeds::getLargestMemory(100 * MEBIBYTE));
    EXPECT_EQ(7 * (size_t(1) << 30), ShardedLoadNeeds::getLargestMemory(size_t(8) << 30));
}

TEST(ShardedLoadNeedsTest, theMemoryOfShardsIsThatOfTheirFilesAndMore) {
    ShardManifest manifest;
    const uint64_t empty = ShardedLoadNeeds::predictMemory(manifest);
    EXPECT_LT(4 * MEBIBYTE, empty) << "as 256 dictionaries take without a term";
    manifest.m_shards[3] = {1, 4000, {}, {{D_XSD_STRING, {1, 1}}}};
    EXPECT_EQ(empty + 5000, ShardedLoadNeeds::predictMemory(manifest));
    manifest.m_shards[4] = {1, 4000, {}, {{D_IRI, {1, 1}}}};
    EXPECT_EQ(empty + 10000 + 240 * 1024, ShardedLoadNeeds::predictMemory(manifest));
}

TEST(ShardedLoadNeedsTest, asManyThreadsResolveAsShardsAndCopiesFit) {
    EXPECT_EQ(8u, ShardedLoadNeeds::getNumberOfResolvers(8, 0, 100));
    EXPECT_EQ(8u, ShardedLoadNeeds::getNumberOfResolvers(8, 6, 100));
    EXPECT_EQ(7u, ShardedLoadNeeds::getNumberOfResolvers(8, 7, 100));
    EXPECT_EQ(1u, ShardedLoadNeeds::getNumberOfResolvers(8, 50, 100));
    EXPECT_EQ(1u, ShardedLoadNeeds::getNumberOfResolvers(8, 1000, 100)) << "one tries it in any case";
}

TEST(ShardedLoadNeedsTest, theDiskHasNewShardsRowsAndSpilledData) {
    LoadEstimate estimate;
    estimate.m_counts.m_statements = 10;
    estimate.m_size = {50 * MEBIBYTE, 1000};
    estimate.m_spillBytes = 70000;
    ShardManifest manifest;
    EXPECT_EQ(1000u, ShardedLoadNeeds::predictDiskBytes(estimate, manifest, 0, false, 100 * MEBIBYTE));
    EXPECT_EQ(1000u + 10 * 3 * 8, ShardedLoadNeeds::predictDiskBytes(estimate, manifest, 3, false, 100 * MEBIBYTE));
    EXPECT_EQ(1000u + 10 * 4 * 8, ShardedLoadNeeds::predictDiskBytes(estimate, manifest, 4, false, 100 * MEBIBYTE));
    EXPECT_EQ(72000u, ShardedLoadNeeds::predictDiskBytes(estimate, manifest, 0, true, 100 * MEBIBYTE));
    EXPECT_EQ(72000u, ShardedLoadNeeds::predictDiskBytes(estimate, manifest, 0, false, 60 * MEBIBYTE))
        << "as more than the limit leaves is needed";
    manifest.m_shards[0].m_fileBytes = 200;
    manifest.m_shards[255].m_fileBytes = 3;
    EXPECT_EQ(1203u, ShardedLoadNeeds::predictDiskBytes(estimate, manifest, 0, false, 100 * MEBIBYTE));
}

} // namespace
