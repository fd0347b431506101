#include "tools/melnar-dict-mpi/RankRows.h"

#include "Engine/core/platform/MelnarException.h"
#include "tests/support/CaughtException.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict-mpi/OnlyRank.h"
#include "tests/tools/melnar-dict/load/SpilledBytes.h"
#include "tools/melnar-dict-mpi/SharedRowFile.h"
#include "tools/melnar-dict/rows/NpyHeader.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t NUMBER_OF_COLUMNS = 3;
constexpr uint64_t NUMBER_OF_ROWS = 2;

class RankRowsTest : public testing::Test {
protected:
    RankRowsTest() { m_directory.addFile("rows.npy", ""); }

    static std::string toBytes(const std::vector<uint64_t>& numbers) {
        return {reinterpret_cast<const char*>(numbers.data()), numbers.size() * sizeof(uint64_t)};
    }

    /// Writes the rows of a file that has these bytes, and their checksum.
    void write(const std::string& bytes) const {
        m_directory.addFile("work-rows-0", bytes);
        const std::vector<SpillPrefix> files{getPrefix(bytes)};
        const RankRows rows(m_folder, getOnlyRank(), files);
        SharedRowFile output(m_rowsPath, NUMBER_OF_COLUMNS, sizeof(uint64_t));
        rows.write(files, NUMBER_OF_COLUMNS, NUMBER_OF_ROWS, output);
    }

    const TemporaryDirectory m_directory;
    const std::string m_folder = std::filesystem::path(m_directory.getPathOf("file")).parent_path();
    const std::string m_rowsPath = m_directory.getPathOf("rows.npy");
};

TEST_F(RankRowsTest, piecesInAnyOrderAreWrittenToTheirPlaces) {
    write(toBytes({1, 3, 4, 5, 6, 2, 0, 0, 3, 1, 2, 3}));
    EXPECT_EQ(toBytes({1, 2, 3, 4, 5, 6}), TemporaryDirectory::getContentsOf(m_rowsPath).substr(NpyHeader::SIZE));
}

// The disk may damage a file after it was verified. The checksums are right here, so that only its numbers tell.
TEST_F(RankRowsTest, impossibleNumbersAreDamageAndNoMemoryIsTakenForThem) {
    constexpr uint64_t LARGEST = UINT64_MAX;
    for (const std::string& bytes : {
             toBytes({0}),                          // less than a piece
             toBytes({0, 3, 1, 2}),                 // fewer cells than the number of them
             toBytes({0, LARGEST, 1, 2, 3}),        // more than there is memory for
             toBytes({0, 2, 1, 2}),                 // not whole rows
             toBytes({NUMBER_OF_ROWS, 3, 1, 2, 3}), // beyond the last row, as are the next three
             toBytes({NUMBER_OF_ROWS + 1, 0}), toBytes({LARGEST, 3, 1, 2, 3}), toBytes({1, 6, 1, 2, 3, 4, 5, 6}),
             toBytes({0, 3, 1, 2, 3}) + std::string(9, 0), // a rest
         }) {
        const auto exception = catchException<MelnarException>([&] { write(bytes); });
        EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
        EXPECT_EQ("File '" + m_directory.getPathOf("work-rows-0") +
                      "' is damaged: it does not contain rows of this load.",
                  exception.getMessage());
    }
}

TEST_F(RankRowsTest, aFileThatIsGoneIsDamage) {
    const auto exception = catchException<MelnarException>([&] {
        const RankRows rows(m_folder, getOnlyRank(), {{8, 0}});
    });
    EXPECT_EQ(FailureKind::DAMAGED_FILE, exception.getKind());
    EXPECT_EQ("File '" + m_directory.getPathOf("work-rows-0") + "' is missing.", exception.getMessage());
}

} // namespace
