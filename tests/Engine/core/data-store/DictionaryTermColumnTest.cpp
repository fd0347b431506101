#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ColumnAnswers.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/MemoryCharges.h"
#include "tests/Engine/core/data-store/ModelTerms.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iostream>
#include <memory>
#include <random>
#include <string>
#include <vector>

// Columns of terms, compared with the operations on single terms.

namespace {

constexpr DictionaryCommitPoint ALL = DictionaryCommitPoint::ALL;

class DictionaryTermColumnTest : public testing::TestWithParam<uint64_t> {
protected:
    /// A dictionary with a thread.
    struct Host {
        Host()
            : m_dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()}),
              m_thread(m_dictionary) {}

        ColumnAnswers resolve(const std::vector<Term>& terms) {
            return answerTogether(terms, [&](const std::span<uint64_t> ids, std::vector<BatchFailure>& failures) {
                m_dictionary.resolveTerms(m_thread, terms, ids, failures);
            });
        }

        ColumnAnswers resolveOneByOne(const std::vector<Term>& terms) {
            return answerOneByOne(terms, [this](const Term& term) { return m_dictionary.resolveTerm(m_thread, term); });
        }

        ColumnAnswers tryResolve(const DictionaryCommitPoint commitPoint, const std::vector<Term>& terms) const {
            return answerTogether(terms, [&](const std::span<uint64_t> ids, std::vector<BatchFailure>& failures) {
                m_dictionary.tryResolveTerms(commitPoint, terms, ids, failures);
            });
        }

        ColumnAnswers tryResolveOneByOne(const DictionaryCommitPoint commitPoint,
                                         const std::vector<Term>& terms) const {
            return answerOneByOne(terms,
                                  [&](const Term& term) { return m_dictionary.tryResolveTerm(commitPoint, term); });
        }

        Dictionary m_dictionary;
        DictionaryThread m_thread;
    };

    /// Expects that a column has the term of each ID.
    void expectTerms(const std::vector<uint64_t>& resourceIDs, const TermColumn& column) const {
        std::string form;
        ASSERT_EQ(resourceIDs.size(), column.getTerms().size());
        for (size_t index = 0; index < resourceIDs.size(); ++index) {
            const uint64_t resourceID = resourceIDs[index];
            const Term expected =
                m_host.m_dictionary.hasResource(resourceID) ? m_host.m_dictionary.getTerm(resourceID, form) : Term();
            ASSERT_TRUE(expected == column.getTerms()[index]) << resourceID << ": " << form;
        }
    }

    Host m_host;
    Dictionary& m_dictionary = m_host.m_dictionary;
    ModelTerms m_terms;
};

TEST_P(DictionaryTermColumnTest, randomColumnsAreAnsweredLikeTheirTermsOneByOne) {
    for (const uint32_t seed : getTestSeeds(3)) {
        SCOPED_TRACE(describeSeed(seed));
        std::minstd_rand random(seed);
        Host columns;
        Host singles;
        std::vector<DictionaryCommitPoint> commitPoints{{0}, {1}, ALL};
        for (size_t round = 0; round < 20; ++round) {
            std::vector<Term> terms = m_terms.draw(random() % 1200, 6000, random);
            for (size_t count = terms.empty() ? 0 : random() % 30; count != 0; --count)
                terms[random() % terms.size()] = m_terms.makeRefused(static_cast<uint32_t>(random()));
            ASSERT_EQ(singles.resolveOneByOne(terms), columns.resolve(terms));
            commitPoints.push_back(columns.m_dictionary.commit());
            const std::vector<Term> others = m_terms.draw(700, 12000, random);
            terms.insert(terms.end(), others.begin(), others.end());
            const DictionaryCommitPoint commitPoint = commitPoints[random() % commitPoints.size()];
            ASSERT_EQ(singles.tryResolveOneByOne(commitPoint, terms), columns.tryResolve(commitPoint, terms));
        }
        EXPECT_LT(3000u, columns.m_dictionary.getNextResourceID());
        columns.m_dictionary.verify();
    }
}

