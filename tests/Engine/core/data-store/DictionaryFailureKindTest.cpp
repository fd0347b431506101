#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <span>
#include <string>
#include <string_view>

namespace {

/// Returns the kind of the failure with which an operation ends.
template<class Operation>
FailureKind getKindOfFailure(const Operation& operation) {
    try {
        operation();
    } catch (const MelnarException& exception) {
        return exception.getKind();
    }
    ADD_FAILURE() << "nothing was thrown";
    return FailureKind::OTHER;
}

class DictionaryFailureKindTest : public testing::Test {
protected:
    Dictionary m_dictionary{{.m_memoryLimit = size_t(4) << 20, .m_maximumNumberOfResources = 3}};
    DictionaryThread m_thread{m_dictionary};
};

TEST_F(DictionaryFailureKindTest, aFormThatIsNoneOfItsDatatypeIsRefused) {
    for (const char* const form : {"no tag", "malformed@tag-"})
        EXPECT_EQ(FailureKind::REFUSED_LITERAL,
                  getKindOfFailure([&] { m_dictionary.resolveResource(m_thread, form, D_RDF_PLAIN_LITERAL); }));
    EXPECT_EQ(FailureKind::REFUSED_LITERAL,
              getKindOfFailure([&] { m_dictionary.resolveResource(m_thread, "any", 77); }));
    EXPECT_EQ(FailureKind::REFUSED_LITERAL, getKindOfFailure([&] {
                  m_dictionary.resolveTerm(m_thread, {.m_kind = Term::Kind::BLANK_NODE, .m_text = ""});
              }));
}

TEST_F(DictionaryFailureKindTest, anIDOfNothingIsNoResource) {
    std::string text;
    for (const uint64_t resourceID : {uint64_t(0), uint64_t(1), ~uint64_t(0)})
        EXPECT_EQ(FailureKind::NO_SUCH_RESOURCE, getKindOfFailure([&] { m_dictionary.getResource(resourceID, text); }));
}

TEST_F(DictionaryFailureKindTest, aTermThatIsNoStringIsNoResourceForStrings) {
    const uint64_t resourceID = m_dictionary.resolveTerm(m_thread, {.m_kind = Term::Kind::IRI, .m_text = "iri"});
    std::string_view text;
    EXPECT_EQ(FailureKind::NO_SUCH_RESOURCE,
              getKindOfFailure([&] { static_cast<void>(m_dictionary.getLexicalForm(resourceID)); }));
    EXPECT_EQ(FailureKind::NO_SUCH_RESOURCE,
              getKindOfFailure([&] { m_dictionary.decode(std::span(&resourceID, 1), std::span(&text, 1)); }));
}

TEST_F(DictionaryFailureKindTest, aFolderInThePlaceOfAFileIsTheSystem) {
    const TemporaryDirectory directory;
    EXPECT_EQ(FailureKind::SYSTEM, getKindOfFailure([&] { m_dictionary.save(directory.getPathOf(".")); }));
}

TEST_F(DictionaryFailureKindTest, theLargestNumberOfResourcesMakesFull) {
    for (const char* const form : {"a", "b", "c"})
        m_dictionary.resolveResource(m_thread, form, D_XSD_STRING);
    EXPECT_EQ(FailureKind::FULL, getKindOfFailure([&] { m_dictionary.resolveResource(m_thread, "d", D_XSD_STRING); }));
}

TEST_F(DictionaryFailureKindTest, theMemoryLimitIsMemory) {
    const std::string large(size_t(5) << 20, 'a');
    EXPECT_EQ(FailureKind::MEMORY,
              getKindOfFailure([&] { m_dictionary.resolveResource(m_thread, large, D_XSD_STRING); }));
    m_dictionary.resolveResource(m_thread, "a", D_XSD_STRING);
    const TemporaryDirectory directory;
    m_dictionary.save(directory.getPathOf("d"));
    EXPECT_EQ(FailureKind::MEMORY, getKindOfFailure([&] {
                  static_cast<void>(Dictionary::open(directory.getPathOf("d"), {.m_memoryLimit = 1000}));
              }));
}

TEST_F(DictionaryFailureKindTest, aCallThatFailsIsTheSystem) {
    EXPECT_EQ(FailureKind::SYSTEM, getKindOfFailure([] { static_cast<void>(Dictionary::open("/absent/file")); }));
    SystemCallFaults faults(SystemCallFaults::Call::MPROTECT);
    faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::FOR_GOOD);
    EXPECT_EQ(FailureKind::SYSTEM,
              getKindOfFailure([&] { m_dictionary.resolveResource(m_thread, "a", D_XSD_STRING); }));
}

TEST_F(DictionaryFailureKindTest, aFileThatIsNoSoundDictionaryIsDamaged) {
    m_dictionary.resolveResource(m_thread, "a", D_XSD_STRING);
    const std::string bytes = writeToMemory(m_dictionary);
    EXPECT_EQ(FailureKind::DAMAGED_FILE, getKindOfFailure([&] { readFromMemory(bytes.substr(0, 100)); }));
    EXPECT_EQ(FailureKind::DAMAGED_FILE, getKindOfFailure([&] { readFromMemory("no dictionary at all"); }));
    std::string flipped = bytes;
    flipped[bytes.size() / 2] ^= 1;
    EXPECT_EQ(FailureKind::DAMAGED_FILE, getKindOfFailure([&] { readFromMemory(flipped); }));
}

TEST_F(DictionaryFailureKindTest, aFileThatIsBeingWrittenIsInUse) {
    const TemporaryDirectory directory;
    const FileLock lock(directory.getPathOf("d"));
    EXPECT_EQ(FailureKind::IN_USE, getKindOfFailure([&] { const FileLock second(directory.getPathOf("d")); }));
}

TEST_F(DictionaryFailureKindTest, whatNoDictionaryCanHoldIsMisuse) {
    EXPECT_EQ(FailureKind::MISUSE, getKindOfFailure([] {
                  Dictionary dictionary(
                      {.m_maximumNumberOfResources = Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES + 1});
              }));
    uint64_t resourceID;
    std::vector<BatchFailure> failures;
    EXPECT_EQ(FailureKind::MISUSE,
              getKindOfFailure([&] { m_dictionary.resolveTerms(m_thread, {}, std::span(&resourceID, 1), failures); }));
}

} // namespace
