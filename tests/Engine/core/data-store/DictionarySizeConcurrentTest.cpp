#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

/// A reader that read the next ID before later resources are withdrawn would count more withdrawn resources than were
/// created.
TEST(DictionarySizeConcurrentTest, isNeverMoreThanThereWere) {
    constexpr size_t COMMITTED = 10;
    constexpr size_t WITHDRAWN = 50;
    Dictionary dictionary({.m_memoryLimit = size_t(64) << 20});
    std::atomic<bool> isDone = false;
    std::atomic<bool> hasSeenMore = false;
    std::atomic<size_t> largest = 0;
    std::atomic<size_t> smallest = COMMITTED;
    std::vector<std::jthread> readers;
    {
        DictionaryThread thread(dictionary);
        for (size_t number = 0; number < COMMITTED; ++number)
            dictionary.resolveResource(thread, std::to_string(number), D_XSD_STRING);
        dictionary.commit();
        for (size_t reader = 0; reader < 2; ++reader)
            readers.emplace_back([&] {
                size_t largestSeen = 0;
                size_t smallestSeen = COMMITTED;
                while (!isDone.load(std::memory_order_relaxed)) {
                    const size_t size = dictionary.size();
                    largestSeen = std::max(largestSeen, size);
                    smallestSeen = std::min(smallestSeen, size);
                    if (size > COMMITTED)
                        hasSeenMore.store(true, std::memory_order_relaxed);
                }
                for (size_t known = largest; known < largestSeen && !largest.compare_exchange_weak(known, largestSeen);)
                    ;
                for (size_t known = smallest;
                     smallestSeen < known && !smallest.compare_exchange_weak(known, smallestSeen);)
                    ;
            });
        for (size_t round = 0; round < 2000 || !hasSeenMore.load(std::memory_order_relaxed); ++round) {
            for (size_t number = 0; number < WITHDRAWN; ++number)
                dictionary.resolveResource(thread, "gone" + std::to_string(number), D_XSD_STRING);
            dictionary.rollback();
        }
        isDone.store(true, std::memory_order_relaxed);
    }
    readers.clear();
    EXPECT_EQ(COMMITTED, dictionary.size());
    EXPECT_GE(smallest, COMMITTED);
    // The next ID may be newer than the number of withdrawn resources: by those that are created while a reader is
    // between the two.
    EXPECT_LE(largest, dictionary.getNextResourceID());
}

} // namespace
