#include "tools/melnar-dict-mpi/FileSlices.h"

#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestSeeds.h"
#include "tests/tools/melnar-dict/input/SourceText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <random>
#include <string>
#include <vector>

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;
using Texts = std::vector<std::string>;

constexpr size_t SIZE = SlicePlan::SLICE_SIZE;

/// Makes a line of this size, including its end.
std::string makeLine(const size_t size, const char byte = 'x') {
    return size == 0 ? "" : std::string(size - 1, byte) + '\n';
}

/// Returns where a slice of a text starts, by definition.
size_t findBegin(const std::string& text, const uint64_t index) {
    const size_t place = std::min<size_t>(index * SIZE, text.size());
    if (place == 0 || place == text.size() || text[place - 1] == '\n')
        return place;
    const size_t end = text.find('\n', place);
    return end == std::string::npos ? text.size() : end + 1;
}

class FileSlicesTest : public testing::Test {
protected:
    SlicePlan::Input addFile(const std::string& text) const {
        return {m_directory.addFile("a.nt", text), RdfFormat::N_TRIPLES, text.size(), true, SlicePlan::ANY_RANK};
    }

    Texts readSlices(const std::string& text, const uint32_t rank = 0, const uint32_t numberOfRanks = 1,
                     const size_t bytesAtOnce = SIZE) {
        const SlicePlan::Input input = addFile(text);
        FileSlices slices(input, m_bytesRead);
        Texts texts;
        const uint64_t numberOfSlices = SlicePlan({input}, 1).getNumberOfSlices();
        for (uint64_t index = rank; index < numberOfSlices; index += numberOfRanks)
            texts.push_back(readAll(*slices.open(index), bytesAtOnce));
        return texts;
    }

    /// EXPECT_EQ would print megabytes.
    void expectSlices(const std::string& text, const Texts& expected) {
        m_bytesRead = 0;
        const Texts texts = readSlices(text);
        ASSERT_EQ(expected.size(), texts.size());
        for (size_t index = 0; index < texts.size(); ++index)
            EXPECT_TRUE(expected[index] == texts[index])
                << index << ": " << expected[index].size() << " and " << texts[index].size() << " bytes";
        EXPECT_EQ(text.size(), m_bytesRead);
    }

    const TemporaryDirectory m_directory;
    std::atomic<uint64_t> m_bytesRead = 0;
};

TEST_F(FileSlicesTest, smallFilesAreASlice) {
    expectSlices("", {});
    for (const std::string text : {"a", "\n", "a\n", "a\nb", "\r", "a\rb\r", "\n\n\n"})
        expectSlices(text, {text});
}

TEST_F(FileSlicesTest, anEmptyFileHasAnEmptySliceForWhoAsks) {
    FileSlices slices(addFile(""), m_bytesRead);
    EXPECT_EQ("", readAll(*slices.open(0)));
    EXPECT_EQ("", readAll(*slices.open(5)));
}

TEST_F(FileSlicesTest, aLineBelongsToTheSliceInWhichItBegins) {
    const std::string begin = makeLine(10);
    const std::string end = makeLine(20, 'e');
    // The line in the middle ends one byte before the boundary of two slices, at the boundary, and one byte after it.
    for (const size_t length : {SIZE - 11, SIZE - 10, SIZE - 9}) {
        const std::string middle = makeLine(length, 'm');
        const bool isBefore = begin.size() + middle.size() < SIZE;
        const std::string next = isBefore ? makeLine(3, 'n') : "";
        expectSlices(begin + middle + next + end, {begin + middle + next, end});
    }
}

TEST_F(FileSlicesTest, aFileOfWholeSlicesHasNoMore) {
    const std::string line = makeLine(SIZE);
    expectSlices(line, {line});
    expectSlices(line + line, {line, line});
    expectSlices(line + line + '\n', {line, line, "\n"});
    expectSlices(line + line + 'x', {line, line, "x"});
}

TEST_F(FileSlicesTest, withoutALastLineEndTheRestIsALine) {
    const std::string text(SIZE + 1, 'x');
    expectSlices(text, {text, ""});
    expectSlices(text.substr(1), {text.substr(1)});
    expectSlices("a\n" + text, {"a\n" + text, ""});
    expectSlices(makeLine(SIZE - 1) + text, {makeLine(SIZE - 1) + text, ""});
}

