#include "Engine/core/data-store/DictionaryFile.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "tests/Engine/core/data-store/FingerprintBytes.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/CaughtException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

using Resources = std::vector<std::pair<uint64_t, std::string>>;

Resources getResources(const Dictionary& dictionary) {
    Resources resources;
    for (const auto& [resourceID, value] : dictionary)
        resources.emplace_back(resourceID,
                               std::to_string(value.m_datatypeID) + ' ' +
                                   std::string(reinterpret_cast<const char*>(value.m_data), value.m_dataSize));
    return resources;
}

void expectEqual(const Dictionary& expected, const Dictionary& actual) {
    EXPECT_EQ(getResources(expected), getResources(actual));
    EXPECT_EQ(expected.size(), actual.size());
    EXPECT_EQ(expected.getNextResourceID(), actual.getNextResourceID());
    EXPECT_EQ(expected.getCommitPoint().m_resourceID, actual.getCommitPoint().m_resourceID);
    EXPECT_EQ(expected.getMaximumNumberOfResources(), actual.getMaximumNumberOfResources());
    EXPECT_EQ(expected.getUnusedDataPoolBytes(), actual.getUnusedDataPoolBytes());
    EXPECT_LE(actual.getMemoryInUse(), expected.getMemoryInUse()) << "a copy takes no more than it needs";
    EXPECT_NO_THROW(actual.verify());
}

/// Makes literals of both datatypes and all lengths of size headers up to 4 bytes, enough of them for several resizes.
std::unique_ptr<Dictionary> makeLargeDictionary(const uint64_t maximumNumberOfResources) {
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources});
    DictionaryThread thread(*dictionary);
    for (size_t number = 0; number < 9000; ++number) {
        const std::string text = std::to_string(number) + std::string(number % 1000 == 7 ? 20000 : number % 200, 'x');
        if (number % 3 == 0)
            dictionary->resolveResource(thread, text + "@en-GB", D_RDF_PLAIN_LITERAL);
        else
            dictionary->resolveResource(thread, text, D_XSD_STRING);
        if (number == 5000)
            dictionary->commit();
        if (number == 7000)
            dictionary->rollback();
    }
    return dictionary;
}

/// Every claim holds for both bucket widths.
class DictionaryFileTest : public testing::TestWithParam<uint64_t> {};

TEST_P(DictionaryFileTest, anEmptyDictionaryComesBack) {
    const Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()});
    const std::unique_ptr<Dictionary> copy = readFromMemory(writeToMemory(dictionary));
    EXPECT_EQ(Resources(), getResources(*copy));
    EXPECT_EQ(1u, copy->getNextResourceID());
    EXPECT_EQ(GetParam(), copy->getMaximumNumberOfResources());
    DictionaryThread thread(*copy);
    EXPECT_EQ(1u, copy->resolveResource(thread, "first", D_XSD_STRING));
}

TEST_P(DictionaryFileTest, everythingComesBack) {
    for (const auto make : {&makeSampleDictionary, &makeLargeDictionary}) {
        const std::unique_ptr<Dictionary> dictionary = make(GetParam());
        const std::unique_ptr<Dictionary> copy = readFromMemory(writeToMemory(*dictionary));
        expectEqual(*dictionary, *copy);
    }
}

TEST_P(DictionaryFileTest, aCopyContinuesWhereTheOriginalWas) {
    const std::unique_ptr<Dictionary> dictionary = makeSampleDictionary(GetParam());
    const std::unique_ptr<Dictionary> copy = readFromMemory(writeToMemory(*dictionary));
    for (Dictionary* const each : {dictionary.get(), copy.get()}) {
        DictionaryThread thread(*each);
        EXPECT_EQ(1u, each->resolveResource(thread, "abc", D_XSD_STRING));
        EXPECT_EQ(6u, each->resolveResource(thread, "def", D_XSD_STRING));
        EXPECT_EQ(7u, each->resolveResource(thread, "gone", D_XSD_STRING));
        EXPECT_EQ(0u, each->tryResolveResource(each->getCommitPoint(), "def", D_XSD_STRING));
        each->rollback();
        EXPECT_EQ(0u, each->tryResolveResource({100}, "def", D_XSD_STRING));
        for (uint64_t number = 0; number < 3000; ++number)
            EXPECT_EQ(8 + number, each->resolveResource(thread, std::to_string(number) + "@en", D_RDF_PLAIN_LITERAL));
        EXPECT_EQ(3008u, each->commit().m_resourceID);
    }
    EXPECT_EQ(getResources(*dictionary), getResources(*copy));
    EXPECT_NO_THROW(copy->verify());
}

