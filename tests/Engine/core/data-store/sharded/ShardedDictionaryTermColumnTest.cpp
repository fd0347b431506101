#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ColumnAnswers.h"
#include "tests/Engine/core/data-store/ModelTerms.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>
#include <random>
#include <span>
#include <string>
#include <vector>

// Columns of terms, compared with the operations on single terms.

namespace {

constexpr size_t CHUNK_SIZE = size_t(1) << 14;

constexpr DictionaryOptions FEW_RESOURCES_OF_A_SHARD{.m_memoryLimit = SHARDED_MEMORY_LIMIT,
                                                     .m_maximumNumberOfResources = FEW_RESOURCES};

/// A dictionary with a thread.
struct ColumnHost {
    ColumnAnswers resolve(const std::vector<Term>& terms) {
        return answerTogether(terms, [&](const std::span<uint64_t> ids, std::vector<BatchFailure>& failures) {
            m_dictionary.resolveTerms(m_thread, terms, ids, failures);
        });
    }

    ColumnAnswers resolveEach(const std::vector<Term>& terms) {
        return answerOneByOne(terms, [this](const Term& term) { return m_dictionary.resolveTerm(m_thread, term); });
    }

    ColumnAnswers lookUp(const std::vector<Term>& terms) const {
        return answerTogether(terms, [&](const std::span<uint64_t> ids, std::vector<BatchFailure>& failures) {
            m_dictionary.tryResolveTerms(terms, ids, failures);
        });
    }

    ColumnAnswers lookUpEach(const std::vector<Term>& terms) const {
        return answerOneByOne(terms, [this](const Term& term) { return m_dictionary.tryResolveTerm(term); });
    }

    /// Expects that a column has the term of each ID.
    void expectTerms(const std::vector<uint64_t>& resourceIDs, const TermColumn& column) const {
        std::string form;
        ASSERT_EQ(resourceIDs.size(), column.getTerms().size());
        for (size_t index = 0; index < resourceIDs.size(); ++index) {
            const uint64_t resourceID = resourceIDs[index];
            const Term expected =
                m_dictionary.hasResource(resourceID) ? m_dictionary.getTerm(resourceID, form) : Term();
            ASSERT_TRUE(expected == column.getTerms()[index]) << resourceID << ": " << form;
        }
    }

