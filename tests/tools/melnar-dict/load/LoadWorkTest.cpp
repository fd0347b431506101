#include "tools/melnar-dict/load/LoadWork.h"

#include "tests/support/CaughtException.h"

#include "Engine/core/platform/MelnarException.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

LoadWork makeWork() {
    LoadWork work{.m_task = std::string("task\nwith \0 in it", 16),
                  .m_folderState = "a state",
                  .m_fileIndex = 3,
                  .m_blockIndex = uint64_t(1) << 40};
    work.m_isFull = true;
    work.m_bytesOfRows = 12345;
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        work.m_shards[shard] = {shard * uint64_t(1000), shard % 2 == 0 ? 0 : shard * uint64_t(8), shard % 2 == 1};
    work.m_numberOfRows = uint64_t(1) << 41;
    work.m_bytesOfRowFiles = {0, uint64_t(1) << 42, 5};
    return work;
}

TEST(LoadWorkTest, isReadAsItWasWritten) {
    EXPECT_EQ(LoadWork(), LoadWork::parse(LoadWork().toBytes()));
    const LoadWork work = makeWork();
    EXPECT_EQ(work, LoadWork::parse(work.toBytes()));
    LoadWork other = work;
    other.m_isFull = false;
    EXPECT_EQ(other, LoadWork::parse(other.toBytes()));
    other.m_shards[255].m_isResolved = false;
    EXPECT_NE(other, work);
    EXPECT_EQ(other, LoadWork::parse(other.toBytes()));
}

TEST(LoadWorkTest, rowsOfSeveralProcessesAreAPartOfIt) {
    for (const std::vector<uint64_t>& bytesOfFiles :
         {std::vector<uint64_t>{}, {0}, std::vector<uint64_t>(1000, ~uint64_t(0))}) {
        LoadWork work = makeWork();
        work.m_bytesOfRowFiles = bytesOfFiles;
        EXPECT_EQ(bytesOfFiles, LoadWork::parse(work.toBytes()).m_bytesOfRowFiles);
        LoadWork other = work;
        other.m_numberOfRows = 0;
        EXPECT_NE(work, other);
        EXPECT_EQ(other, LoadWork::parse(other.toBytes()));
        other = work;
        other.m_bytesOfRowFiles.push_back(0);
        EXPECT_NE(work, other);
    }
}

TEST(LoadWorkTest, whatEndsTooEarlyIsRefused) {
    const std::string bytes = makeWork().toBytes();
    for (size_t size = 0; size < bytes.size(); ++size)
        EXPECT_THROW(LoadWork::parse(bytes.substr(0, size)), MelnarException) << size;
}

TEST(LoadWorkTest, bytesAfterTheEndAreRefused) {
    const auto exception =
        catchException<MelnarException>([] { static_cast<void>(LoadWork::parse(makeWork().toBytes() + '\0')); });
    EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
}

TEST(LoadWorkTest, anUntrustedLengthReservesNothing) {
    std::string bytes = makeWork().toBytes();
    bytes.replace(0, 8, 8, '\xFF');
    EXPECT_THROW(LoadWork::parse(bytes), MelnarException);
    bytes = LoadWork().toBytes();
    bytes.replace(bytes.size() - 8, 8, 8, '\xFF'); // the number of files with rows
    EXPECT_THROW(LoadWork::parse(bytes), MelnarException);
}

} // namespace
