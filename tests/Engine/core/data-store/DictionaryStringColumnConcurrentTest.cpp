#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/Engine/core/data-store/ArrowTexts.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <numeric>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr size_t NUMBER_OF_THREADS = 4;
constexpr uint32_t NUMBER_OF_TEXTS = 5000;
constexpr size_t MAXIMUM_NUMBER_OF_ROUNDS = 200;

/// The same texts for each thread, each in its own order: as views for even numbers, in Arrow's layout for odd ones.
struct Columns {
    Columns() {
        std::vector<uint32_t> numbers(NUMBER_OF_TEXTS);
        std::iota(numbers.begin(), numbers.end(), 0U);
        for (const uint32_t number : numbers)
            m_texts.push_back("text " + std::to_string(number));
        for (size_t index = 0; index < NUMBER_OF_THREADS; ++index) {
            std::minstd_rand random(static_cast<uint32_t>(index + 1));
            std::ranges::shuffle(numbers, random);
            m_orders.push_back(numbers);
            std::vector<std::string_view>& views = m_views.emplace_back();
            for (const uint32_t number : numbers)
                views.push_back(m_texts[number]);
            m_arrowTexts.emplace_back(std::vector<std::optional<std::string>>(views.begin(), views.end()));
        }
    }

    std::vector<std::string> m_texts;
    std::vector<std::vector<uint32_t>> m_orders;
    std::vector<std::vector<std::string_view>> m_views;
    std::vector<ArrowTexts<int32_t>> m_arrowTexts;
};

/// Every thread encodes its column, looks it up and decodes it concurrently; another one looks up committed strings.
/// Returns whether several threads have created strings: if only one has, its IDs ascend.
bool runRound(const Columns& columns, const std::string_view languageTag) {
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    std::vector<uint64_t> committed(NUMBER_OF_TEXTS / 2);
    const std::vector<std::string_view> half(columns.m_texts.begin(), columns.m_texts.begin() + NUMBER_OF_TEXTS / 2);
    {
        DictionaryThread thread(dictionary);
        dictionary.encode(thread, half, committed, languageTag);
    }
    const DictionaryCommitPoint commitPoint = dictionary.commit();
    std::vector<std::vector<uint64_t>> idsOfNumbers(NUMBER_OF_THREADS, std::vector<uint64_t>(NUMBER_OF_TEXTS));
    std::vector<uint8_t> areAscending(NUMBER_OF_THREADS);
    runTogether(NUMBER_OF_THREADS + 1, [&](const size_t index) {
        std::vector<uint64_t> found(NUMBER_OF_TEXTS);
        if (index == NUMBER_OF_THREADS) {
            const std::vector<std::string_view> all(columns.m_texts.begin(), columns.m_texts.end());
            for (size_t count = 0; count < 3; ++count) {
                dictionary.lookUp(commitPoint, all, found, languageTag);
                EXPECT_TRUE(std::ranges::equal(committed, std::span(found).first(committed.size())));
                EXPECT_EQ(NUMBER_OF_TEXTS - committed.size(), std::ranges::count(found, 0U));
            }
            return;
        }
        DictionaryThread thread(dictionary);
        std::vector<uint64_t> resourceIDs(NUMBER_OF_TEXTS);
        std::vector<std::string_view> texts(NUMBER_OF_TEXTS);
        if (index % 2 == 0)
            dictionary.encode(thread, columns.m_views[index], resourceIDs, languageTag);
        else
            dictionary.encode(thread, columns.m_arrowTexts[index].get(), resourceIDs, languageTag);
        dictionary.lookUp(DictionaryCommitPoint::ALL, columns.m_views[index], found, languageTag);
        dictionary.decode(resourceIDs, texts);
        EXPECT_EQ(resourceIDs, found);
        EXPECT_EQ(columns.m_views[index], texts);
        std::vector<uint64_t> newIDs;
        std::ranges::copy_if(resourceIDs, std::back_inserter(newIDs),
                             [&](const uint64_t resourceID) { return resourceID >= commitPoint.m_resourceID; });
        areAscending[index] = std::ranges::is_sorted(newIDs);
        for (size_t place = 0; place < resourceIDs.size(); ++place)
            idsOfNumbers[index][columns.m_orders[index][place]] = resourceIDs[place];
    });
    for (const std::vector<uint64_t>& resourceIDs : idsOfNumbers)
        EXPECT_EQ(idsOfNumbers.front(), resourceIDs) << "all threads agree";
    EXPECT_EQ(NUMBER_OF_TEXTS, dictionary.size());
    dictionary.verify();
    return std::ranges::count(areAscending, 1) == 0;
}

TEST(DictionaryStringColumnConcurrentTest, threadsAgreeOnTheStringsOfTheirColumns) {
    const Columns columns;
    constexpr size_t WANTED_ROUNDS = 4;
    size_t races = 0;
    for (size_t round = 0; races < WANTED_ROUNDS && round < MAXIMUM_NUMBER_OF_ROUNDS && !HasFailure(); ++round)
        races += runRound(columns, round % 2 == 0 ? "" : "en");
    EXPECT_EQ(WANTED_ROUNDS, races) << "no two threads ever created strings at the same time";
}

} // namespace