    ShardedDictionary m_dictionary{FEW_RESOURCES_OF_A_SHARD};
    ShardedDictionaryThread m_thread{m_dictionary};
};

TEST(ShardedDictionaryTermColumnTest, randomColumnsAreAnsweredLikeTheirTermsOneByOne) {
    for (const uint32_t seed : getTestSeeds(2)) {
        SCOPED_TRACE(describeSeed(seed));
        std::minstd_rand random(seed);
        ModelTerms source;
        ColumnHost columns;
        ColumnHost singles;
        for (size_t round = 0; round < 8; ++round) {
            std::vector<Term> terms = source.draw(random() % 5000, 20000, random);
            for (size_t count = terms.empty() ? 0 : random() % 30; count != 0; --count)
                terms[random() % terms.size()] = source.makeRefused(static_cast<uint32_t>(random()));
            ASSERT_EQ(singles.resolveEach(terms), columns.resolve(terms));
            const std::vector<Term> others = source.draw(700, 40000, random);
            terms.insert(terms.end(), others.begin(), others.end());
            ASSERT_EQ(singles.lookUpEach(terms), columns.lookUp(terms));
        }
        EXPECT_LT(3000u, columns.m_dictionary.getNumberOfResources());
        columns.m_dictionary.verify();
    }
}

/// The first term, the last of a chunk and the first of the next are refused in turn.
TEST(ShardedDictionaryTermColumnTest, columnsOfAnySizeHaveIDsInTheirOrder) {
    ModelTerms source;
    for (const size_t size : {size_t(0), size_t(1), CHUNK_SIZE - 1, CHUNK_SIZE, CHUNK_SIZE + 1, 2 * CHUNK_SIZE + 1}) {
        SCOPED_TRACE(size);
        ColumnHost host;
        std::vector<Term> terms;
        std::vector<uint32_t> good;
        for (uint32_t number = 0; number < size; ++number) {
            const bool isRefused = number == 0 || number == CHUNK_SIZE - 1 || number == CHUNK_SIZE;
            terms.push_back(isRefused ? source.makeRefused(4) : source.make(number));
            if (!isRefused)
                good.push_back(number);
        }
        std::vector<uint64_t> expected(size);
        const std::vector<uint64_t> ofGood = getModelIDs(good);
        for (size_t index = 0; index < good.size(); ++index)
            expected[good[index]] = ofGood[index];
        const ColumnAnswers answers = host.resolve(terms);
        ASSERT_EQ(expected, answers.m_resourceIDs);
        ASSERT_EQ(size - good.size(), answers.m_failedIndexes.size());
        ASSERT_EQ(expected, host.lookUp(terms).m_resourceIDs);
        TermColumn column;
        host.m_dictionary.getTerms(expected, column);
        host.expectTerms(expected, column);
    }
}

/// The texts are about as long as a chunk may be.
TEST(ShardedDictionaryTermColumnTest, longTextsEndChunksEarly) {
    std::vector<std::string> texts;
    for (const size_t length : {4194303U, 4194304U, 4194305U, 1U, 6000000U, 0U})
        texts.push_back(std::string(length, static_cast<char>('a' + texts.size())));
    std::vector<Term> terms;
    for (size_t round = 0; round < 2; ++round)
        for (const std::string& text : texts) {
            terms.push_back({.m_kind = Term::Kind::LITERAL, .m_text = text, .m_datatype = "x:y"});
            terms.push_back({.m_kind = Term::Kind::LITERAL, .m_text = text, .m_language = "e n"});
        }
    ColumnHost host;
    const ColumnAnswers answers = host.resolve(terms);
    EXPECT_EQ(2 * texts.size(), answers.m_failedIndexes.size());
    EXPECT_TRUE(answers == host.resolveEach(terms));
    EXPECT_TRUE(host.lookUp(terms) == host.lookUpEach(terms));
    TermColumn column;
    host.m_dictionary.getTerms(answers.m_resourceIDs, column);
    host.expectTerms(answers.m_resourceIDs, column);
}

TEST(ShardedDictionaryTermColumnTest, spansOfDifferentLengthsAreRefused) {
    ModelTerms source;
    ColumnHost host;
    const std::vector<Term> terms{source.make(1), source.make(5)};
    std::vector<BatchFailure> failures;
    for (const size_t length : {0U, 1U, 3U}) {
        std::vector<uint64_t> resourceIDs(length, STALE_RESOURCE_ID);
        const std::string message = "There are 2 terms, but room for " + std::to_string(length) + " IDs.";
        EXPECT_EQ(message, catchException<MelnarException>([&] {
                               host.m_dictionary.resolveTerms(host.m_thread, terms, resourceIDs, failures);
                           }).getMessage());
        EXPECT_EQ(message, catchException<MelnarException>([&] {
                               host.m_dictionary.tryResolveTerms(terms, resourceIDs, failures);
                           }).getMessage());
        EXPECT_EQ(std::vector<uint64_t>(length, STALE_RESOURCE_ID), resourceIDs);
    }
    EXPECT_TRUE(failures.empty());
    EXPECT_EQ(0u, host.m_dictionary.getNumberOfResources());
}

TEST(ShardedDictionaryTermColumnTest, aColumnHasTheTermsOfItsLastIDs) {
    std::minstd_rand random(1);
    ModelTerms source;
    ColumnHost host;
    host.resolve(source.draw(20000, 30000, random));
    TermColumn column;
    EXPECT_TRUE(column.getTerms().empty());
    for (const size_t size : {1U, 0U, 300U, 16384U, 2000U, 16385U, 5U, 40000U, 3000U}) {
        SCOPED_TRACE(size);
        std::vector<uint64_t> resourceIDs;
        while (resourceIDs.size() < size)
            resourceIDs.push_back(random() % (host.m_dictionary.getEndOfResourceIDs() + 300));
        if (size > 1) {
            resourceIDs[0] = ~uint64_t(0);
            resourceIDs[1] = 0;
        }
        host.m_dictionary.getTerms(resourceIDs, column);
        host.expectTerms(resourceIDs, column);
    }
}

/// A failing allocation ends the operation, or belongs to the table of a family.
TEST(ShardedDictionaryTermColumnTest, anyAllocationOfResolvingMayFail) {
    ModelTerms source;
    std::vector<Term> terms;
    std::vector<size_t> refused;
    for (uint32_t number = 0; number < 200; ++number) {
        const bool isRefused = number % 80 == 77;
        terms.push_back(isRefused ? source.makeRefused(number / 80) : source.make(number));
        if (isRefused)
            refused.push_back(number);
    }
    constexpr size_t STEP = 3; // each shard takes the same steps
    const FailureCounts counts = failEach(
        ofAllocations(),
        [&](FailureRound& round) {
            ColumnHost host;
            std::vector<uint64_t> resourceIDs(terms.size(), STALE_RESOURCE_ID);
            std::vector<BatchFailure> failures;
            const bool isEnded =
                !round.attempt([&] { host.m_dictionary.resolveTerms(host.m_thread, terms, resourceIDs, failures); });
            ASSERT_TRUE(std::ranges::is_sorted(failures, {}, &BatchFailure::m_entryIndex));
            for (const BatchFailure& failure : failures) {
                ASSERT_EQ(0u, resourceIDs[failure.m_entryIndex]);
                const bool isRefused = std::ranges::find(refused, failure.m_entryIndex) != refused.end();
                ASSERT_EQ(isRefused ? FailureKind::REFUSED_LITERAL : FailureKind::SYSTEM, failure.m_kind);
            }
            for (size_t index = 0; index < terms.size(); ++index)
                if (resourceIDs[index] != 0) {
                    ASSERT_EQ(resourceIDs[index], host.m_dictionary.tryResolveTerm(terms[index]));
                } else if (!isEnded) {
                    ASSERT_TRUE(std::ranges::find(failures, index, &BatchFailure::m_entryIndex) != failures.end());
                }
            ASSERT_EQ(refused, host.resolve(terms).m_failedIndexes);
            ASSERT_EQ(terms.size() - refused.size(), host.m_dictionary.getNumberOfResources());
        },
        STEP);
    EXPECT_LT(20u, counts.m_throws);
}

TEST(ShardedDictionaryTermColumnTest, memoryDoesNotGrowWithTheColumn) {
    std::minstd_rand random(1);
    ModelTerms source;
    ColumnHost host;
    const std::vector<Term> terms = source.draw(5 * CHUNK_SIZE, 20000, random);
    const std::vector<uint64_t> resourceIDs = host.resolve(terms).m_resourceIDs;
    TermColumn column;
    host.m_dictionary.getTerms(resourceIDs, column);
    const auto countAllocations = [](const auto& operation) {
        for (size_t allowed = 0;; ++allowed) {
            const AllocationFaults faults = AllocationFaults::failAfter(allowed);
            try {
                operation();
            } catch (const std::bad_alloc&) {
            }
            if (!faults.hasFailed())
                return allowed;
        }
    };
    const auto lookUp = [&](const size_t size) {
        std::vector<BatchFailure> failures;
        std::vector<uint64_t> answers(size);
        host.m_dictionary.tryResolveTerms(std::span(terms).first(size), answers, failures);
    };
    const size_t ofTwoChunks = countAllocations([&] { lookUp(2 * CHUNK_SIZE); });
    const size_t ofThreeChunks = countAllocations([&] { lookUp(3 * CHUNK_SIZE); });
    const size_t ofFourChunks = countAllocations([&] { lookUp(4 * CHUNK_SIZE); });
    EXPECT_EQ(ofFourChunks - ofThreeChunks, ofThreeChunks - ofTwoChunks) << "each chunk takes what the one before took";
    const auto read = [&](const size_t size) {
        host.m_dictionary.getTerms(std::span(resourceIDs).first(size), column);
    };
    // Entries, indexes and shards, while a chunk is sorted.
    EXPECT_EQ(3u, countAllocations([&] { read(CHUNK_SIZE); }));
    EXPECT_EQ(6u, countAllocations([&] { read(2 * CHUNK_SIZE); }));
}

} // namespace