/// The first term, the last of a chunk and the first of the next are refused in turn.
TEST_P(DictionaryTermColumnTest, columnsOfAnySizeHaveIDsInTheirOrder) {
    for (const uint32_t size : {0U, 1U, 2U, 255U, 256U, 257U, 511U, 512U, 513U, 1000U})
        for (const uint32_t refused : {0U, 255U, 256U, 512U}) {
            SCOPED_TRACE(testing::Message() << size << " terms, number " << refused << " refused");
            Host host;
            std::vector<Term> terms;
            std::vector<uint64_t> expectedIDs;
            for (uint32_t number = 0; number < size; ++number) {
                terms.push_back(number == refused ? m_terms.makeRefused(4) : m_terms.make(number));
                expectedIDs.push_back(number == refused ? 0 : number + (number < refused ? 1 : 0));
            }
            const ColumnAnswers answers = host.resolve(terms);
            ASSERT_EQ(expectedIDs, answers.m_resourceIDs);
            ASSERT_EQ(refused < size ? std::vector<size_t>{refused} : std::vector<size_t>(), answers.m_failedIndexes);
            ASSERT_EQ(expectedIDs, host.tryResolve(ALL, terms).m_resourceIDs);
            TermColumn column;
            host.m_dictionary.getTerms(expectedIDs, column);
            ASSERT_EQ(size, column.getTerms().size());
            for (uint32_t number = 0; number < size; ++number)
                ASSERT_TRUE((number == refused ? Term() : terms[number]) == column.getTerms()[number]) << number;
        }
}

/// The texts are about as long as a chunk may be.
TEST_P(DictionaryTermColumnTest, longTextsEndChunksEarly) {
    std::vector<std::string> texts;
    for (const size_t length : {65535U, 65536U, 65537U, 1U, 200000U, 40000U, 40000U, 40000U, 0U, 65536U})
        texts.push_back(std::string(length, static_cast<char>('a' + texts.size())));
    std::vector<Term> terms;
    for (size_t round = 0; round < 2; ++round)
        for (const std::string& text : texts) {
            terms.push_back({.m_kind = Term::Kind::LITERAL, .m_text = text, .m_datatype = "x:y"});
            terms.push_back({.m_kind = Term::Kind::LITERAL, .m_text = text, .m_language = "e n"});
        }
    const ColumnAnswers answers = m_host.resolve(terms);
    EXPECT_EQ(2 * texts.size(), answers.m_failedIndexes.size());
    for (size_t index = 0; index < terms.size(); ++index)
        EXPECT_EQ(index % 2 == 0 ? index / 2 % texts.size() + 1 : 0, answers.m_resourceIDs[index]);
    EXPECT_TRUE(answers == m_host.resolveOneByOne(terms));
    EXPECT_TRUE(m_host.tryResolve(ALL, terms) == m_host.tryResolveOneByOne(ALL, terms));
    TermColumn column;
    m_dictionary.getTerms(answers.m_resourceIDs, column);
    expectTerms(answers.m_resourceIDs, column);
}

TEST_P(DictionaryTermColumnTest, spansOfDifferentLengthsAreRefused) {
    const std::vector<Term> terms{m_terms.make(1), m_terms.make(5)};
    std::vector<BatchFailure> failures;
    for (const size_t length : {0U, 1U, 3U}) {
        std::vector<uint64_t> resourceIDs(length, STALE_RESOURCE_ID);
        const std::string message = "There are 2 terms, but room for " + std::to_string(length) + " IDs.";
        EXPECT_EQ(message, catchException<MelnarException>([&] {
                               m_dictionary.resolveTerms(m_host.m_thread, terms, resourceIDs, failures);
                           }).getMessage());
        EXPECT_EQ(message, catchException<MelnarException>([&] {
                               m_dictionary.tryResolveTerms(ALL, terms, resourceIDs, failures);
                           }).getMessage());
        EXPECT_EQ(std::vector<uint64_t>(length, STALE_RESOURCE_ID), resourceIDs);
    }
    EXPECT_TRUE(failures.empty());
    EXPECT_EQ(1u, m_dictionary.getNextResourceID());
}

