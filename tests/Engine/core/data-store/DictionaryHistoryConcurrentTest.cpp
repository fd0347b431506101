#include "Engine/core/data-store/DictionaryHistory.h"

#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(DictionaryHistoryConcurrentTest, savesAtTheSameTimeAgree) {
    for (size_t round = 0; round < 20; ++round) {
        const auto dictionary = makeSampleDictionary(NARROW);
        writeToMemory(*dictionary);
        dictionary->commit();
        std::vector<std::string> files(4);
        runTogether(files.size(), [&](const size_t index) { files[index] = writeToMemory(*dictionary); });
        for (const std::string& file : files)
            ASSERT_EQ(files.front(), file);
        EXPECT_EQ(2u, ForgedDictionaryFile(files.front())
                          .get<uint64_t>(ForgedDictionaryFile::HISTORY, ForgedDictionaryFile::NUMBER_OF_ENTRIES));
        EXPECT_NO_THROW(readFromMemory(files.front()));
    }
}

} // namespace
