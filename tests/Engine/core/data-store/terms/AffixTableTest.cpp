#include "Engine/core/data-store/terms/AffixTable.h"

#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/data-store/dictionary/UntrustedBytes.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using namespace melnar;

namespace {

class AffixTableTest : public testing::Test {
protected:
    size_t getChargedBytes() const { return m_memoryManager.getReservedBytes() - m_memoryManager.getFreeBytes(); }

    std::string save() const {
        MemoryOutputStream output;
        m_affixes.save(output);
        return output.getBytes();
    }

    MemoryManager m_memoryManager{size_t(1) << 26};
    AffixTable m_affixes{m_memoryManager, 1};
};

TEST_F(AffixTableTest, costsNothingBeforeTheFirstText) {
    EXPECT_EQ(0u, getChargedBytes());
    EXPECT_EQ(0u, m_affixes.getNumberFor(""));
    EXPECT_EQ(0u, getChargedBytes());
    EXPECT_EQ(0u, m_affixes.getSize());
    EXPECT_EQ("", m_affixes.getText(0));
    EXPECT_EQ(FNV_1A_OFFSET_BASIS, m_affixes.getHash(0));
    EXPECT_EQ(1u, m_affixes.getNumberFor("x"));
    EXPECT_EQ(getChargedBytes(), m_affixes.getCommittedBytes());
    EXPECT_LT(0u, getChargedBytes());
    m_affixes.initialize();
    EXPECT_EQ(0u, getChargedBytes());
    EXPECT_EQ(0u, m_affixes.getSize());
}

TEST_F(AffixTableTest, numbersTextsInTheOrderOfEntryAndKeepsThemInPlace) {
    std::vector<const char*> places;
    for (uint32_t number = 1; number <= 5000; ++number) {
        ASSERT_EQ(number, m_affixes.getNumberFor("http://example.org/" + std::to_string(number) + "/"));
        places.push_back(m_affixes.getText(number).data());
    }
    EXPECT_EQ(5000u, m_affixes.getSize());
    for (uint32_t number = 1; number <= 5000; ++number) {
        const std::string text = "http://example.org/" + std::to_string(number) + "/";
        ASSERT_EQ(number, m_affixes.getNumberFor(text));
        ASSERT_EQ(text, m_affixes.getText(number));
        ASSERT_EQ(places[number - 1], m_affixes.getText(number).data());
        ASSERT_EQ(hashLexicalForm(text.data(), text.size()), m_affixes.getHash(number));
    }
}

TEST_F(AffixTableTest, textsOfAllLengthsDiffer) {
    std::string text;
    for (uint32_t length = 1; length <= AffixTable::LONGEST_TEXT; ++length) {
        text += static_cast<char>(length % 3);
        ASSERT_EQ(length, m_affixes.getNumberFor(text));
    }
    EXPECT_EQ(0u, m_affixes.getNumberFor(text + 'x')) << "longer than any";
    EXPECT_EQ(AffixTable::LONGEST_TEXT, m_affixes.getSize());
}

TEST_F(AffixTableTest, aTextGetsANumberWhenItIsSeenOftenEnough) {
    AffixTable affixes(m_memoryManager, 3);
    EXPECT_EQ(0u, affixes.getNumberFor("a"));
    EXPECT_EQ(0u, affixes.getNumberFor("b"));
    EXPECT_EQ(0u, affixes.getNumberFor("a"));
    EXPECT_EQ(1u, affixes.getNumberFor("a"));
    EXPECT_EQ(1u, affixes.getNumberFor("a"));
    EXPECT_EQ(0u, affixes.getNumberFor("b"));
    EXPECT_EQ(2u, affixes.getNumberFor("b"));
    EXPECT_EQ(1u, affixes.getNumberFor("a"));
}

/// Texts of single terms, such as the namespaces of pages, do not fill the table.
TEST_F(AffixTableTest, textsThatAreSeenRarelyGetNone) {
    AffixTable affixes(m_memoryManager, 4);
    for (size_t count = 0; count < 100000; ++count)
        affixes.getNumberFor("http://example.org/" + std::to_string(count) + "/");
    EXPECT_EQ(0u, affixes.getSize());
}

TEST_F(AffixTableTest, isFullAtTheLargestNumber) {
    for (uint32_t number = 1; number <= AffixTable::LARGEST_NUMBER; ++number)
        ASSERT_EQ(number, m_affixes.getNumberFor(std::to_string(number)));
    EXPECT_EQ(0u, m_affixes.getNumberFor("one more"));
    EXPECT_EQ(AffixTable::LARGEST_NUMBER, m_affixes.getNumberFor(std::to_string(AffixTable::LARGEST_NUMBER)));
}

TEST_F(AffixTableTest, isFullWhenItsTextsAreTooLong) {
    uint32_t number = 0;
    std::string text(AffixTable::LONGEST_TEXT, 'x');
    for (;; ++number) {
        text.replace(0, 5, std::to_string(10000 + number));
        if (m_affixes.getNumberFor(text) == 0)
            break;
    }
    EXPECT_EQ(16384u, number);
    EXPECT_EQ(number, m_affixes.getSize());
    EXPECT_EQ(1u, m_affixes.getNumberFor(m_affixes.getText(1)));
}

/// A table without memory returns that a text has no number, and works when there is memory again.
TEST_F(AffixTableTest, eachAllocationThatFailsLeavesItWhole) {
    for (size_t limit = 0;; limit += 4096) {
        MemoryManager memoryManager(limit);
        AffixTable affixes(memoryManager, 1);
        uint32_t size = 0;
        for (uint32_t count = 0; count < 1000; ++count) {
            const uint32_t number = affixes.getNumberFor("http://example.org/" + std::to_string(count));
            size += number != 0;
            ASSERT_TRUE(number == 0 || number == size) << limit;
        }
        ASSERT_EQ(size, affixes.getSize());
        for (uint32_t number = 1; number <= size; ++number)
            ASSERT_EQ(number, affixes.getNumberFor(affixes.getText(number)));
        if (size == 1000)
            break;
        ASSERT_LT(limit, size_t(1) << 20);
    }
}

TEST_F(AffixTableTest, isSavedAndLoaded) {
    m_affixes.getNumberFor("first");
    m_affixes.getNumberFor(std::string("\0\xFF", 2));
    const std::string bytes = save();
    EXPECT_EQ(8u + 8 + 5 + 8 + 2, bytes.size());
    AffixTable loaded(m_memoryManager, 4);
    loaded.getNumberFor("old");
    MemoryInputStream input(bytes);
    loaded.load(input);
    EXPECT_EQ(2u, loaded.getSize());
    EXPECT_EQ("first", loaded.getText(1));
    EXPECT_EQ(2u, loaded.getNumberFor(std::string("\0\xFF", 2)));
    EXPECT_EQ(0u, loaded.getNumberFor("old"));
    m_affixes.initialize();
    const std::string bytesOfNone = save();
    MemoryInputStream empty(bytesOfNone);
    loaded.load(empty);
    EXPECT_EQ(0u, loaded.getSize());
}

TEST_F(AffixTableTest, aForgedStreamIsRefused) {
    const auto makeStream = [](const uint64_t size, const std::vector<std::pair<uint64_t, std::string>>& texts) {
        MemoryOutputStream output;
        output.writeUInt64(size);
        for (const auto& [length, text] : texts) {
            output.writeUInt64(length);
            output.write(text.data(), text.size());
        }
        return output.getBytes();
    };
    const std::vector<std::pair<std::string, std::string>> lies{
        {makeStream(65536, {}), "it has 65536 shared texts."},
        {makeStream(~uint64_t(0), {}), "it has 18446744073709551615 shared texts."},
        {makeStream(1, {{0, ""}}), "its shared text 1 has 0 bytes."},
        {makeStream(2, {{1, "a"}, {1025, std::string(1025, 'x')}}), "its shared text 2 has 1025 bytes."},
        {makeStream(1, {{~uint64_t(0), "a"}}), "its shared text 1 has 18446744073709551615 bytes."},
        {makeStream(16385, std::vector<std::pair<uint64_t, std::string>>(16385, {1024, std::string(1024, 'x')})),
         "its shared texts are longer than 16777216 bytes."}};
    for (const auto& [bytes, finding] : lies) {
        UntrustedBytes untrusted(bytes);
        AffixTable affixes(m_memoryManager, 1);
        EXPECT_EQ(finding, catchException<ReportedDamage>([&] { affixes.loadUntrusted(untrusted); }).what());
        MemoryInputStream input(bytes);
        EXPECT_EQ("Invalid input file: " + finding,
                  catchException<MelnarException>([&] { affixes.load(input); }).getMessage());
    }
}

} // namespace
