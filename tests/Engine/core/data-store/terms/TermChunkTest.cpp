#include "Engine/core/data-store/terms/TermChunk.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace melnar;

namespace {

TEST(TermChunkTest, readsWhatItWritesWithNumbersAndTextsOfAllLengths) {
    const std::vector<std::pair<uint32_t, size_t>> numbers{{0, 1},      {1, 1},      {0x7F, 1},  {0x80, 2},
                                                           {0x3FFF, 2}, {0x4000, 3}, {65535, 3}, {0x1FFFFF, 3}};
    for (const auto& [number, numberLength] : numbers)
        for (const size_t length : {size_t(0), size_t(1), size_t(126), size_t(127), size_t(16382), size_t(16383)}) {
            const std::string text(length, 'x');
            const size_t size = TermChunk::getChunkSizeFor(number, length);
            ASSERT_EQ(numberLength + StringChunk::getChunkSizeFor(length), size);
            std::vector<uint8_t> bytes(size + 1, 0xEE);
            TermChunk::write(bytes.data(), number, text);
            const TermChunk chunk(bytes.data());
            EXPECT_EQ(number, chunk.getAffixNumber());
            EXPECT_EQ(text, chunk.getOwnText());
            EXPECT_EQ(size, chunk.getChunkSize());
            EXPECT_EQ(0, bytes[size - 1]);
            EXPECT_EQ(0xEE, bytes[size]) << "written beyond the chunk";
        }
}

TEST(TermChunkTest, aNumberHasThreeBytesAtMostWhateverTheySay) {
    const std::vector<uint8_t> bytes{0xFF, 0xFF, 0xFF, 0x02, 0};
    const TermChunk chunk(bytes.data());
    EXPECT_EQ(TermChunk::LARGEST_AFFIX_NUMBER, chunk.getAffixNumber());
    EXPECT_EQ("", chunk.getOwnText());
    EXPECT_EQ(5u, chunk.getChunkSize());
}

} // namespace
