#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/MemoryCharges.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <iostream>
#include <limits>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <vector>

// Batches with strings and terms of all families, which several datatype objects serve.

namespace {

/// Makes distinct terms.
OwnedLiterals makeTerms(const uint32_t begin, const uint32_t end) {
    OwnedLiterals terms;
    for (uint32_t number = begin; number < end; ++number) {
        const DictionaryModel::Literal term = DictionaryModel::makeLiteral(number);
        terms.push_back({term.m_lexicalForm, term.m_datatypeID});
    }
    return terms;
}

class DictionaryMixedBatchTest : public testing::TestWithParam<uint64_t> {
protected:
    static std::unique_ptr<Dictionary> makeDictionary() {
        return std::make_unique<Dictionary>(
            DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()});
    }

    static std::string makeFileOneByOne(const OwnedLiterals& terms) {
        const std::unique_ptr<Dictionary> dictionary = makeDictionary();
        DictionaryThread thread(*dictionary);
        for (size_t index = 0; index < terms.size(); ++index)
            EXPECT_EQ(index + 1,
                      dictionary->resolveResource(thread, terms[index].m_lexicalForm, terms[index].m_datatypeID));
        return writeToMemory(*dictionary);
    }

    /// `drawSize()` returns the size of each batch.
    template<class DrawSize>
    static std::string makeFileInBatches(const OwnedLiterals& terms, const DrawSize drawSize) {
        const std::unique_ptr<Dictionary> dictionary = makeDictionary();
        DictionaryThread thread(*dictionary);
        std::vector<BatchEntry> entries = makeBatch(terms);
        std::vector<BatchFailure> failures;
        for (std::span<BatchEntry> rest = entries; !rest.empty();) {
            const std::span<BatchEntry> batch = rest.first(std::min<size_t>(drawSize(), rest.size()));
            dictionary->resolveResources(thread, batch, failures);
            rest = rest.subspan(batch.size());
        }
        EXPECT_TRUE(failures.empty());
        return writeToMemory(*dictionary);
    }
};

/// The numbers of terms include those at which some table is about to grow, or a block to end.
TEST_P(DictionaryMixedBatchTest, differentNewTermsMakeOneFileHoweverTheyAreDivided) {
    std::minstd_rand random(1);
    for (const uint32_t numberOfTerms :
         {1U, 511U, 512U, 513U, 1745U, 1750U, 1755U, 3503U, 3508U, 7006U, 7015U, 7500U}) {
        SCOPED_TRACE(numberOfTerms);
        const OwnedLiterals terms = makeTerms(0, numberOfTerms);
        const std::string file = makeFileOneByOne(terms);
        for (const size_t batchSize : {1UL, 2UL, 7UL, 511UL, 512UL, 513UL, 2048UL, 10000UL})
            ASSERT_TRUE(file == makeFileInBatches(terms, [batchSize] { return batchSize; })) << batchSize;
        ASSERT_TRUE(file == makeFileInBatches(terms, [&random] { return random() % 600 + 1; }));
    }
}

/// After each number of terms the table of strings has spent its quota, so any further insertion would be visible.
TEST_P(DictionaryMixedBatchTest, knownTermsAmongNewOnesChangeNothingOfTheFile) {
    std::minstd_rand random(2);
    for (const uint32_t numberOfTerms : {1750U, 2500U, 3500U}) {
        const OwnedLiterals terms = makeTerms(0, numberOfTerms);
        const size_t numberOfKnown = numberOfTerms / 2;
        const std::unique_ptr<Dictionary> dictionary = makeDictionary();
        DictionaryThread thread(*dictionary);
        std::vector<BatchEntry> entries = makeBatch(terms);
        std::vector<BatchFailure> failures;
        dictionary->resolveResources(thread, std::span(entries).first(numberOfKnown), failures);
        std::vector<uint64_t> expectedIDs;
        entries.clear();
        const auto addTerm = [&](const size_t index) {
            expectedIDs.push_back(index + 1);
            entries.push_back({terms[index].m_lexicalForm, STALE_RESOURCE_ID, terms[index].m_datatypeID});
        };
        for (size_t index = numberOfKnown; index < terms.size(); ++index) {
            addTerm(index);
            for (size_t count = random() % 4; count != 0; --count)
                addTerm(random() % numberOfKnown);
        }
        for (size_t index = 0; index < 100; ++index)
            addTerm(index);
        dictionary->resolveResources(thread, entries, failures);
        EXPECT_TRUE(failures.empty());
        for (size_t index = 0; index < entries.size(); ++index)
            ASSERT_EQ(expectedIDs[index], entries[index].m_resourceID);
        EXPECT_TRUE(makeFileOneByOne(terms) == writeToMemory(*dictionary)) << numberOfTerms;
    }
}

