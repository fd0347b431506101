#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/Engine/core/data-store/DictionaryUse.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>

namespace {

/// Returns whether a file is refused. Only a MelnarException may be thrown.
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

/// The checksums are correct for the shorter or longer sections, so the contents themselves must be checked.
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

/// Every byte of a file of terms is changed, with correct checksums: the file is refused, or does no harm.
TEST(DictionaryFileDamageSlowTest, everyByteOfAFileOfTermsMayLie) {
    const auto terms = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    {
        DictionaryThread thread(*terms);
        for (uint32_t number = 1; number <= 60; ++number) {
            const DictionaryModel::Literal literal = DictionaryModel::makeLiteral(number);
            terms->resolveResource(thread, literal.m_lexicalForm, literal.m_datatypeID);
            if (number == 50)
                terms->commit();
        }
    }
    const ForgedDictionaryFile sound(*terms);
    size_t refused = 0;
    size_t opened = 0;
    for (size_t section = 0; section < sound.m_sections.size(); ++section)
        for (size_t position = 0; position < sound.m_sections[section].size(); ++position)
            for (const uint8_t change : {uint8_t(0x01), uint8_t(0x80), uint8_t(0xFF)}) {
                // Most buckets are empty, and all changed ones are similar.
                const auto byte = static_cast<uint8_t>(sound.m_sections[section][position]);
                if (byte == 0 && change != 0x01 && position % 16 != 0)
                    continue;
                ForgedDictionaryFile forged = sound;
                forged.m_sections[section][position] = static_cast<char>(byte ^ change);
                std::unique_ptr<Dictionary> dictionary;
                try {
                    dictionary = readFromMemory(forged.getBytes(), size_t(4) << 20);
                } catch (const MelnarException&) {
                    ++refused;
                    continue;
                }
                ++opened;
                ASSERT_NO_THROW(DictionaryUse::useAll(*dictionary, 20))
                    << "byte " << position << " of section " << section << " changed by " << size_t(change);
            }
    EXPECT_GT(refused, 20000u);
    EXPECT_GT(opened, 2000u) << "the pool has more bytes of text";
    std::cout << "Bytes changed: " << refused + opened << ", refused: " << refused << ", harmless: " << opened << '\n';
}

} // namespace