TEST_P(DictionaryFileTest, theSameLiteralsOnOneThreadGiveTheSameBytes) {
    EXPECT_EQ(writeToMemory(*makeLargeDictionary(GetParam())), writeToMemory(*makeLargeDictionary(GetParam())));
}

TEST_P(DictionaryFileTest, aCopyIsWrittenAsTheSameBytes) {
    for (const auto make : {&makeSampleDictionary, &makeLargeDictionary}) {
        const std::string bytes = writeToMemory(*make(GetParam()));
        EXPECT_EQ(bytes, writeToMemory(*readFromMemory(bytes)));
    }
}

TEST_P(DictionaryFileTest, aFileOnDiskComesBackAndIsReplaced) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    makeSampleDictionary(GetParam())->save(path);
    expectEqual(*makeSampleDictionary(GetParam()), *Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT}));
    makeLargeDictionary(GetParam())->save(path);
    expectEqual(*makeLargeDictionary(GetParam()), *Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT}));
    EXPECT_EQ(writeToMemory(*makeLargeDictionary(GetParam())), TemporaryDirectory::getContentsOf(path));
}

TEST_P(DictionaryFileTest, openingTakesTheMemoryThatItNeedsAndNoMore) {
    const std::string bytes = writeToMemory(*makeLargeDictionary(GetParam()));
    const size_t needed = readFromMemory(bytes)->getMemoryInUse();
    const std::unique_ptr<Dictionary> dictionary = readFromMemory(bytes, needed + (size_t(1) << 20));
    EXPECT_EQ(needed, dictionary->getMemoryInUse());
    EXPECT_NO_THROW(dictionary->verify());
}

INSTANTIATE_TEST_SUITE_P(BucketWidths, DictionaryFileTest, testing::Values(NARROW, WIDE),
                         [](const testing::TestParamInfo<uint64_t>& parameterInfo) {
                             return parameterInfo.index == 0 ? "narrow" : "wide";
                         });

TEST(DictionaryFileMaximumTest, determinesTheBucketWidthAndComesBack) {
    for (const auto& [maximumNumberOfResources, bucketWidth] :
         {std::pair<uint64_t, size_t>(6, 4), {0xFFFFFFFD, 4}, {0xFFFFFFFE, 8}, {uint64_t(1) << 43, 8}}) {
        const ForgedDictionaryFile file(writeToMemory(*makeSampleDictionary(maximumNumberOfResources)));
        EXPECT_EQ(bucketWidth, file.getBucketWidth()) << maximumNumberOfResources;
        const std::unique_ptr<Dictionary> copy = readFromMemory(file.getBytes());
        EXPECT_EQ(maximumNumberOfResources, copy->getMaximumNumberOfResources());
        EXPECT_NO_THROW(copy->verify());
    }
}

/// Returns the number of a word of two hexadecimal digits, or -1.
int getByte(const std::string& word) {
    return word.size() == 2 && word.find_first_not_of("0123456789ABCDEF") == std::string::npos
               ? std::stoi(word, nullptr, 16)
               : -1;
}

/// Returns the bytes in the example of the format's description: the start of its indented lines.
std::string readExample() {
    const std::string text =
        TemporaryDirectory::getContentsOf(MELNAR_GOLDEN_FOLDER "/../../docs/formats/dictionary-file.md");
    std::istringstream lines(text.substr(text.find("## Example")));
    std::string bytes;
    for (std::string line; std::getline(lines, line);) {
        if (line.rfind("    ", 0) != 0)
            continue;
        std::istringstream words(line);
        for (std::string word; words >> word && getByte(word) != -1;)
            bytes += static_cast<char>(getByte(word));
    }
    return bytes;
}

/// How many bytes the example shows of the end of the file: the history, and the end marker.
constexpr size_t EXAMPLE_END = 16 + 40 + 16;

TEST(DictionaryFileExampleTest, isWrittenAsDescribed) {
    const std::string example = readExample();
    EXPECT_EQ(12u + (16 + 40) + 3 * 16 + 8 + EXAMPLE_END, example.size()) << "the description has changed";
    const std::string bytes =
        writeToMemory(Dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = 10}));
    EXPECT_EQ(10742u, bytes.size());
    const size_t beginSize = example.size() - EXAMPLE_END;
    EXPECT_EQ(example.substr(0, beginSize), bytes.substr(0, beginSize));
    EXPECT_EQ(example.substr(beginSize), bytes.substr(bytes.size() - EXAMPLE_END));
}

