#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/DictionaryForger.h"
#include "tests/Engine/core/data-store/DictionaryUse.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(4) << 20;
constexpr size_t FILES_PER_SEED = 1500;

TEST(DictionaryFileFuzzTest, aForgedFileIsRefusedOrDoesNoHarm) {
    const std::vector<ForgedDictionaryFile> soundFiles = {
        ForgedDictionaryFile(*makeSampleDictionary(NARROW)), ForgedDictionaryFile(*makeSampleDictionary(WIDE)),
        ForgedDictionaryFile(*makeMediumDictionary()), ForgedDictionaryFile(*makeDictionaryOfTerms())};
    size_t refused = 0;
    size_t opened = 0;
    for (const uint32_t seed : getTestSeeds(1)) {
        SCOPED_TRACE(describeSeed(seed));
        DictionaryForger forger(seed);
        for (size_t count = 0; count < FILES_PER_SEED; ++count) {
            const std::string bytes = forger.forge(soundFiles[count % soundFiles.size()]);
            std::unique_ptr<Dictionary> dictionary;
            try {
                dictionary = readFromMemory(bytes, MEMORY_LIMIT);
            } catch (const MelnarException&) {
                ++refused;
                continue;
            }
            ++opened;
            ASSERT_NO_THROW(DictionaryUse::useAll(*dictionary, 800)) << "through a resize";
        }
    }
    EXPECT_GT(refused, FILES_PER_SEED / 4);
    EXPECT_GT(opened, FILES_PER_SEED / 20) << "forged too crudely: hardly any file was believed";
    std::cout << "Forged files: " << refused + opened << ", refused: " << refused << ", harmless: " << opened << '\n';
}

} // namespace
