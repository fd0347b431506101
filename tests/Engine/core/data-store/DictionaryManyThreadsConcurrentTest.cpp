#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <vector>

// As many threads as there are slots in a table, and more, all of which create terms concurrently.

namespace {

constexpr size_t MEMORY_LIMIT = size_t(512) << 20;
constexpr size_t TERMS_OF_ALL = 2000; // enough for several resizes
constexpr size_t TERMS_OF_ONE = 5;
constexpr size_t STRIDE = 7;
constexpr uint64_t NARROW = 100000;
constexpr uint64_t WIDE = uint64_t(1) << 33;

std::string makeCommonText(const size_t number) {
    return "of all " + std::to_string(number);
}

class DictionaryManyThreadsConcurrentTest : public testing::TestWithParam<size_t> {
protected:
    /// Lets each thread resolve some common terms, from another one on, and its own. Expects that all agree on the IDs,
    /// and with `lookUp`, which returns the ID of a text.
    template<class Thread, class Host, class LookUp>
    static void resolveInAllThreads(Host& host, const LookUp& lookUp) {
        const size_t numberOfThreads = GetParam();
        std::vector<std::vector<uint64_t>> ids(numberOfThreads);
        std::vector<size_t> failures(numberOfThreads);
        runTogether(numberOfThreads, [&](const size_t threadIndex) {
            Thread thread(host);
            std::vector<std::string> texts;
            for (size_t step = 0; step < TERMS_OF_ALL / STRIDE; ++step)
                texts.push_back(makeCommonText((threadIndex + step * STRIDE) % TERMS_OF_ALL));
            for (size_t number = 0; number < TERMS_OF_ONE; ++number)
                texts.push_back(std::to_string(threadIndex) + " " + std::to_string(number));
            std::vector<BatchEntry> entries;
            for (const std::string& text : texts)
                entries.push_back({text, 0, D_XSD_STRING});
            std::vector<BatchFailure> failuresOfThread;
            host.resolveResources(thread, entries, failuresOfThread);
            failures[threadIndex] = failuresOfThread.size();
            for (const BatchEntry& entry : entries)
                ids[threadIndex].push_back(entry.m_resourceID);
        });
        std::set<uint64_t> allIDs;
        for (size_t threadIndex = 0; threadIndex < numberOfThreads; ++threadIndex) {
            ASSERT_EQ(0u, failures[threadIndex]);
            for (size_t step = 0; step < TERMS_OF_ALL / STRIDE; ++step)
                ASSERT_EQ(lookUp(makeCommonText((threadIndex + step * STRIDE) % TERMS_OF_ALL)), ids[threadIndex][step]);
            allIDs.insert(ids[threadIndex].begin(), ids[threadIndex].end());
        }
        EXPECT_EQ(0u, allIDs.count(0));
        EXPECT_EQ(TERMS_OF_ALL + numberOfThreads * TERMS_OF_ONE, allIDs.size());
    }
};

TEST_P(DictionaryManyThreadsConcurrentTest, allThreadsAgreeOnTheirTerms) {
    for (const uint64_t maximum : {NARROW, WIDE}) {
        Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximum});
        resolveInAllThreads<DictionaryThread>(dictionary, [&dictionary](const std::string& text) {
            return dictionary.tryResolveResource(DictionaryCommitPoint::ALL, text, D_XSD_STRING);
        });
        EXPECT_EQ(TERMS_OF_ALL + GetParam() * TERMS_OF_ONE, dictionary.size());
        EXPECT_NO_THROW(dictionary.verify());
    }
}

TEST_P(DictionaryManyThreadsConcurrentTest, allThreadsAgreeOnTheTermsOfShards) {
    ShardedDictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    resolveInAllThreads<ShardedDictionaryThread>(dictionary, [&dictionary](const std::string& text) {
        return dictionary.tryResolveTerm({.m_kind = Term::Kind::LITERAL, .m_text = text});
    });
    EXPECT_EQ(TERMS_OF_ALL + GetParam() * TERMS_OF_ONE, dictionary.getNumberOfResources());
    EXPECT_NO_THROW(dictionary.verify());
}

INSTANTIATE_TEST_SUITE_P(Threads, DictionaryManyThreadsConcurrentTest,
                         testing::Values(NUMBER_OF_THREAD_CONTEXT_INDICES, size_t(300)),
                         [](const auto& instance) { return std::to_string(instance.param); });

} // namespace
