#include "tools/melnar-dict/input/BlockReader.h"

#include "tests/support/CaughtException.h"
#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <initializer_list>
#include <vector>

namespace {

BlockReader makeReader(const std::string& text, const size_t blockSize, const size_t bytesAtOnce = 1 << 20) {
    return BlockReader(std::make_unique<TextSource>(text, bytesAtOnce), blockSize);
}

std::vector<std::string> readAll(BlockReader& reader) {
    std::vector<std::string> blocks;
    Block block;
    while (reader.next(block)) {
        EXPECT_EQ(blocks.size(), block.m_sequence);
        blocks.emplace_back(block.getText());
    }
    EXPECT_EQ("", block.getText());
    EXPECT_FALSE(reader.next(block)) << "the end stays the end";
    EXPECT_EQ(blocks.size(), reader.getNumberOfBlocks());
    return blocks;
}

std::vector<std::string> cut(const std::string& text, const size_t blockSize, const size_t bytesAtOnce = 1 << 20) {
    BlockReader reader = makeReader(text, blockSize, bytesAtOnce);
    return readAll(reader);
}

using Blocks = std::vector<std::string>;

TEST(BlockReaderTest, cutsAtTheLastLineFeedThatFits) {
    EXPECT_EQ((Blocks{"a\nbb\n", "ccc\n", "dd\n"}), cut("a\nbb\nccc\ndd\n", 6));
}

TEST(BlockReaderTest, handsOutALineThatIsTooLongInPieces) {
    const std::string fits(10, 'f');
    for (const std::string lineEnd : {"\n", "\r", "\r\n"})
        for (const size_t length : std::initializer_list<size_t>{11, 12, 13, 50, 1000})
            for (const size_t blockSize : std::initializer_list<size_t>{1, 4, 5})
                for (const size_t bytesAtOnce : std::initializer_list<size_t>{1, 2, 3, 7, 100}) {
                    const std::string before = "a" + lineEnd + fits + lineEnd;
                    const std::string line = std::string(length, 'l') + lineEnd;
                    const std::string after = fits + lineEnd + "b";
                    BlockReader reader(std::make_unique<TextSource>(before + line + after, bytesAtOnce), blockSize, 10);
                    std::string lines;
                    std::string rest;
                    for (Block block; reader.next(block);) {
                        EXPECT_LT(block.getText().size(), 40u) << length;
                        rest += block.getText().substr(0, block.m_lengthOfRest);
                        lines += block.getText().substr(block.m_lengthOfRest);
                    }
                    const size_t kept = rest.empty() ? line.size() : 11;
                    EXPECT_TRUE(!rest.empty() || length < 20) << length;
                    EXPECT_EQ(before + line.substr(0, kept) + after, lines) << length;
                    EXPECT_EQ(line.substr(kept), rest) << length;
                }
}

TEST(BlockReaderTest, theEndOfTheTextEndsALineThatIsTooLong) {
    BlockReader reader(std::make_unique<TextSource>("\xEF\xBB\xBF" + std::string(1000, 'l') + "\r"), 4, 10);
    Block block;
    ASSERT_TRUE(reader.next(block));
    EXPECT_EQ(std::string(11, 'l'), block.getText());
    EXPECT_EQ(0u, block.m_lengthOfRest);
    std::string rest;
    while (reader.next(block)) {
        EXPECT_EQ(block.getText().size(), block.m_lengthOfRest);
        rest += block.getText();
    }
    EXPECT_EQ(std::string(989, 'l') + "\r", rest);
}

TEST(BlockReaderTest, cutsTurtleWhereStatementsSeemToEndOrElseAnywhere) {
    using Cut = Rdf::TurtleRelay::Cut;
    const std::string text = "\xEF\xBB\xBF:a :b 1 .\n:c\n:d\n:\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4 .\n}\n:e";
    BlockReader reader(std::make_unique<TextSource>(text), 16, 0, RdfFormat::TRIG);
    Block block;
    std::string found;
    while (reader.next(block))
        found += std::string(block.getText()) + "|" + std::to_string(block.m_place.m_line) + ":" +
                 std::to_string(block.m_place.m_column) + ":" + std::to_string(block.m_place.m_offset) +
                 (block.m_cut == Cut::ANYWHERE      ? "?"
                  : block.m_cut == Cut::AFTER_BRACE ? "}"
                                                    : ".") +
                 "|";
    EXPECT_EQ(":a :b 1 .\n|1:1:3?|:c\n:d\n:\xC3\xA4\xC3\xA4\xC3\xA4\xC3\xA4 |2:1:13.|.\n}\n:e|4:7:29?|", found);
    BlockReader brace(std::make_unique<TextSource>(":g { :a :b 1 }\n:c :d 2 ."), 20, 0, RdfFormat::TRIG);
    EXPECT_TRUE(brace.next(block));
    EXPECT_TRUE(brace.next(block));
    EXPECT_EQ(Cut::AFTER_BRACE, block.m_cut);
    EXPECT_EQ((Rdf::Place{2, 1, 15}), block.m_place);
}

TEST(BlockReaderFailureTest, givesOfALineThatIsTooLongWhatCanBeRead) {
    for (const std::string after : {"", "\nb\nfragm"}) {
        BlockReader reader(std::make_unique<TextSource>("a\n" + std::string(30, 'l') + after, 3, "no more"), 4, 10);
        Block block;
        std::string text;
        for (size_t length = 0; length < 32 + (after.empty() ? 0 : 3); length = text.size()) {
            ASSERT_TRUE(reader.next(block));
            text += block.getText();
        }
        EXPECT_EQ("a\n" + std::string(30, 'l') + (after.empty() ? "" : "\nb\n"), text);
        EXPECT_THROW(reader.next(block), ToolFailure);
        EXPECT_FALSE(reader.next(block));
    }
}

TEST(BlockReaderTest, cutsTheSameHoweverFewBytesTheSourceDelivers) {
    for (const size_t bytesAtOnce : std::initializer_list<size_t>{1, 2, 3, 5, 100})
        EXPECT_EQ((Blocks{"a\nbb\n", "ccc\n", "dd\n"}), cut("a\nbb\nccc\ndd\n", 6, bytesAtOnce));
}

TEST(BlockReaderTest, doublesABlockUntilALongLineFits) {
    const std::string line(1021, 'x');
    EXPECT_EQ((Blocks{"a\n", line + "\nb\n", "cc\n", "d\n"}), cut("a\n" + line + "\nb\ncc\nd\n", 4));
    EXPECT_EQ((Blocks{line}), cut(line, 4));
}

TEST(BlockReaderTest, givesTheLastLineWithoutAnEnd) {
    EXPECT_EQ((Blocks{"a\n", "b"}), cut("a\nb", 2));
    EXPECT_EQ((Blocks{"a\nb"}), cut("a\nb", 100));
}

TEST(BlockReaderTest, givesNothingForAnEmptyFile) {
    EXPECT_EQ(Blocks{}, cut("", 4));
}

TEST(BlockReaderTest, leavesAByteOrderMarkOutAtTheStartOnly) {
    EXPECT_EQ((Blocks{"a\n", "\xEF\xBB\xBF"
                             "b\n"}),
              cut("\xEF\xBB\xBF"
                  "a\n\xEF\xBB\xBF"
                  "b\n",
                  5));
    EXPECT_EQ(Blocks{}, cut("\xEF\xBB\xBF", 5));
    EXPECT_EQ((Blocks{"\xEF\xBB"}), cut("\xEF\xBB", 5));
}

TEST(BlockReaderTest, withinAFileNothingIsAByteOrderMark) {
    for (const std::string text : {"\xEF\xBB\xBF", "\xEF\xBB\xBF\n", "\xEF\xBB\xBFline\nline"})
        for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::TURTLE}) {
            BlockReader reader(std::make_unique<TextSource>(text), 100, 100, format, BlockReader::Begin::WITHIN_FILE);
            EXPECT_EQ(Blocks{text}, readAll(reader));
            BlockReader ofFile(std::make_unique<TextSource>(text), 100, 100, format, BlockReader::Begin::OF_FILE);
            EXPECT_EQ(text.size() == 3 ? Blocks{} : Blocks{text.substr(3)}, readAll(ofFile));
        }
}