TEST_P(DictionaryTermColumnTest, whatAFullDictionaryLacksFailsAlone) {
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = 300});
    DictionaryThread thread(dictionary);
    std::vector<Term> terms;
    for (uint32_t number = 0; number < 400; ++number)
        terms.push_back(m_terms.make(number));
    terms.push_back(terms.front());
    std::vector<uint64_t> resourceIDs(terms.size());
    std::vector<BatchFailure> failures;
    dictionary.resolveTerms(thread, terms, resourceIDs, failures);
    ASSERT_EQ(100u, failures.size());
    for (size_t index = 0; index < terms.size(); ++index)
        ASSERT_EQ(index < 300 ? index + 1 : size_t(index == 400), resourceIDs[index]);
    for (size_t index = 0; index < failures.size(); ++index) {
        EXPECT_EQ(300 + index, failures[index].m_entryIndex);
        EXPECT_EQ(FailureKind::FULL, failures[index].m_kind);
        EXPECT_THROW(failures[index].throwException(), MelnarException);
    }
}

TEST_P(DictionaryTermColumnTest, aColumnHasTheTermsOfItsLastIDs) {
    std::minstd_rand random(1);
    m_host.resolve(m_terms.draw(2000, 3000, random));
    m_dictionary.commit();
    const uint64_t firstWithdrawn = m_dictionary.getNextResourceID();
    m_host.resolve(m_terms.draw(2000, 6000, random));
    m_dictionary.rollback();
    const uint64_t firstUncommitted = m_dictionary.getNextResourceID();
    m_host.resolve(m_terms.draw(2000, 6000, random));
    ASSERT_FALSE(m_dictionary.hasResource(firstWithdrawn));
    ASSERT_LT(firstUncommitted, m_dictionary.getNextResourceID());
    TermColumn column;
    EXPECT_TRUE(column.getTerms().empty());
    for (const size_t size : {1U, 0U, 300U, 255U, 2000U, 257U, 256U, 5U, 3000U}) {
        SCOPED_TRACE(size);
        std::vector<uint64_t> resourceIDs{};
        while (resourceIDs.size() < size)
            resourceIDs.push_back(random() % (m_dictionary.getNextResourceID() + 3));
        if (size > 1) {
            resourceIDs[0] = ~uint64_t(0);
            resourceIDs[1] = firstUncommitted;
        }
        m_dictionary.getTerms(resourceIDs, column);
        expectTerms(resourceIDs, column);
    }
}

/// A failing allocation ends the operation, or belongs to the table of a family.
TEST_P(DictionaryTermColumnTest, anyAllocationOfResolvingMayFail) {
    std::vector<Term> terms;
    std::vector<size_t> refused;
    for (uint32_t number = 0; number < 600; ++number) {
        const bool isRefused = number % 80 == 77;
        terms.push_back(isRefused ? m_terms.makeRefused(number / 80) : m_terms.make(number));
        if (isRefused)
            refused.push_back(number);
    }
    size_t endedLate = 0;
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        Host host;
        std::vector<uint64_t> resourceIDs(terms.size(), STALE_RESOURCE_ID);
        std::vector<BatchFailure> failures;
        const bool isEnded =
            !round.attempt([&] { host.m_dictionary.resolveTerms(host.m_thread, terms, resourceIDs, failures); });
        endedLate += isEnded && resourceIDs.front() != 0;
        ASSERT_TRUE(std::ranges::is_sorted(failures, {}, &BatchFailure::m_entryIndex));
        for (const BatchFailure& failure : failures) {
            ASSERT_EQ(0u, resourceIDs[failure.m_entryIndex]);
            const bool isRefused = std::ranges::find(refused, failure.m_entryIndex) != refused.end();
            ASSERT_EQ(isRefused ? FailureKind::REFUSED_LITERAL : FailureKind::SYSTEM, failure.m_kind);
            if (isRefused) {
                ASSERT_THROW(failure.throwException(), MelnarException);
            }
        }
        for (size_t index = 0; index < terms.size(); ++index)
            if (resourceIDs[index] != 0) {
                ASSERT_EQ(resourceIDs[index], host.m_dictionary.tryResolveTerm(ALL, terms[index]));
            } else if (!isEnded) {
                ASSERT_TRUE(std::ranges::find(failures, index, &BatchFailure::m_entryIndex) != failures.end());
            }
        host.m_dictionary.verify();
        expectChargesAddUp(host.m_dictionary);
        ASSERT_EQ(refused, host.resolve(terms).m_failedIndexes);
        ASSERT_EQ(terms.size() - refused.size() + 1, host.m_dictionary.getNextResourceID());
    });
    EXPECT_LT(10u, counts.m_throws);
    EXPECT_LT(3u, endedLate) << "no chunk but the first has failed";
    std::cout << "Resolving a column, allocations: " << counts << '\n';
}

