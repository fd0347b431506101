#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/support/StressDuration.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
constexpr uint64_t WIDE = uint64_t(1) << 33;
constexpr uint64_t NARROW = 100000000;
constexpr uint64_t LITERALS = 4000;

uint8_t getDatatypeID(const uint64_t number) {
    return number % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL;
}

std::string getLexicalForm(const uint64_t round, const uint64_t number) {
    return "round " + std::to_string(round) + " literal " + std::to_string(number) + (number % 2 == 0 ? "" : "@en");
}

size_t getNumberOfBuckets(const Dictionary& dictionary) {
    return dictionary.getComponentInfo()->getSumOverNumericMetric(ComponentInfo::Metric::NUMBER_OF_BUCKETS,
                                                                  std::nullopt);
}

/// In each round, all threads resolve the same new literals in different orders, while others look up, read and collect
/// statistics. Then, alone, every second round is committed and the others are rolled back.
void resolveLookUpCommitAndRollBack(const uint64_t maximumNumberOfResources, const size_t numberOfThreads) {
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources});
    const size_t bucketsBefore = getNumberOfBuckets(dictionary);
    const auto deadline = getStressDeadline();
    std::vector<uint64_t> committedIDs; // by round / 2 * LITERALS + number
    uint64_t round = 0;
    do {
        std::vector<std::vector<uint64_t>> ids(numberOfThreads, std::vector<uint64_t>(LITERALS));
        std::vector<std::thread> threads;
        std::atomic<size_t> resolvingThreads(numberOfThreads);
        for (size_t threadIndex = 0; threadIndex < numberOfThreads; ++threadIndex)
            threads.emplace_back([&, threadIndex] {
                DictionaryThread thread(dictionary);
                std::minstd_rand random(static_cast<unsigned>(threadIndex + round));
                const uint64_t start = random();
                for (uint64_t step = 0; step < LITERALS; ++step) {
                    const uint64_t number = (start + step * 1009) % LITERALS;
                    ids[threadIndex][number] =
                        dictionary.resolveResource(thread, getLexicalForm(round, number), getDatatypeID(number));
                }
                --resolvingThreads;
            });
        size_t lookups = 0;
        std::string lexicalForm;
        do { // an unregistered reader shares slot 0 with one of the writers
            const DictionaryCommitPoint commitPoint = dictionary.getCommitPoint();
            const uint64_t number = lookups % LITERALS;
            ASSERT_EQ(0u,
                      dictionary.tryResolveResource(commitPoint, getLexicalForm(round, number), getDatatypeID(number)))
                << "a lookup sees what is not committed";
            if (!committedIDs.empty()) {
                const size_t index = lookups % committedIDs.size();
                const uint64_t committedRound = index / LITERALS * 2;
                ASSERT_EQ(committedIDs[index],
                          dictionary.tryResolveResource(commitPoint, getLexicalForm(committedRound, index % LITERALS),
                                                        getDatatypeID(index % LITERALS)));
                dictionary.getResource(committedIDs[index], lexicalForm);
                ASSERT_EQ(getLexicalForm(committedRound, index % LITERALS), lexicalForm);
            }
            if (lookups % 64 == 0) {
                ASSERT_GE(getNumberOfBuckets(dictionary), bucketsBefore);
            }
            ++lookups;
        } while (resolvingThreads.load() != 0);
        for (std::thread& thread : threads)
            thread.join();
        for (size_t threadIndex = 1; threadIndex < numberOfThreads; ++threadIndex)
            ASSERT_EQ(ids[0], ids[threadIndex]) << "all threads agree, round " << round;
        ASSERT_EQ((round + 1) * LITERALS + 1, dictionary.getNextResourceID()) << "one ID a literal";
        if (round % 2 == 0) {
            dictionary.commit();
            committedIDs.insert(committedIDs.end(), ids[0].begin(), ids[0].end());
        } else
            dictionary.rollback();
        ++round;
    } while (std::chrono::steady_clock::now() < deadline || round < 4);
    EXPECT_EQ(committedIDs.size(),
              dictionary.getNumberOfResources(D_XSD_STRING) + dictionary.getNumberOfResources(D_RDF_PLAIN_LITERAL));
    EXPECT_GT(getNumberOfBuckets(dictionary), bucketsBefore) << "the run never resized: it tested nothing";
}

TEST(DictionaryStressTest, narrowBucketsTwoThreads) {
    resolveLookUpCommitAndRollBack(NARROW, 2);
}

TEST(DictionaryStressTest, wideBucketsEightThreads) {
    resolveLookUpCommitAndRollBack(WIDE, 8);
}

} // namespace