TEST(BlockReaderTest, cutsAtCarriageReturnsWhereThereIsNoLineFeed) {
    EXPECT_EQ((Blocks{"aa\rbb\r", "cc\rdd\r"}), cut("aa\rbb\rcc\rdd\r", 7));
}

TEST(BlockReaderTest, keepsBothHalvesOfALineEndTogether) {
    for (size_t blockSize = 1; blockSize < 20; ++blockSize)
        for (const std::string& block : cut("a\r\nbb\r\nccc\r\n", blockSize))
            EXPECT_TRUE(block.ends_with("\r\n")) << blockSize;
}

TEST(BlockReaderTest, losesNoByteAtAnyBlockSize) {
    std::string text;
    for (size_t length = 0; length < 60; ++length)
        text += std::string(length * 7 % 23, static_cast<char>('a' + length % 26)) + (length % 5 == 0 ? "\r" : "\n");
    for (size_t blockSize = 1; blockSize < 100; ++blockSize) {
        std::string joined;
        for (const std::string& block : cut(text, blockSize))
            joined += block;
        EXPECT_EQ(text, joined) << blockSize;
    }
}

TEST(BlockReaderTest, reusesTheMemoryOfABlock) {
    BlockReader reader = makeReader("aa\nbb\ncc\n", 3);
    Block block;
    ASSERT_TRUE(reader.next(block));
    const char* const memory = block.m_bytes.get();
    ASSERT_TRUE(reader.next(block));
    EXPECT_EQ(memory, block.m_bytes.get());
    EXPECT_EQ("bb\n", block.getText());
}

TEST(BlockReaderFailureTest, returnsAllWholeLinesBeforeAFailureAndReportsItOnce) {
    BlockReader reader(std::make_unique<TextSource>("a\nbb\nccc\nfragm", 1, "no more"), 6);
    Block block;
    ASSERT_TRUE(reader.next(block));
    EXPECT_EQ("a\nbb\n", block.getText());
    ASSERT_TRUE(reader.next(block));
    EXPECT_EQ("ccc\n", block.getText());
    EXPECT_STREQ("no more", catchException<ToolFailure>([&] { reader.next(block); }).what());
    EXPECT_EQ("", block.getText());
    EXPECT_EQ(2u, reader.getNumberOfBlocks());
    EXPECT_FALSE(reader.next(block));
    EXPECT_EQ(2u, reader.getNumberOfBlocks());
}

TEST(BlockReaderFailureTest, reportsAFailureBeforeTheFirstLineEnd) {
    BlockReader reader(std::make_unique<TextSource>("fragment", 3, "no more"), 4);
    Block block;
    EXPECT_STREQ("no more", catchException<ToolFailure>([&] { reader.next(block); }).what());
    EXPECT_FALSE(reader.next(block));
}

} // namespace
