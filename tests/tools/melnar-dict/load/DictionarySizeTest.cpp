#include "tools/melnar-dict/load/DictionarySize.h"

#include "tests/support/TemporaryDirectory.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/StringChunk.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <initializer_list>
#include <string>

namespace {

TEST(DictionarySizeTest, isThatOfADictionary) {
    const TemporaryDirectory directory;
    for (const uint64_t number : std::initializer_list<uint64_t>{0, 1, 700, 720, 50'000, 95'000, 200'000})
        for (const size_t length : std::initializer_list<size_t>{8, 300}) {
            Dictionary dictionary(size_t(1) << 30, Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS);
            DictionaryContents contents;
            {
                DictionaryThread thread(dictionary);
                for (uint64_t index = 0; index < number; ++index) {
                    std::string form = std::to_string(index);
                    form.resize(length, 'x');
                    form += index % 3 == 0 ? "@en" : "...";
                    dictionary.resolveResource(thread, form, index % 3 == 0 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING);
                    ++(index % 3 == 0 ? contents.m_plainLiterals : contents.m_strings);
                    contents.m_chunkBytes += StringChunk::getChunkSizeFor(form.size());
                }
            }
            dictionary.commit();
            const std::string path = directory.getPathOf("d");
            dictionary.save(path);
            const DictionarySize size = predictDictionarySize(contents);
            const auto memoryBytes = static_cast<double>(dictionary.getMemoryInUse());
            EXPECT_NEAR(memoryBytes, static_cast<double>(size.m_memoryBytes), 0.05 * memoryBytes + 70'000) << number;
            const auto fileBytes = static_cast<double>(std::filesystem::file_size(path));
            EXPECT_NEAR(fileBytes, static_cast<double>(size.m_fileBytes), 0.02 * fileBytes + 70'000) << number;
        }
}

} // namespace