TEST_F(FileSlicesTest, slicesWithinALongLineAreEmpty) {
    const std::string longLine = makeLine(4 * SIZE, 'l');
    expectSlices(longLine, {longLine, "", "", ""});
    expectSlices('\n' + longLine + "e\n", {'\n' + longLine, "", "", "", "e\n"});
    expectSlices(longLine.substr(1) + "e\n", {longLine.substr(1), "", "", "e\n", ""});
    expectSlices(makeLine(SIZE) + longLine + "e\n", {makeLine(SIZE), longLine, "", "", "", "e\n"});
}

TEST_F(FileSlicesTest, everyLineFeedEndsALine) {
    const std::string lineFeeds(2 * SIZE + 5, '\n');
    expectSlices(lineFeeds, {std::string(SIZE, '\n'), std::string(SIZE, '\n'), std::string(5, '\n')});
}

TEST_F(FileSlicesTest, carriageReturnsDoNotEndASlice) {
    const std::string carriageReturns(SIZE + 5, '\r');
    expectSlices(carriageReturns, {carriageReturns, ""});
    const std::string line = std::string(SIZE - 1, 'x') + "\r\n"; // the end's two bytes are on both sides
    expectSlices(line + "e\r\n", {line, "e\r\n"});
}

TEST_F(FileSlicesTest, slicesTogetherAreTheFileForAnyRanks) {
    for (const uint32_t seed : getTestSeeds(10)) {
        SCOPED_TRACE(describeSeed(seed));
        std::mt19937 random(seed);
        std::string text;
        while (text.size() < 3 * SIZE + random() % SIZE) {
            const size_t longest = std::vector<size_t>{2, 100'000, SIZE / 2, 2 * SIZE}[random() % 4];
            text += makeLine(1 + random() % longest, static_cast<char>('a' + random() % 26));
        }
        if (random() % 2 == 0)
            text.pop_back();
        for (uint32_t ranks = 1; ranks <= 3; ++ranks)
            for (uint32_t rank = 0; rank < ranks; ++rank) {
                const Texts texts = readSlices(text, rank, ranks, 1 + random() % (2 * SIZE));
                for (size_t number = 0; number < texts.size(); ++number) {
                    const uint64_t index = rank + number * ranks;
                    const size_t begin = findBegin(text, index);
                    EXPECT_TRUE(text.substr(begin, findBegin(text, index + 1) - begin) == texts[number])
                        << index << " with " << ranks << " ranks";
                }
            }
    }
}

TEST_F(FileSlicesTest, anyOrderOfSlicesGivesTheSame) {
    const std::string text = makeLine(SIZE / 2) + makeLine(3 * SIZE) + makeLine(SIZE / 2) + makeLine(SIZE);
    const SlicePlan::Input input = addFile(text);
    FileSlices slices(input, m_bytesRead);
    for (const uint64_t index : {4u, 0u, 2u, 1u, 3u, 3u, 0u, 4u, 1u}) {
        const size_t begin = findBegin(text, index);
        EXPECT_TRUE(text.substr(begin, findBegin(text, index + 1) - begin) == readAll(*slices.open(index))) << index;
    }
}

/// To find the end of a long line, each rank that has any of its slices examines each byte once, and reads it once.
TEST_F(FileSlicesTest, aLongLineIsSearchedOnce) {
    const std::string text = makeLine(16 * SIZE);
    const SlicePlan::Input input = addFile(text);
    for (const uint32_t ranks : {1u, 3u})
        for (uint32_t rank = 0; rank < ranks; ++rank) {
            SystemCallFaults reads(Call::PREAD);
            FileSlices slices(input, m_bytesRead);
            size_t readsOfSlices = 0;
            for (uint64_t index = rank; index < 16; index += ranks) {
                const auto source = slices.open(index);
                const size_t before = reads.getNumberOfCalls();
                EXPECT_EQ(index == 0 ? text.size() : 0, readAll(*source, SIZE).size());
                readsOfSlices += reads.getNumberOfCalls() - before;
            }
            EXPECT_LE(reads.getNumberOfCalls() - readsOfSlices, text.size() / 4096 + 1) << rank << " of " << ranks;
        }
}

TEST_F(FileSlicesTest, whatTheFileGainsIsNotRead) {
    const SlicePlan::Input input = addFile(makeLine(SIZE) + "a");
    m_directory.addFile("a.nt", makeLine(SIZE) + "ab\nc\n");
    FileSlices slices(input, m_bytesRead);
    EXPECT_EQ(SIZE, readAll(*slices.open(0)).size());
    EXPECT_EQ("a", readAll(*slices.open(1)));
    EXPECT_EQ("", readAll(*slices.open(2)));
}

TEST_F(FileSlicesTest, aShorterFileFailsWhereItEnds) {
    const SlicePlan::Input input = addFile(makeLine(10) + makeLine(3 * SIZE));
    std::filesystem::resize_file(input.m_name, 5);
    FileSlices slices(input, m_bytesRead);
    for (const uint64_t index : {0u, 1u, 2u}) {
        const auto failure = catchException<ToolFailure>([&] { slices.open(index); });
        EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
        EXPECT_STREQ("the file became shorter while it was being read", failure.what());
    }
}

TEST_F(FileSlicesTest, aFileThatBecomesShorterFailsAfterWhatItHas) {
    const SlicePlan::Input input = addFile(makeLine(1000));
    FileSlices slices(input, m_bytesRead);
    const auto source = slices.open(0);
    std::filesystem::resize_file(input.m_name, 600);
    std::string text;
    EXPECT_THROW(readInto(text, *source, 500), ToolFailure);
    EXPECT_EQ(std::string(600, 'x'), text);
    EXPECT_EQ(600u, m_bytesRead);
}

TEST_F(FileSlicesTest, aFileThatIsGoneFailsEachTime) {
    SlicePlan::Input input = addFile(makeLine(2 * SIZE));
    std::filesystem::remove(input.m_name);
    FileSlices slices(input, m_bytesRead);
    for (const uint64_t index : {0u, 1u}) {
        const auto failure = catchException<ToolFailure>([&] { slices.open(index); });
        EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
        EXPECT_STREQ(std::strerror(ENOENT), failure.what());
    }
    addFile(makeLine(2 * SIZE));
    EXPECT_EQ(2 * SIZE, readAll(*slices.open(0)).size()) << "nothing of the failure stays";
}

TEST_F(FileSlicesTest, eachReadThatFailsIsReported) {
    const std::string text = makeLine(SIZE + 10'000) + makeLine(10'000);
    const SlicePlan::Input input = addFile(text);
    size_t allowed = 0;
    for (bool hasFailed = true; hasFailed; ++allowed) {
        FileSlices slices(input, m_bytesRead);
        SystemCallFaults reads(Call::PREAD);
        reads.failAfter(allowed, EIO, Duration::ONCE);
        hasFailed = false;
        try {
            readAll(*slices.open(0), SIZE);
        } catch (const ToolFailure& failure) {
            hasFailed = true;
            EXPECT_EQ(ExitCode::FAILURE, failure.getExitCode());
            EXPECT_STREQ(std::strerror(EIO), failure.what());
            EXPECT_TRUE(text.substr(0, SIZE + 10'000) == readAll(*slices.open(0))) << "the next reads succeed";
        }
    }
    EXPECT_GT(allowed, 4u) << "there were reads to look for the end, and such of the slice";
}

TEST_F(FileSlicesTest, interruptedAndShortReadsAreContinued) {
    const std::string text = makeLine(SIZE + 10'000) + makeLine(10'000);
    const SlicePlan::Input input = addFile(text);
    SystemCallFaults reads(Call::PREAD);
    reads.shortenTo(999);
    for (size_t allowed = 0; allowed < 20; ++allowed) {
        FileSlices slices(input, m_bytesRead);
        reads.failAfter(allowed, EINTR, Duration::ONCE);
        EXPECT_TRUE(text.substr(0, SIZE + 10'000) == readAll(*slices.open(0)));
    }
    EXPECT_EQ(20u, reads.getNumberOfFailures());
}

TEST_F(FileSlicesTest, theFileIsClosed) {
    const SlicePlan::Input input = addFile("a");
    SystemCallFaults closings(Call::CLOSE);
    {
        FileSlices slices(input, m_bytesRead);
        slices.open(0);
        slices.open(0);
    }
    EXPECT_EQ(1u, closings.getNumberOfCalls());
    { const FileSlices unused(input, m_bytesRead); }
    EXPECT_EQ(1u, closings.getNumberOfCalls());
}

} // namespace
