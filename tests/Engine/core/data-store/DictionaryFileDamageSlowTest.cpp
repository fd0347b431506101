#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>

namespace {

/// Whether a file is refused; nothing but a MelnarException may come out.
bool isRefused(const std::string& bytes) {
    try {
        readFromMemory(bytes);
        return false;
    } catch (const MelnarException&) {
        return true;
    }
}

TEST(DictionaryFileDamageSlowTest, everyFlippedBitIsFound) {
    const std::string file = writeToMemory(*makeSampleDictionary(NARROW));
    ASSERT_FALSE(isRefused(file));
    std::string damaged = file;
    size_t refused = 0;
    for (size_t bit = 0; bit < file.size() * 8; ++bit) {
        const char mask = static_cast<char>(1 << bit % 8);
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ mask);
        const bool isFound = isRefused(damaged);
        EXPECT_TRUE(isFound) << "bit " << bit % 8 << " of byte " << bit / 8;
        refused += isFound;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ mask);
    }
    EXPECT_EQ(file.size() * 8, refused);
    std::cout << "Bits flipped: " << file.size() * 8 << ", found: " << refused << '\n';
}

TEST(DictionaryFileDamageSlowTest, everyTruncationIsFound) {
    for (const uint64_t maximumNumberOfResources : {NARROW, WIDE}) {
        const std::string file = writeToMemory(*makeSampleDictionary(maximumNumberOfResources));
        size_t refused = 0;
        for (size_t size = 0; size < file.size(); ++size) {
            const bool isFound = isRefused(file.substr(0, size));
            EXPECT_TRUE(isFound) << size << " bytes of " << file.size();
            refused += isFound;
        }
        EXPECT_EQ(file.size(), refused);
        std::cout << "Truncations: " << file.size() << ", found: " << refused << '\n';
    }
}

/// The checksums are right for the shorter or longer sections, so that the contents themselves must be checked.
TEST(DictionaryFileDamageSlowTest, everyShortenedSectionIsFound) {
    const ForgedDictionaryFile file(*makeSampleDictionary(NARROW));
    for (size_t section = 0; section < ForgedDictionaryFile::NUMBER_OF_SECTIONS; ++section) {
        for (size_t size = 0; size < file.m_sections[section].size(); ++size) {
            ForgedDictionaryFile forged = file;
            forged.m_sections[section].resize(size);
            ASSERT_TRUE(isRefused(forged.getBytes())) << "section " << section << " of " << size << " bytes";
        }
        ForgedDictionaryFile forged = file;
        forged.m_sections[section] += '\0';
        ASSERT_TRUE(isRefused(forged.getBytes())) << "section " << section << " with a byte more";
    }
}

} // namespace
