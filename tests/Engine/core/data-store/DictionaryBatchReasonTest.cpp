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

using Reason = BatchFailure::Reason;
using Reasons = std::vector<std::pair<size_t, Reason>>;

Reasons getReasons(const std::vector<BatchFailure>& failures) {
    Reasons reasons;
    for (const BatchFailure& failure : failures)
        reasons.emplace_back(failure.m_entryIndex, failure.m_reason);
    return reasons;
}

/// The words' datatype answers batches by the operations on single literals, that of the strings by its own.
class DictionaryBatchReasonTest : public TwoDatatypesFixture {
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

TEST_P(DictionaryBatchReasonTest, aLiteralThatIsNoneOfItsDatatypeIsRefused) {
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
    const Reasons expected{{2, Reason::REFUSED}, {3, Reason::REFUSED}, {4, Reason::REFUSED},
                           {5, Reason::REFUSED}, {6, Reason::REFUSED}, {8, Reason::REFUSED}};
    EXPECT_EQ(expected, getReasons(lookUp(entries)));
    EXPECT_EQ(expected, getReasons(resolve(*m_dictionary, entries)));
    for (const BatchFailure& failure : resolve(*m_dictionary, entries))
        EXPECT_THROW(failure.throwException(), MelnarException);
}

TEST_P(DictionaryBatchReasonTest, aFullDictionaryIsALimit) {
    Dictionary full({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = 1});
    const std::vector<BatchFailure> failures = resolve(full, {{"word", 0, m_small},
                                                              {"other", 0, m_small},
                                                              {"Refused", 0, m_small},
                                                              {"a", 0, D_XSD_STRING},
                                                              {"refused", 0, D_RDF_PLAIN_LITERAL},
                                                              {"a@en", 0, D_RDF_PLAIN_LITERAL}});
    EXPECT_EQ(
        (Reasons{
            {1, Reason::LIMIT}, {2, Reason::REFUSED}, {3, Reason::LIMIT}, {4, Reason::REFUSED}, {5, Reason::LIMIT}}),
        getReasons(failures));
}

TEST_P(DictionaryBatchReasonTest, theMemoryLimitIsALimit) {
    Dictionary small({.m_memoryLimit = size_t(256) << 10, .m_maximumNumberOfResources = m_maximum});
    const std::string word(size_t(300) << 10, 'a');
    const std::vector<BatchFailure> failures =
        resolve(small, {{word, 0, m_small}, {word, 0, D_XSD_STRING}, {"word", 0, m_small}, {"a", 0, D_XSD_STRING}});
    EXPECT_EQ((Reasons{{0, Reason::LIMIT}, {1, Reason::LIMIT}}), getReasons(failures));
}

TEST_P(DictionaryBatchReasonTest, aSystemThatGivesNoMemoryIsTheSystem) {
    std::vector<BatchFailure> failures;
    {
        SystemCallFaults faults(SystemCallFaults::Call::MPROTECT);
        faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::FOR_GOOD);
        failures = resolve(*m_dictionary, {{"word", 0, m_small}, {"a", 0, D_XSD_STRING}, {"Word", 0, m_small}});
    }
    EXPECT_EQ((Reasons{{0, Reason::SYSTEM}, {1, Reason::SYSTEM}, {2, Reason::REFUSED}}), getReasons(failures));
    EXPECT_THROW(failures[0].throwException(), SystemCallException);
    EXPECT_THROW(failures[1].throwException(), SystemCallException);
    EXPECT_TRUE(resolve(*m_dictionary, {{"word", 0, m_small}, {"a", 0, D_XSD_STRING}}).empty());
}

INSTANTIATE_TEST_SUITE_P(WidthsAndIDs, DictionaryBatchReasonTest, WIDTHS_AND_IDS, nameWidthAndIDs);

} // namespace
