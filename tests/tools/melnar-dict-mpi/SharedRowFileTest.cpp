#include "tools/melnar-dict-mpi/SharedRowFile.h"

#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestSeeds.h"
#include "tools/melnar-dict/rows/NpyFile.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <span>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

namespace {

using Call = SystemCallFaults::Call;
using Duration = SystemCallFaults::Duration;

class SharedRowFileTest : public testing::Test {
protected:
    SharedRowFileTest() { m_history.add(2, {1, 2}); }

    static std::vector<uint64_t> makeCells(const size_t number, const uint64_t first) {
        std::vector<uint64_t> cells;
        for (uint64_t index = 0; index < number; ++index)
            cells.push_back(first + index);
        return cells;
    }

    /// Makes a file with rows that an action writes.
    template<class Action>
    std::string make(const RowLayout& layout, const Action& writeRows) {
        OutputLock lock(m_path, false, m_errorOutput);
        OutputFile file(lock);
        NpyFile npy(file, layout);
        writeRows(file, npy);
        npy.prepare(m_history);
        file.commit();
        return TemporaryDirectory::getContentsOf(m_path);
    }

    /// Returns the file that one process makes in a single call.
    std::string makeExpected(const RowLayout& layout, const std::vector<uint64_t>& cells) {
        return make(layout, [&](OutputFile&, NpyFile& npy) {
            std::string bytes;
            appendIDs(cells, layout.m_idWidth, bytes);
            npy.getStream().write(bytes.data(), bytes.size());
        });
    }

    std::ostringstream m_errorOutput;
    DictionaryHistory m_history;
    const TemporaryDirectory m_directory;
    const std::string m_path = m_directory.getPathOf("rows.npy");
};

TEST_F(SharedRowFileTest, rowsInAnyOrderByTwoMakeTheFileOfOne) {
    constexpr size_t ROWS = 1000;
    for (const uint32_t seed : getTestSeeds(3))
        for (const RowLayout layout : {RowLayout{3, 4}, RowLayout{3, 8}, RowLayout{4, 4}, RowLayout{4, 8}}) {
            SCOPED_TRACE(describeSeed(seed) + ": " + std::to_string(layout.m_columns) + " columns of " +
                         std::to_string(layout.m_idWidth) + " bytes");
            std::mt19937 random(seed);
            const uint64_t last = layout.m_idWidth == RowLayout::NARROW ? UINT32_MAX : UINT64_MAX;
            const size_t numberOfCells = ROWS * layout.m_columns;
            const std::vector<uint64_t> cells = makeCells(numberOfCells, last - numberOfCells + 1);
            std::vector<std::pair<size_t, size_t>> parts; // first row and number of rows
            for (size_t row = 0; row < ROWS; row += parts.back().second)
                parts.emplace_back(row, std::min<size_t>(random() % 50, ROWS - row)); // or none
            std::ranges::shuffle(parts, random);
            const std::string made = make(layout, [&](OutputFile& file, NpyFile& npy) {
                file.getStream().flush();
                const std::string& fileName = file.getTemporaryFileName();
                std::array<SharedRowFile, 2> files{SharedRowFile(fileName, layout.m_columns, layout.m_idWidth),
                                                   SharedRowFile(fileName, layout.m_columns, layout.m_idWidth)};
                for (const auto& [row, number] : parts)
                    files[random() % 2].write(
                        row, std::span(cells).subspan(row * layout.m_columns, number * layout.m_columns));
                for (SharedRowFile& shared : files)
                    shared.synchronize();
                npy.noteRows(ROWS);
            });
            EXPECT_TRUE(makeExpected(layout, cells) == made);
        }
}

TEST_F(SharedRowFileTest, rowsBeyondFourGibibytesHaveTheirPlace) {
    constexpr uint64_t ROW = uint64_t(1) << 31;
    m_directory.addFile("rows.npy", "");
    SharedRowFile file(m_path, 3, 8);
    file.write(ROW, makeCells(3, 7));
    ASSERT_EQ(256 + (ROW + 1) * 24, std::filesystem::file_size(m_path));
    std::ifstream input(m_path, std::ios::binary);
    std::string bytes(24, '\0');
    input.seekg(256 + ROW * 24);
    input.read(bytes.data(), 24);
    std::string expected;
    appendIDs(makeCells(3, 7), 8, expected);
    EXPECT_EQ(expected, bytes);
}

TEST_F(SharedRowFileTest, aFileThatIsNotThereIsNotMade) {
    const auto failure = catchException<SystemCallException>([&] { SharedRowFile(m_path, 3, 8); });
    EXPECT_EQ(ENOENT, failure.getErrorCode());
    EXPECT_NE(std::string::npos, std::string(failure.what()).find("Cannot open file '" + m_path + "'"));
    EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(SharedRowFileTest, writesThatFallShortOrAreInterruptedContinue) {
    const std::vector<uint64_t> cells = makeCells(300, 1);
    const std::string made = make({3, 8}, [&](OutputFile& file, NpyFile& npy) {
        file.getStream().flush();
        SharedRowFile shared(file.getTemporaryFileName(), 3, 8);
        {
            SystemCallFaults faults(Call::PWRITE);
            faults.shortenTo(7);
            faults.failAfter(3, EINTR, Duration::ONCE);
            shared.write(0, cells);
            EXPECT_GT(faults.getNumberOfCalls(), 300u);
            EXPECT_EQ(1u, faults.getNumberOfFailures());
        }
        SystemCallFaults faults(Call::FDATASYNC);
        faults.failAfter(0, EINTR, Duration::ONCE);
        shared.synchronize();
        EXPECT_EQ(2u, faults.getNumberOfCalls());
        npy.noteRows(100);
    });
    EXPECT_TRUE(makeExpected({3, 8}, cells) == made);
}

TEST_F(SharedRowFileTest, aDiskThatIsFullIsReportedWithTheName) {
    m_directory.addFile("rows.npy", "");
    SharedRowFile file(m_path, 3, 8);
    const auto expect = [&](const Call call, const int errorCode, const std::string& message, const auto& action) {
        SystemCallFaults faults(call);
        faults.failAfter(0, errorCode, Duration::ONCE);
        const auto failure = catchException<SystemCallException>(action);
        EXPECT_EQ(errorCode, failure.getErrorCode());
        EXPECT_NE(std::string::npos, std::string(failure.what()).find(message)) << failure.what();
    };
    expect(Call::PWRITE, ENOSPC, "Cannot write file '" + m_path + "'.", [&] { file.write(0, makeCells(3, 1)); });
    EXPECT_EQ(0u, std::filesystem::file_size(m_path));
    expect(Call::FDATASYNC, EIO, "Cannot write file '" + m_path + "' to the disk.", [&] { file.synchronize(); });
    file.write(0, makeCells(3, 1));
    EXPECT_EQ(256u + 24, std::filesystem::file_size(m_path)) << "it continues when there is room again";
}

TEST_F(SharedRowFileTest, anIDThatIsTooWideWritesNothing) {
    m_directory.addFile("rows.npy", "");
    SharedRowFile file(m_path, 3, 4);
    catchException<ToolFailure>([&] { file.write(0, std::vector<uint64_t>{1, uint64_t(1) << 32, 2}); });
    EXPECT_EQ(0u, std::filesystem::file_size(m_path));
    file.write(0, makeCells(3, 1));
    EXPECT_EQ(256u + 12, std::filesystem::file_size(m_path)) << "without a trace of the row that failed";
}

} // namespace
