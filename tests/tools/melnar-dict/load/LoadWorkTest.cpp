#include "tools/melnar-dict/load/LoadWork.h"

#include "Engine/core/platform/MelnarException.h"

#include <gtest/gtest.h>

#include <string>

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

TEST(LoadWorkTest, whatEndsTooEarlyIsRefused) {
    const std::string bytes = makeWork().toBytes();
    for (size_t size = 0; size < bytes.size(); ++size)
        EXPECT_THROW(LoadWork::parse(bytes.substr(0, size)), MelnarException) << size;
}

TEST(LoadWorkTest, whatGoesOnBehindItsEndIsRefused) {
    EXPECT_THROW(LoadWork::parse(makeWork().toBytes() + '\0'), MelnarException);
}

TEST(LoadWorkTest, aLengthThatNobodyVouchesForReservesNothing) {
    std::string bytes = makeWork().toBytes();
    bytes.replace(0, 8, 8, '\xFF');
    EXPECT_THROW(LoadWork::parse(bytes), MelnarException);
}

} // namespace
