#include "Engine/core/data-store/dictionary/StringChunk.h"

#include "Engine/core/data-store/dictionary/DatatypeStringPolicy.h"
#include "tests/Engine/core/data-store/dictionary/HeaderForms.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

using namespace melnar;

namespace {

std::vector<uint8_t> writeChunk(const std::string& lexicalForm) {
    std::vector<uint8_t> chunk(StringChunk::getChunkSizeFor(lexicalForm.size()), 0xAB);
    StringChunk::write(chunk.data(), lexicalForm.data(), lexicalForm.size());
    return chunk;
}

} // namespace

TEST(StringChunkTest, aChunkIsHeaderBytesAndTerminator) {
    EXPECT_EQ((std::vector<uint8_t>{0x08, 'a', 'b', 'c', 0}), writeChunk("abc"));
    EXPECT_EQ((std::vector<uint8_t>{0x02, 0}), writeChunk(""));
    EXPECT_EQ((std::vector<uint8_t>{0x08, 'a', 0, 'c', 0}), writeChunk(std::string("a\0c", 3)));
}

TEST(StringChunkTest, headersGrowWithTheStoredSize) {
    EXPECT_EQ(1u + 127, StringChunk::getChunkSizeFor(126));
    EXPECT_EQ(2u + 128, StringChunk::getChunkSizeFor(127));
    EXPECT_EQ(2u + 16383, StringChunk::getChunkSizeFor(16382));
    EXPECT_EQ(4u + 16384, StringChunk::getChunkSizeFor(16383));
    EXPECT_EQ(4u + 536870911, StringChunk::getChunkSizeFor(536870910));
    EXPECT_EQ(8u + 536870912, StringChunk::getChunkSizeFor(536870911));
}

TEST(StringChunkTest, chunksAreReadInPlace) {
    for (const size_t length : {size_t(0), size_t(1), size_t(126), size_t(127), size_t(16382), size_t(16383)}) {
        const std::vector<uint8_t> bytes = writeChunk(std::string(length, 'x'));
        const StringChunk chunk(bytes.data());
        EXPECT_EQ(length + 1, chunk.getStoredSize());
        EXPECT_EQ(bytes.size(), chunk.getChunkSize());
        EXPECT_EQ(length, chunk.getLexicalFormLength());
        EXPECT_EQ(bytes.data() + bytes.size() - length - 1, chunk.getData());
        EXPECT_EQ(std::string(length, 'x'), std::string(chunk.getLexicalForm(), length));
        EXPECT_EQ(0, chunk.getData()[length]);
    }
}

TEST(StringChunkTest, aChunkIsThatOfOneStringOnly) {
    const std::vector<uint8_t> bytes = writeChunk(std::string("a\0c", 3));
    EXPECT_TRUE(StringChunk::isChunkOf(bytes.data(), "a\0c", 3));
    EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), "a\0d", 3));
    EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), "a\0c", 1));
    EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), "a\0c", 2));
    EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), "a\0c", 4)) << "the terminator is not a part of the string";
    EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), nullptr, 0));
    EXPECT_TRUE(StringChunk::isChunkOf(writeChunk("").data(), nullptr, 0));
}

TEST(StringChunkTest, lengthsAreDistinguishedAtEveryHeaderLength) {
    const std::vector<size_t> lengths{0,   1,   62,  63,    64,    125,   126,   127,
                                      128, 254, 255, 16381, 16382, 16383, 16384, 70000};
    for (const size_t stored : lengths) {
        const std::vector<uint8_t> bytes = writeChunk(std::string(stored, 'x'));
        for (const size_t asked : lengths) {
            EXPECT_EQ(stored == asked, StringChunk::isChunkOf(bytes.data(), std::string(asked, 'x').data(), asked));
        }
        if (stored != 0) {
            EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), (std::string(stored - 1, 'x') + 'y').data(), stored));
        }
    }
}

TEST(StringChunkTest, aChunkIsThatOfItsStringWhateverTheFormOfItsHeader) {
    size_t numberOfForms = 0;
    for (const size_t length : {size_t(0), size_t(1), size_t(5), size_t(63), size_t(126), size_t(127), size_t(128),
                                size_t(300), size_t(16382), size_t(16383), size_t(70000)})
        for (const size_t headerLength : HEADER_LENGTHS) {
            if (!canHeaderHold(headerLength, length))
                continue;
            SCOPED_TRACE(testing::Message() << length << " bytes after a header of " << headerLength);
            ++numberOfForms;
            const std::string text(length, 'x');
            const std::vector<uint8_t> bytes = makeChunk(text, headerLength);
            const StringChunk chunk(bytes.data());
            EXPECT_EQ(length + 1, chunk.getStoredSize());
            EXPECT_EQ(bytes.size(), chunk.getChunkSize());
            EXPECT_EQ(text, std::string(chunk.getLexicalForm(), chunk.getLexicalFormLength()));
            EXPECT_TRUE(StringChunk::isChunkOf(bytes.data(), text.data(), length));

            const std::string longer = text + std::string(1, '\0');
            EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), longer.data(), length + 1)) << "the terminator";
            if (length == 0)
                continue;
            EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), text.data(), length - 1)) << "only the beginning";
            for (const size_t place : {size_t(0), length / 2, length - 1}) {
                std::string other = text;
                other[place] = 'y';
                EXPECT_FALSE(StringChunk::isChunkOf(bytes.data(), other.data(), length)) << "another byte at " << place;
            }
            // The string whose shortest chunk would have as many bytes as this one.
            const size_t asMuch = length + headerLength - 1;
            EXPECT_EQ(asMuch == length, StringChunk::isChunkOf(bytes.data(), std::string(asMuch, 'x').data(), asMuch));
        }
    EXPECT_EQ(5u * 4 + 4 * 3 + 2 * 2, numberOfForms);
}

TEST(StringChunkTest, thePolicyHashesAStoredStringLikeAQuery) {
    DictionaryFixture<uint64_t> fixture;
    const DatatypeStringPolicy<uint64_t> policy(fixture.m_resourceDataOffsets, fixture.m_dataPool);
    for (const std::string& lexicalForm : {std::string(), std::string("a"), std::string("a\0\xFF", 3),
                                           std::string(126, 'x'), std::string(127, 'x'), std::string(16383, 'x')}) {
        const uint64_t resourceID = fixture.resolve(lexicalForm);
        EXPECT_EQ(hashLexicalForm(lexicalForm.data(), lexicalForm.size()), policy.getHash(resourceID));
        EXPECT_TRUE(policy.isChunkOf(policy.getChunkAddress(resourceID), lexicalForm));
        EXPECT_FALSE(policy.isChunkOf(policy.getChunkAddress(resourceID), "b"));
    }
}