TEST_P(DictionaryMixedBatchTest, anEntryThatIsRepeatedGetsTheIDOfTheFirst) {
    const std::unique_ptr<Dictionary> dictionary = makeDictionary();
    DictionaryThread thread(*dictionary);
    const OwnedLiterals terms = makeTerms(0, 40);
    OwnedLiterals repeated;
    for (size_t round = 0; round < 20; ++round)
        repeated.insert(repeated.end(), terms.begin(), terms.end());
    std::vector<BatchEntry> entries = makeBatch(repeated);
    std::vector<BatchFailure> failures;
    dictionary->resolveResources(thread, entries, failures);
    for (size_t index = 0; index < entries.size(); ++index)
        ASSERT_EQ(index % terms.size() + 1, entries[index].m_resourceID);
    EXPECT_EQ(terms.size() + 1, dictionary->getNextResourceID());
    dictionary->verify();
}

/// No memory is that large: the text must not be read. First the families have no table, then they have one.
TEST_P(DictionaryMixedBatchTest, formsLongerThanAnyAreRefusedUnread) {
    const std::unique_ptr<Dictionary> dictionary = makeDictionary();
    DictionaryThread thread(*dictionary);
    const char* const nowhere = nullptr;
    const std::vector<uint8_t> datatypeIDs{D_XSD_STRING,    D_RDF_PLAIN_LITERAL,  D_IRI,        D_BLANK_NODE,
                                           D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM};
    for (const bool areInUse : {false, true}) {
        for (const size_t length :
             {AdaptiveResourceSizeEncoding::MAXIMUM_SIZE, std::numeric_limits<size_t>::max() >> 1})
            for (const bool isMixed : {false, true}) {
                std::vector<BatchEntry> mixed;
                for (const uint8_t datatypeID : datatypeIDs) {
                    mixed.push_back({{nowhere, length}, STALE_RESOURCE_ID, datatypeID});
                    std::vector<BatchEntry> one{mixed.back()};
                    std::vector<BatchEntry>& entries = isMixed ? mixed : one;
                    std::vector<BatchFailure> failures;
                    dictionary->resolveResources(thread, entries, failures);
                    ASSERT_EQ(entries.size(), failures.size());
                    EXPECT_EQ(FailureKind::REFUSED_LITERAL, failures.back().m_kind);
                    EXPECT_EQ(0u, entries.back().m_resourceID);
                    EXPECT_THROW(failures.back().throwException(), MelnarException);
                }
            }
        EXPECT_EQ(areInUse, dictionary->mayHaveResources(D_IRI));
        const OwnedLiterals terms = makeTerms(0, 40);
        std::vector<BatchEntry> entries = makeBatch(terms);
        std::vector<BatchFailure> failures;
        dictionary->resolveResources(thread, entries, failures);
        EXPECT_TRUE(failures.empty());
    }
    EXPECT_EQ(41u, dictionary->getNextResourceID());
}

