#include "tools/melnar-dict/rows/RowReader.h"

#include "tests/support/CaughtException.h"
#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

std::string makeFile(const NpyHeader& header, const std::vector<uint64_t>& ids) {
    std::string bytes = header.toBytes();
    appendIDs(ids, header.m_layout.m_idWidth, bytes);
    return bytes;
}

std::vector<uint64_t> makeIDs(const size_t number) {
    std::vector<uint64_t> ids;
    for (size_t index = 0; index < number; ++index)
        ids.push_back(index * 7);
    return ids;
}

/// Reads all IDs of a file.
std::vector<uint64_t> readAll(const std::string& bytes, const size_t blockSize) {
    RowReader reader(std::make_unique<TextSource>(bytes, 1000), blockSize);
    std::vector<uint64_t> all;
    std::vector<uint64_t> ids;
    RowBlock block;
    for (uint64_t sequence = 0; reader.next(block); ++sequence) {
        EXPECT_EQ(sequence, block.m_sequence);
        EXPECT_EQ(all.size() / reader.getHeader().m_layout.m_columns, block.m_firstRow);
        reader.takeIDs(block, ids);
        all.insert(all.end(), ids.begin(), ids.end());
        EXPECT_EQ(sequence + 1, reader.getNumberOfBlocks());
    }
    return all;
}

std::string getRefusal(const std::string& bytes) {
    const auto failure = catchException<ToolFailure>([&] { readAll(bytes, 1000); });
    EXPECT_EQ(ExitCode::BAD_DATA, failure.getExitCode());
    return failure.what();
}

TEST(RowReaderTest, givesTheRowsInBlocksOfAnySize) {
    for (const size_t columns : {3u, 4u})
        for (const size_t width : {4u, 8u})
            for (const bool isSigned : {false, true})
                for (const size_t rows : {0u, 1u, 1000u})
                    for (const size_t blockSize : {1u, 100u, 1000000u}) {
                        const std::vector<uint64_t> ids = makeIDs(rows * columns);
                        EXPECT_EQ(ids, readAll(makeFile({{columns, width}, isSigned, rows, "# x"}, ids), blockSize));
                    }
}

TEST(RowReaderTest, readsLaterVersionsToo) {
    const std::vector<uint64_t> ids = makeIDs(3);
    const std::string text = "{'descr': '<u4', 'fortran_order': False, 'shape': (1, 3), }\n";
    std::string rows;
    appendIDs(ids, 4, rows);
    for (const char version : {'\2', '\3'}) {
        const std::string file = std::string("\x93NUMPY") + version + std::string("\0", 1) +
                                 static_cast<char>(text.size()) + std::string("\0\0\0", 3) + text + rows;
        EXPECT_EQ(ids, readAll(file, 100));
    }
}

TEST(RowReaderTest, whatIsNoSuchFileIsRefused) {
    const std::string sound = makeFile({{3, 4}, false, 5, ""}, makeIDs(15));
    EXPECT_EQ("it is not a .npy file; decode --as iri reads encoded statements", getRefusal(""));
    EXPECT_EQ("it is not a .npy file; decode --as iri reads encoded statements", getRefusal("\x93NUM"));
    EXPECT_EQ("it is not a .npy file; decode --as iri reads encoded statements",
              getRefusal("<urn:s> <urn:p> <urn:o> .\n"));
    std::string changed = sound;
    changed[6] = 4;
    EXPECT_EQ("it is of version 4 of the .npy format; expected 1, 2 or 3", getRefusal(changed));
    EXPECT_EQ("it ends within its header", getRefusal(sound.substr(0, 9)));
    EXPECT_EQ("it ends within its header", getRefusal(sound.substr(0, 255)));
    EXPECT_EQ("its header has 4294967295 bytes; expected at most 65535",
              getRefusal(std::string("\x93NUMPY\3\0\xFF\xFF\xFF\xFF", 12)));
}

TEST(RowReaderTest, theSizeMustBeThatOfTheShape) {
    const std::string sound = makeFile({{3, 4}, false, 5, ""}, makeIDs(15));
    EXPECT_EQ("it ends after 0 of the 5 rows that its header states", getRefusal(sound.substr(0, 256)));
    EXPECT_EQ("it ends after 4 of the 5 rows that its header states", getRefusal(sound.substr(0, sound.size() - 1)));
    EXPECT_EQ("more bytes follow the 5 rows that its header states", getRefusal(sound + '\0'));
}

TEST(RowReaderTest, anErrorIsReportedOnce) {
    const std::string sound = makeFile({{3, 4}, false, 5, ""}, makeIDs(15));
    for (const std::string& bytes : {sound.substr(0, sound.size() - 1), sound + '\0'}) {
        RowReader reader(std::make_unique<TextSource>(bytes), 24);
        RowBlock block;
        EXPECT_THROW(while (reader.next(block)){}, ToolFailure);
        EXPECT_FALSE(reader.next(block));
    }
}

TEST(RowReaderTest, aNegativeNumberIsRefusedWithItsRow) {
    for (const size_t width : {RowLayout::NARROW, RowLayout::WIDE}) {
        std::vector<uint64_t> ids = makeIDs(300);
        ids[200] = width == RowLayout::NARROW ? uint64_t(0xFFFFFFFF) : uint64_t(-1);
        EXPECT_EQ("row 66: the number is negative", getRefusal(makeFile({{3, width}, true, 100, ""}, ids)));
        EXPECT_EQ(ids, readAll(makeFile({{3, width}, false, 100, ""}, ids), 1000)) << "without a sign it is none";
    }
}

} // namespace
