#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/ModelTerms.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>
#include <vector>

namespace {

constexpr size_t NUMBER_OF_THREADS = 4;
constexpr uint32_t NUMBER_OF_TERMS = 5000;
constexpr size_t MAXIMUM_NUMBER_OF_ROUNDS = 200;

/// The same terms for each thread, each in its own order.
struct Columns {
    Columns() {
        std::vector<uint32_t> numbers(NUMBER_OF_TERMS);
        std::iota(numbers.begin(), numbers.end(), 0U);
        for (size_t index = 0; index < NUMBER_OF_THREADS; ++index) {
            std::minstd_rand random(static_cast<uint32_t>(index + 1));
            std::ranges::shuffle(numbers, random);
            m_orders.push_back(numbers);
            std::vector<Term>& terms = m_columns.emplace_back();
            for (const uint32_t number : numbers)
                terms.push_back(m_terms.make(number));
        }
    }

    ModelTerms m_terms;
    std::vector<std::vector<uint32_t>> m_orders;
    std::vector<std::vector<Term>> m_columns;
};

/// Every thread resolves its column, looks it up and reads it back concurrently. Returns whether several threads have
/// created terms: if only one has, its IDs ascend.
bool runRound(const Columns& columns) {
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    std::vector<std::vector<uint64_t>> idsOfNumbers(NUMBER_OF_THREADS, std::vector<uint64_t>(NUMBER_OF_TERMS));
    std::vector<uint8_t> areAscending(NUMBER_OF_THREADS);
    runTogether(NUMBER_OF_THREADS, [&](const size_t index) {
        DictionaryThread thread(dictionary);
        const std::vector<Term>& terms = columns.m_columns[index];
        std::vector<uint64_t> resourceIDs(terms.size());
        std::vector<uint64_t> found(terms.size());
        std::vector<BatchFailure> failures;
        TermColumn column;
        dictionary.resolveTerms(thread, terms, resourceIDs, failures);
        dictionary.tryResolveTerms(DictionaryCommitPoint::ALL, terms, found, failures);
        dictionary.getTerms(resourceIDs, column);
        EXPECT_TRUE(failures.empty());
        EXPECT_EQ(resourceIDs, found);
        EXPECT_TRUE(std::ranges::equal(terms, column.getTerms()));
        areAscending[index] = std::ranges::is_sorted(resourceIDs);
        for (size_t place = 0; place < terms.size(); ++place)
            idsOfNumbers[index][columns.m_orders[index][place]] = resourceIDs[place];
    });
    for (const std::vector<uint64_t>& resourceIDs : idsOfNumbers)
        EXPECT_EQ(idsOfNumbers.front(), resourceIDs) << "all threads agree";
    EXPECT_EQ(NUMBER_OF_TERMS + 1, dictionary.getNextResourceID());
    dictionary.verify();
    return std::ranges::count(areAscending, 1) == 0;
}

TEST(DictionaryTermColumnConcurrentTest, threadsAgreeOnTheTermsOfTheirColumns) {
    const Columns columns;
    constexpr size_t WANTED_ROUNDS = 3;
    size_t races = 0;
    for (size_t round = 0; races < WANTED_ROUNDS && round < MAXIMUM_NUMBER_OF_ROUNDS && !HasFailure(); ++round)
        races += runRound(columns);
    EXPECT_EQ(WANTED_ROUNDS, races) << "no two threads ever created terms at the same time";
}

} // namespace