TEST(DictionaryFileOpenTest, aFileThatIsNotThereIsNamed) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("missing");
    const auto exception = catchException<SystemCallException>(
        [&] { static_cast<void>(Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT})); });
    EXPECT_EQ(0u, exception.getMessage().find("Cannot open file '" + path + "'."));
    EXPECT_THROW(static_cast<void>(Dictionary::open(directory.getPathOf(""), {.m_memoryLimit = TEST_MEMORY_LIMIT})),
                 SystemCallException);
}

TEST(DictionaryFileOpenTest, messagesNameTheFileOnDisk) {
    const TemporaryDirectory directory;
    const std::string bytes = writeToMemory(*makeSampleDictionary(NARROW));
    const std::string path = directory.addFile("cut.dict", bytes.substr(0, bytes.size() - 100));
    EXPECT_EQ("Dictionary file '" + path + "' is damaged: section 'datatype 5': the file ends within it.",
              catchException<MelnarException>([&] {
                  static_cast<void>(Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT}));
              }).getMessage());
}

/// The limits cover every growth of every part.
TEST(DictionaryFileOpenTest, everyMemoryLimitIsRefusedCleanly) {
    for (const uint64_t maximumNumberOfResources : {NARROW, WIDE}) {
        const std::string bytes = writeToMemory(*makeLargeDictionary(maximumNumberOfResources));
        const size_t needed = readFromMemory(bytes, TEST_MEMORY_LIMIT, {.m_keepFingerprints = false})->getMemoryInUse();
        size_t refused = 0;
        for (size_t memoryLimit = 0; memoryLimit < needed; memoryLimit += 4096) {
            SystemCallFaults reservations(SystemCallFaults::Call::MMAP);
            SystemCallFaults releases(SystemCallFaults::Call::MUNMAP);
            ASSERT_THROW(readFromMemory(bytes, memoryLimit), MemoryExhaustedException) << memoryLimit;
            ASSERT_EQ(reservations.getNumberOfCalls(), releases.getNumberOfCalls()) << "address space leaked";
            ++refused;
        }
        EXPECT_GT(refused, 250u);
        EXPECT_NO_THROW(readFromMemory(bytes, needed + (size_t(1) << 20))->verify());
    }
}

TEST(DictionaryFileOpenTest, theOptionsTellWhetherFingerprintsAreKept) {
    const std::string bytes = writeToMemory(*makeSampleDictionary(NARROW));
    EXPECT_GT(getFingerprintBytes(*readFromMemory(bytes)), 0u);
    EXPECT_EQ(0u, getFingerprintBytes(*readFromMemory(bytes, TEST_MEMORY_LIMIT, {.m_keepFingerprints = false})));
}

TEST(DictionaryFileLockTest, aDictionaryIsReadChangedAndSavedUnderItsLock) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    makeSampleDictionary(NARROW)->save(path);
    FileLock lock(path);
    const auto dictionary = Dictionary::open(lock.getTarget().getName(), {.m_memoryLimit = TEST_MEMORY_LIMIT});
    {
        DictionaryThread thread(*dictionary);
        dictionary->resolveResource(thread, "new", D_XSD_STRING);
    }
    dictionary->commit();
    const std::string before = TemporaryDirectory::getContentsOf(path);
    const auto exception = catchException<MelnarException>([&] { dictionary->save(path); });
    EXPECT_EQ(0u, exception.getMessage().find("File '" + path + "' is being written by process ")) << exception.what();
    EXPECT_EQ(before, TemporaryDirectory::getContentsOf(path));
    for (size_t time = 0; time < 2; ++time) {
        dictionary->save(lock);
        expectEqual(*dictionary, *Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT}));
    }
}

TEST(DictionaryFileBeginningTest, distinguishesDictionaryFilesByTheirFirstBytes) {
    const std::string bytes = writeToMemory(*makeSampleDictionary(NARROW));
    const auto isBeginning = [](const std::string& text) {
        MemoryInputStream input(text);
        return DictionaryFile::isBeginningOf(input);
    };
    EXPECT_TRUE(isBeginning(bytes));
    EXPECT_TRUE(isBeginning(bytes.substr(0, 8))) << "of a damaged file as well";
    for (size_t size = 0; size < 8; ++size)
        EXPECT_FALSE(isBeginning(bytes.substr(0, size)));
    EXPECT_FALSE(isBeginning("<urn:s> <urn:p> \"text\" .\n"));
}

} // namespace
