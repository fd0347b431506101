#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/golden/GoldenDictionary.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/// A bucket width, the contents of the file, and the version that has written it.
struct GoldenFile {
    bool m_isNarrow;
    bool m_hasTerms;
    int m_version;
    std::string m_identity;

    uint64_t getMaximumNumberOfResources() const {
        return m_isNarrow ? GoldenDictionary::NARROW_MAXIMUM : GoldenDictionary::WIDE_MAXIMUM;
    }

    GoldenDictionary::Resources getResources() const {
        return m_hasTerms ? GoldenDictionary::getTerms() : GoldenDictionary::getStrings();
    }

    /// Returns the path of the file of a version with these contents.
    std::string getPath(const int version) const {
        return std::string(MELNAR_GOLDEN_FOLDER "/dictionary-") + (m_hasTerms ? "terms-" : "") +
               (m_isNarrow ? "narrow" : "wide") + "-v" + std::to_string(version) + ".dict";
    }
};

constexpr int PRESENT_VERSION = 2;

constexpr const char* NARROW_IDENTITY = "16eebaaaa60bed05deda7c8d37678626";
constexpr const char* WIDE_IDENTITY = "b4294f484667764148a41568309a01bb";
constexpr const char* NARROW_TERMS_IDENTITY = "69f7f41c9d131b5bf479610c28ab772a";
constexpr const char* WIDE_TERMS_IDENTITY = "0af026ff00b1bb3ce37fcdf0d42c5966";

/// Every claim holds for every file that a version of this program has written.
class DictionaryFileGoldenTest : public testing::TestWithParam<GoldenFile> {
protected:
    const std::string m_path = GetParam().getPath(GetParam().m_version);
};

TEST_P(DictionaryFileGoldenTest, holdsWhatWasPutIntoIt) {
    using Fate = GoldenDictionary::Fate;
    const std::unique_ptr<Dictionary> dictionary = Dictionary::open(m_path, {.m_memoryLimit = TEST_MEMORY_LIMIT});
    EXPECT_EQ(GetParam().getMaximumNumberOfResources(), dictionary->getMaximumNumberOfResources());
    EXPECT_NO_THROW(dictionary->verify());
    const auto resources = GetParam().getResources();
    EXPECT_EQ(resources.size() + 1, dictionary->getNextResourceID());
    uint64_t resourceID = 0;
    for (const auto& [datatypeID, lexicalForm, fate] : resources) {
        ++resourceID;
        EXPECT_EQ(fate != Fate::NOT_COMMITTED, resourceID < dictionary->getCommitPoint().m_resourceID) << resourceID;
        std::string found;
        if (fate == Fate::WITHDRAWN) {
            EXPECT_THROW(dictionary->getResource(resourceID, found), MelnarException) << resourceID;
            continue;
        }
        EXPECT_EQ(datatypeID, dictionary->getResource(resourceID, found)) << resourceID;
        EXPECT_EQ(lexicalForm, found) << resourceID;
        EXPECT_EQ(resourceID, dictionary->tryResolveResource(DictionaryCommitPoint::ALL, lexicalForm, datatypeID));
        EXPECT_EQ(fate == Fate::COMMITTED ? resourceID : 0,
                  dictionary->tryResolveResource(dictionary->getCommitPoint(), lexicalForm, datatypeID));
    }
}

TEST_P(DictionaryFileGoldenTest, isSavedAgainAsTheBytesOfThePresentVersion) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("copy.dict");
    Dictionary::open(m_path, {.m_memoryLimit = TEST_MEMORY_LIMIT})->save(path);
    const std::string bytes = TemporaryDirectory::getContentsOf(GetParam().getPath(PRESENT_VERSION));
    EXPECT_GT(bytes.size(), 40000u);
    EXPECT_EQ(bytes, TemporaryDirectory::getContentsOf(path));
}

TEST_P(DictionaryFileGoldenTest, isOneStateOfOneDictionaryInAllVersions) {
    const auto identity = Dictionary::open(m_path, {.m_memoryLimit = TEST_MEMORY_LIMIT})->getHistory().getIdentity();
    ASSERT_TRUE(identity);
    EXPECT_EQ(GetParam().m_identity, identity->toString());
}

TEST_P(DictionaryFileGoldenTest, takesMoreLiterals) {
    const std::unique_ptr<Dictionary> dictionary = Dictionary::open(m_path, {.m_memoryLimit = TEST_MEMORY_LIMIT});
    DictionaryThread thread(*dictionary);
    const uint64_t nextResourceID = dictionary->getNextResourceID();
    for (uint64_t number = 0; number < 2000; ++number)
        EXPECT_EQ(nextResourceID + number, dictionary->resolveResource(thread, "new:" + std::to_string(number),
                                                                       number % 2 == 0 ? D_XSD_STRING : D_IRI));
    EXPECT_NO_THROW(dictionary->verify());
    dictionary->compact();
    EXPECT_NO_THROW(dictionary->verify());
}

/// The program beside the files of the current version still makes the same files. If this fails for a good reason, a
/// new format version is needed.
TEST_P(DictionaryFileGoldenTest, thePresentProgramWritesThePresentFile) {
    const GoldenFile& file = GetParam();
    EXPECT_EQ(TemporaryDirectory::getContentsOf(file.getPath(PRESENT_VERSION)),
              writeToMemory(*GoldenDictionary::make(file.getResources(), file.getMaximumNumberOfResources())));
}

INSTANTIATE_TEST_SUITE_P(
    Files, DictionaryFileGoldenTest,
    testing::Values(GoldenFile{true, false, 1, NARROW_IDENTITY}, GoldenFile{false, false, 1, WIDE_IDENTITY},
                    GoldenFile{true, false, 2, NARROW_IDENTITY}, GoldenFile{false, false, 2, WIDE_IDENTITY},
                    GoldenFile{true, true, 2, NARROW_TERMS_IDENTITY}, GoldenFile{false, true, 2, WIDE_TERMS_IDENTITY}),
    [](const testing::TestParamInfo<GoldenFile>& parameterInfo) {
        const GoldenFile& file = parameterInfo.param;
        return std::string(file.m_hasTerms ? "terms" : "strings") + (file.m_isNarrow ? "Narrow" : "Wide") + "V" +
               std::to_string(file.m_version);
    });

} // namespace
