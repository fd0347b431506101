#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/TwoDatatypesFixture.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Kinds = std::vector<std::pair<size_t, FailureKind>>;

Kinds getKinds(const std::vector<BatchFailure>& failures) {
    Kinds kinds;
    for (const BatchFailure& failure : failures)
        kinds.emplace_back(failure.m_entryIndex, failure.m_kind);
    return kinds;
}

/// The datatype of words processes batches with its operations on single literals, that of strings with its own batch
/// operations.
class DictionaryBatchFailureKindTest : public TwoDatatypesFixture {
protected:
    std::vector<BatchFailure> resolve(Dictionary& dictionary, std::vector<BatchEntry> entries) const {
        DictionaryThread thread(dictionary);
        std::vector<BatchFailure> failures;
        dictionary.resolveResources(thread, entries, failures);
        return failures;
    }

    std::vector<BatchFailure> lookUp(std::vector<BatchEntry> entries) const {
        std::vector<BatchFailure> failures;
        m_dictionary->tryResolveResources({~uint64_t(0)}, entries, failures);
        return failures;
    }
};

TEST_P(DictionaryBatchFailureKindTest, aLiteralThatIsNoneOfItsDatatypeIsRefused) {
    const std::vector<BatchEntry> entries{{"a", 0, D_XSD_STRING},
                                          {"word", 0, m_small},
                                          {"no tag", 0, D_RDF_PLAIN_LITERAL},
                                          {"a@1", 0, D_RDF_PLAIN_LITERAL},
                                          {"Word", 0, m_small},
                                          {"", 0, m_capital},
                                          {"any", 0, 77},
                                          {"a@en", 0, D_RDF_PLAIN_LITERAL},
                                          {"any", 0, D_INVALID},
                                          {"WORD", 0, m_capital}};
    const Kinds expected{{2, FailureKind::REFUSED_LITERAL}, {3, FailureKind::REFUSED_LITERAL},
                         {4, FailureKind::REFUSED_LITERAL}, {5, FailureKind::REFUSED_LITERAL},
                         {6, FailureKind::REFUSED_LITERAL}, {8, FailureKind::REFUSED_LITERAL}};
    EXPECT_EQ(expected, getKinds(lookUp(entries)));
    EXPECT_EQ(expected, getKinds(resolve(*m_dictionary, entries)));
    for (const BatchFailure& failure : resolve(*m_dictionary, entries))
        EXPECT_THROW(failure.throwException(), MelnarException);
}

TEST_P(DictionaryBatchFailureKindTest, aFullDictionaryIsFull) {
    Dictionary full({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = 1});
    const std::vector<BatchFailure> failures = resolve(full, {{"word", 0, m_small},
                                                              {"other", 0, m_small},
                                                              {"Refused", 0, m_small},
                                                              {"a", 0, D_XSD_STRING},
                                                              {"refused", 0, D_RDF_PLAIN_LITERAL},
                                                              {"a@en", 0, D_RDF_PLAIN_LITERAL}});
    EXPECT_EQ((Kinds{{1, FailureKind::FULL},
                     {2, FailureKind::REFUSED_LITERAL},
                     {3, FailureKind::FULL},
                     {4, FailureKind::REFUSED_LITERAL},
                     {5, FailureKind::FULL}}),
              getKinds(failures));
}

TEST_P(DictionaryBatchFailureKindTest, theMemoryLimitIsMemory) {
    Dictionary small({.m_memoryLimit = size_t(256) << 10, .m_maximumNumberOfResources = m_maximum});
    const std::string word(size_t(300) << 10, 'a');
    const std::vector<BatchFailure> failures =
        resolve(small, {{word, 0, m_small}, {word, 0, D_XSD_STRING}, {"word", 0, m_small}, {"a", 0, D_XSD_STRING}});
    EXPECT_EQ((Kinds{{0, FailureKind::MEMORY}, {1, FailureKind::MEMORY}}), getKinds(failures));
}

TEST_P(DictionaryBatchFailureKindTest, aSystemThatGivesNoMemoryIsTheSystem) {
    std::vector<BatchFailure> failures;
    {
        SystemCallFaults faults(SystemCallFaults::Call::MPROTECT);
        faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::FOR_GOOD);
        failures = resolve(*m_dictionary, {{"word", 0, m_small}, {"a", 0, D_XSD_STRING}, {"Word", 0, m_small}});
    }
    EXPECT_EQ((Kinds{{0, FailureKind::SYSTEM}, {1, FailureKind::SYSTEM}, {2, FailureKind::REFUSED_LITERAL}}),
              getKinds(failures));
    EXPECT_THROW(failures[0].throwException(), SystemCallException);
    EXPECT_THROW(failures[1].throwException(), SystemCallException);
    EXPECT_TRUE(resolve(*m_dictionary, {{"word", 0, m_small}, {"a", 0, D_XSD_STRING}}).empty());
}

INSTANTIATE_TEST_SUITE_P(WidthsAndIDs, DictionaryBatchFailureKindTest, WIDTHS_AND_IDS, nameWidthAndIDs);

} // namespace