TEST_P(DictionaryTermColumnTest, anyAllocationOfReadingMayFail) {
    std::vector<Term> terms;
    std::vector<uint64_t> resourceIDs;
    for (uint32_t number = 0; number < 600; ++number)
        terms.push_back(m_terms.make(number));
    for (uint64_t resourceID = m_host.resolve(terms).m_resourceIDs.back(); resourceID != 0; --resourceID)
        resourceIDs.push_back(resourceID);
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        TermColumn column;
        m_dictionary.getTerms(std::vector<uint64_t>{1, 2}, column);
        const bool isEnded = !round.attempt([&] { m_dictionary.getTerms(resourceIDs, column); });
        ASSERT_EQ(round.hasFailed(), isEnded);
        const size_t numberOfTerms = column.getTerms().size();
        ASSERT_EQ(isEnded, numberOfTerms < resourceIDs.size());
        expectTerms({resourceIDs.begin(), resourceIDs.begin() + static_cast<ptrdiff_t>(numberOfTerms)}, column);
    });
    EXPECT_LT(10u, counts.m_throws);
}

TEST_P(DictionaryTermColumnTest, memoryDoesNotGrowWithTheColumn) {
    std::minstd_rand random(1);
    const std::vector<Term> terms = m_terms.draw(20000, 20000, random);
    const std::vector<uint64_t> resourceIDs = m_host.resolve(terms).m_resourceIDs;
    std::vector<uint64_t> answers(terms.size());
    std::vector<BatchFailure> failures;
    TermColumn column;
    m_dictionary.getTerms(resourceIDs, column);
    {
        const AllocationFaults faults = AllocationFaults::failAfter(60);
        m_dictionary.tryResolveTerms(ALL, terms, answers, failures);
        EXPECT_FALSE(faults.hasFailed());
    }
    EXPECT_EQ(resourceIDs, answers);
    const AllocationFaults faults = AllocationFaults::failAfter(0);
    m_dictionary.getTerms(resourceIDs, column);
    EXPECT_FALSE(faults.hasFailed());
}

/// More terms at a time would take more memory, which would be allocated in more steps.
TEST_P(DictionaryTermColumnTest, fewLongTextsAreMadeAtATime) {
    const std::string text(60000, 'a');
    const std::vector<Term> terms(256, {.m_kind = Term::Kind::LITERAL, .m_text = text, .m_datatype = "x:y"});
    m_host.resolve({terms.front()});
    std::vector<uint64_t> answers(terms.size());
    std::vector<BatchFailure> failures;
    const AllocationFaults faults = AllocationFaults::failAfter(12);
    m_dictionary.tryResolveTerms(ALL, terms, answers, failures);
    EXPECT_FALSE(faults.hasFailed());
    EXPECT_EQ(std::vector<uint64_t>(terms.size(), 1), answers);
}

INSTANTIATE_TEST_SUITE_P(Widths, DictionaryTermColumnTest, testing::Values(NARROW, WIDE),
                         [](const auto& instance) { return instance.param == NARROW ? "narrow" : "wide"; });

} // namespace