/// A failing allocation belongs to the table of a family or the text of an exception, or it ends the batch.
TEST_P(DictionaryMixedBatchTest, anyAllocationMayFail) {
    OwnedLiterals terms = makeTerms(0, 600);
    const std::vector<size_t> refused{3, 20, 270, 271, 555};
    for (const size_t index : refused)
        terms[index].m_lexicalForm = "";
    terms[3].m_datatypeID = D_IRI;
    terms[20].m_datatypeID = D_TRIPLE_TERM;
    terms[270].m_datatypeID = D_RDF_PLAIN_LITERAL;
    terms[271].m_datatypeID = 7;
    terms[555].m_datatypeID = D_TYPED_LITERAL;
    size_t failedTerms = 0;
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        const std::unique_ptr<Dictionary> dictionary = makeDictionary();
        DictionaryThread thread(*dictionary);
        std::vector<BatchEntry> entries = makeBatch(terms);
        std::vector<BatchFailure> failures;
        round.attempt([&] { dictionary->resolveResources(thread, entries, failures); });
        ASSERT_TRUE(std::ranges::is_sorted(failures, {}, &BatchFailure::m_entryIndex));
        for (const BatchFailure& failure : failures) {
            ASSERT_EQ(0u, entries[failure.m_entryIndex].m_resourceID);
            const bool isRefused = std::ranges::find(refused, failure.m_entryIndex) != refused.end();
            ASSERT_EQ(isRefused ? FailureKind::REFUSED_LITERAL : FailureKind::SYSTEM, failure.m_kind);
            failedTerms += !isRefused;
        }
        dictionary->verify();
        failures.clear();
        dictionary->resolveResources(thread, entries, failures);
        ASSERT_EQ(refused.size(), failures.size());
        for (size_t number = 0; number < refused.size(); ++number)
            ASSERT_EQ(refused[number], failures[number].m_entryIndex);
        ASSERT_EQ(terms.size() - refused.size() + 1, dictionary->getNextResourceID());
        dictionary->verify();
        expectChargesAddUp(*dictionary);
    });
    EXPECT_LT(4u, counts.m_throws) << "the failures never lacked memory";
    EXPECT_LT(4u, failedTerms) << "no family ever lacked memory for its table";
    std::cout << "Resolving a batch, allocations: " << counts << '\n';
}

TEST_P(DictionaryMixedBatchTest, anyCallOfTheSystemMayFail) {
    const OwnedLiterals terms = makeTerms(0, 3000);
    for (const SystemCallFaults::Call call : {SystemCallFaults::Call::MMAP, SystemCallFaults::Call::MPROTECT})
        for (const size_t batchSize : {1UL, 2048UL}) {
            size_t failedTerms = 0;
            const FailureCounts counts = failEach(ofCalls({call}, {ENOMEM}), [&](FailureRound& round) {
                const std::unique_ptr<Dictionary> dictionary = makeDictionary();
                DictionaryThread thread(*dictionary);
                std::vector<BatchEntry> entries = makeBatch(terms);
                std::vector<BatchFailure> failures;
                const auto resolve = [&] {
                    failures.clear();
                    for (size_t begin = 0; begin < entries.size(); begin += batchSize)
                        dictionary->resolveResources(
                            thread, std::span(entries).subspan(begin, std::min(batchSize, entries.size() - begin)),
                            failures);
                };
                ASSERT_TRUE(round.attempt(resolve));
                ASSERT_LE(failures.size(), round.getNumberOfFailures()) << "one call fails one term, or a shared text";
                for (const BatchFailure& failure : failures)
                    ASSERT_EQ(FailureKind::SYSTEM, failure.m_kind);
                failedTerms += failures.size();
                ASSERT_EQ(terms.size() - failures.size() + 1, dictionary->getNextResourceID());
                dictionary->verify();
                expectChargesAddUp(*dictionary);
                resolve();
                ASSERT_TRUE(failures.empty());
                ASSERT_EQ(terms.size() + 1, dictionary->getNextResourceID());
                dictionary->verify();
            });
            EXPECT_LT(8u, failedTerms);
            EXPECT_LT(20u, counts.m_tolerated);
            std::cout << "Resolving batches, calls: " << counts << '\n';
        }
}

INSTANTIATE_TEST_SUITE_P(Widths, DictionaryMixedBatchTest, testing::Values(NARROW, WIDE),
                         [](const auto& instance) { return instance.param == NARROW ? "narrow" : "wide"; });

} // namespace
