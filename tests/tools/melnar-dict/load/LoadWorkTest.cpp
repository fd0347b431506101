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
    work.m_rows = {12345, ~uint64_t(0)};
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        work.m_shards[shard].m_terms = {shard * uint64_t(1000), shard + (uint64_t(1) << 43)};
        work.m_shards[shard].m_isResolved = shard % 2 == 1;
        if (work.m_shards[shard].m_isResolved)
            work.m_shards[shard].m_ids = {shard * uint64_t(8), shard + (uint64_t(1) << 44)};
    }
    work.m_numberOfRows = uint64_t(1) << 41;
    work.m_rowFiles = {{}, {uint64_t(1) << 42, 6}, {5, 7}};
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
    for (const std::vector<SpillPrefix>& files :
         {std::vector<SpillPrefix>{}, {{}}, std::vector<SpillPrefix>(1000, {~uint64_t(0), 1})}) {
        LoadWork work = makeWork();
        work.m_rowFiles = files;
        EXPECT_TRUE(files == LoadWork::parse(work.toBytes()).m_rowFiles);
        LoadWork other = work;
        other.m_numberOfRows = 0;
        EXPECT_NE(work, other);
        EXPECT_EQ(other, LoadWork::parse(other.toBytes()));
        other = work;
        other.m_rowFiles.emplace_back();
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

/// Version 1 began with the task.
TEST(LoadWorkTest, theWorkOfAnotherVersionIsRefused) {
    const std::string bytes = makeWork().toBytes();
    for (const std::string& other : {bytes.substr(8), '\1' + bytes.substr(1), '\3' + bytes.substr(1)}) {
        const auto exception = catchException<MelnarException>([&other] { static_cast<void>(LoadWork::parse(other)); });
        EXPECT_EQ("The unfinished load was saved by another version of this program.", exception.getMessage());
        EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
        EXPECT_EQ("tools/melnar-dict/load/LoadWork", exception.getSourceFileName());
        EXPECT_EQ(52, exception.getSourceLineNumber());
    }
}

TEST(LoadWorkTest, anUntrustedLengthReservesNothing) {
    std::string bytes = makeWork().toBytes();
    bytes.replace(8, 8, 8, '\xFF');
    EXPECT_THROW(LoadWork::parse(bytes), MelnarException);
    bytes = LoadWork().toBytes();
    bytes.replace(bytes.size() - 8, 8, 8, '\xFF'); // the number of files with rows
    EXPECT_THROW(LoadWork::parse(bytes), MelnarException);
}

} // namespace
