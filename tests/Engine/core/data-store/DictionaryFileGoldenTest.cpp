#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/golden/GoldenDictionary.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

struct GoldenFile {
    std::string m_testName;
    std::string m_name;
    std::string m_presentName; // of the file of the present version with the same contents
    uint64_t m_maximumNumberOfResources;
    std::string m_identity;
};

constexpr const char* NARROW_IDENTITY = "16eebaaaa60bed05deda7c8d37678626";
constexpr const char* WIDE_IDENTITY = "b4294f484667764148a41568309a01bb";

GoldenFile makeGoldenFile(const std::string& width, const int version) {
    const auto getName = [&width](const int versionOfName) {
        return "dictionary-" + width + "-v" + std::to_string(versionOfName) + ".dict";
    };
    const bool isNarrow = width == "narrow";
    return {width + 'V' + std::to_string(version), getName(version), getName(2),
            isNarrow ? GoldenDictionary::NARROW_MAXIMUM : GoldenDictionary::WIDE_MAXIMUM,
            isNarrow ? NARROW_IDENTITY : WIDE_IDENTITY};
}

/// Every claim holds for every file that a version of this program has written.
class DictionaryFileGoldenTest : public testing::TestWithParam<GoldenFile> {
protected:
    const std::string m_path = std::string(MELNAR_GOLDEN_FOLDER "/") + GetParam().m_name;
};

TEST_P(DictionaryFileGoldenTest, holdsWhatWasPutIntoIt) {
    const std::unique_ptr<Dictionary> dictionary = Dictionary::open(m_path, TEST_MEMORY_LIMIT);
    EXPECT_EQ(GetParam().m_maximumNumberOfResources, dictionary->getMaximumNumberOfResources());
    EXPECT_EQ(GoldenDictionary::COMMIT_POINT, dictionary->getCommitPoint().m_resourceID);
    EXPECT_NO_THROW(dictionary->verify());
    const auto resources = GoldenDictionary::getResources();
    EXPECT_EQ(resources.size() + 1, dictionary->getNextResourceID());
    uint64_t resourceID = 0;
    for (const auto& [datatypeID, lexicalForm] : resources) {
        ++resourceID;
        std::string found;
        if (datatypeID == D_INVALID) {
            EXPECT_THROW(dictionary->getResource(resourceID, found), MelnarException) << resourceID;
            continue;
        }
        EXPECT_EQ(datatypeID, dictionary->getResource(resourceID, found)) << resourceID;
        EXPECT_EQ(lexicalForm, found) << resourceID;
        EXPECT_EQ(resourceID, dictionary->tryResolveResource({~uint64_t(0)}, lexicalForm, datatypeID));
        EXPECT_EQ(resourceID < GoldenDictionary::COMMIT_POINT ? resourceID : 0,
                  dictionary->tryResolveResource(dictionary->getCommitPoint(), lexicalForm, datatypeID));
    }
}

TEST_P(DictionaryFileGoldenTest, isSavedAgainAsTheBytesOfThePresentVersion) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("copy.dict");
    Dictionary::open(m_path, TEST_MEMORY_LIMIT)->save(path);
    const std::string bytes = TemporaryDirectory::getContentsOf(MELNAR_GOLDEN_FOLDER "/" + GetParam().m_presentName);
    EXPECT_GT(bytes.size(), 40000u);
    EXPECT_EQ(bytes, TemporaryDirectory::getContentsOf(path));
}

TEST_P(DictionaryFileGoldenTest, isOneStateOfOneDictionaryInAllVersions) {
    const auto identity = Dictionary::open(m_path, TEST_MEMORY_LIMIT)->getHistory().getIdentity();
    ASSERT_TRUE(identity);
    EXPECT_EQ(GetParam().m_identity, identity->toString());
}

TEST_P(DictionaryFileGoldenTest, takesMoreLiterals) {
    const std::unique_ptr<Dictionary> dictionary = Dictionary::open(m_path, TEST_MEMORY_LIMIT);
    DictionaryThread thread(*dictionary);
    const uint64_t nextResourceID = dictionary->getNextResourceID();
    for (uint64_t number = 0; number < 2000; ++number)
        EXPECT_EQ(nextResourceID + number, dictionary->resolveResource(thread, std::to_string(number), D_XSD_STRING));
    EXPECT_NO_THROW(dictionary->verify());
    dictionary->compact();
    EXPECT_NO_THROW(dictionary->verify());
}

INSTANTIATE_TEST_SUITE_P(Files, DictionaryFileGoldenTest,
                         testing::Values(makeGoldenFile("narrow", 1), makeGoldenFile("wide", 1),
                                         makeGoldenFile("narrow", 2), makeGoldenFile("wide", 2)),
                         [](const testing::TestParamInfo<GoldenFile>& parameterInfo) {
                             return parameterInfo.param.m_testName;
                         });

/// The files of the present version are what the program beside them makes today. When this fails for a reason, a new
/// format version is due.
TEST(DictionaryFileGoldenBytesTest, areWhatThePresentProgramWrites) {
    EXPECT_EQ(TemporaryDirectory::getContentsOf(MELNAR_GOLDEN_FOLDER "/dictionary-narrow-v2.dict"),
              writeToMemory(*GoldenDictionary::make(GoldenDictionary::NARROW_MAXIMUM)));
    EXPECT_EQ(TemporaryDirectory::getContentsOf(MELNAR_GOLDEN_FOLDER "/dictionary-wide-v2.dict"),
              writeToMemory(*GoldenDictionary::make(GoldenDictionary::WIDE_MAXIMUM)));
}

} // namespace
