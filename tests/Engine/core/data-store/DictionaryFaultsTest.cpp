#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/Engine/core/data-store/DictionaryContents.h"
#include "tests/Engine/core/data-store/MemoryCharges.h"
#include "tests/Engine/core/data-store/ModelTerms.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iostream>
#include <string>
#include <utility>
#include <vector>

// Each request for memory of operations on single terms fails in turn. Tables grow several times meanwhile.

namespace {

using Call = SystemCallFaults::Call;

class DictionaryFaultsTest : public testing::TestWithParam<DictionaryContents> {
protected:
    static constexpr size_t NUMBER_OF_TERMS = 3000;

    /// Makes all terms before, so only the dictionary requests memory.
    DictionaryFaultsTest() {
        for (size_t number = 0; number < NUMBER_OF_TERMS; ++number)
            m_terms.push_back(GetParam().makeLiteral(number));
    }

    static DictionaryOptions getOptions() {
        return {.m_memoryLimit = TEST_MEMORY_LIMIT,
                .m_maximumNumberOfResources = GetParam().m_maximumNumberOfResources};
    }

    uint64_t resolve(Dictionary& dictionary, DictionaryThread& thread, const size_t number) const {
        return dictionary.resolveResource(thread, m_terms[number].second, m_terms[number].first);
    }

    /// Expects that a dictionary has exactly the first terms.
    void expectTerms(const Dictionary& dictionary, const size_t count) const {
        EXPECT_EQ(count + 1, dictionary.getNextResourceID()) << "a failed creation uses no ID";
        for (size_t number = 0; number < NUMBER_OF_TERMS; ++number)
            ASSERT_EQ(number < count ? number + 1 : 0,
                      dictionary.tryResolveResource(DictionaryCommitPoint::ALL, m_terms[number].second,
                                                    m_terms[number].first));
        EXPECT_NO_THROW(dictionary.verify());
        expectChargesAddUp(dictionary);
    }

    /// Resolves the terms one by one until one fails, and then the others.
    FailureCounts resolveWithFailures(const std::vector<Fault>& faults) const {
        return failEach(faults, [this](FailureRound& round) {
            Dictionary dictionary(getOptions());
            DictionaryThread thread(dictionary);
            size_t number = 0;
            round.attempt([&] {
                for (; number < NUMBER_OF_TERMS; ++number)
                    resolve(dictionary, thread, number);
            });
            EXPECT_EQ(round.hasThrown(), number < NUMBER_OF_TERMS);
            expectTerms(dictionary, number);
            for (; number < NUMBER_OF_TERMS; ++number)
                ASSERT_EQ(number + 1, resolve(dictionary, thread, number));
            expectTerms(dictionary, NUMBER_OF_TERMS);
        });
    }

    std::vector<std::pair<uint8_t, std::string>> m_terms;
};

TEST_P(DictionaryFaultsTest, everyRefusalOfMemoryFailsOneTermWhichIsResolvedLater) {
    const FailureCounts counts = resolveWithFailures(ofCalls({Call::MMAP, Call::MPROTECT}, {ENOMEM}));
    EXPECT_LT(20u, counts.m_throws);
    EXPECT_LT(5u, counts.m_tolerated) << "fingerprints and larger steps than needed may be missing";
    std::cout << "Resolving, calls: " << counts << '\n';
}

TEST_P(DictionaryFaultsTest, memoryThatTheSystemDoesNotTakeBackFailsNothing) {
    const FailureCounts counts = resolveWithFailures(ofCalls({Call::MUNMAP, Call::MADVISE}, {ENOMEM}));
    EXPECT_EQ(0u, counts.m_throws);
    EXPECT_LT(5u, counts.m_tolerated);
    std::cout << "Resolving, releases: " << counts << '\n';
}

TEST_P(DictionaryFaultsTest, everyAllocationOfResolvingAndReadingATermFails) {
    ModelTerms source;
    std::vector<Term> terms;
    for (uint32_t number = 0; number < 40; ++number)
        terms.push_back(source.make(number));
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        Dictionary dictionary(getOptions());
        std::vector<uint64_t> resourceIDs;
        resourceIDs.reserve(terms.size());
        round.attempt([&] {
            DictionaryThread thread(dictionary);
            std::string form;
            for (const Term& term : terms) {
                resourceIDs.push_back(dictionary.resolveTerm(thread, term));
                static_cast<void>(dictionary.getTerm(resourceIDs.back(), form));
            }
        });
        EXPECT_EQ(round.hasThrown(), round.hasFailed());
        EXPECT_NO_THROW(dictionary.verify());
        expectChargesAddUp(dictionary);
        for (size_t index = 0; index < resourceIDs.size(); ++index)
            ASSERT_EQ(resourceIDs[index], dictionary.tryResolveTerm(DictionaryCommitPoint::ALL, terms[index]));
        DictionaryThread thread(dictionary);
        std::string form;
        for (const Term& term : terms)
            ASSERT_EQ(term, dictionary.getTerm(dictionary.resolveTerm(thread, term), form));
    });
    EXPECT_LT(20u, counts.m_throws);
    std::cout << "Resolving and reading, allocations: " << counts << '\n';
}

TEST_P(DictionaryFaultsTest, rollbackAndCommitNeedNoMemory) {
    const FailureCounts counts = failEach({{std::nullopt, 0, FaultDuration::FOR_GOOD},
                                           {Call::MPROTECT, ENOMEM, FaultDuration::FOR_GOOD},
                                           {Call::MMAP, ENOMEM, FaultDuration::FOR_GOOD}},
                                          [this](FailureRound& round) {
                                              Dictionary dictionary(getOptions());
                                              DictionaryThread thread(dictionary);
                                              for (size_t number = 0; number < 1000; ++number)
                                                  resolve(dictionary, thread, number);
                                              EXPECT_TRUE(round.attempt([&] {
                                                  dictionary.rollback();
                                                  dictionary.commit();
                                              }));
                                              EXPECT_EQ(0u, dictionary.size());
                                              EXPECT_EQ(1001u, dictionary.getCommitPoint().m_resourceID);
                                          });
    EXPECT_EQ(0u, counts.m_failures);
}

INSTANTIATE_TEST_SUITE_P(Contents, DictionaryFaultsTest, ALL_CONTENTS, nameContents);

} // namespace
