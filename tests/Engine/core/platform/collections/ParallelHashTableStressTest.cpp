#include "Engine/core/platform/system/ThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/KeyedTable.h"
#include "tests/Engine/core/platform/collections/RandomNumbers.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/RepeatUntilDeadline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <latch>
#include <thread>
#include <vector>

namespace {

using Peer = ParallelHashTableTestPeer;

/// Runs `work(thread)` in a number of threads, which start together, at a number of slots.
template<class Work>
void runThreads(const uint32_t numberOfThreads, const uint32_t numberOfSlots, const Work& work) {
    std::latch start(numberOfThreads);
    std::vector<std::thread> threads;
    for (uint32_t thread = 0; thread < numberOfThreads; ++thread)
        threads.emplace_back([&, thread] {
            const ScopedThreadContextIndex index(thread % numberOfSlots);
            start.arrive_and_wait();
            work(thread);
        });
    for (std::thread& thread : threads)
        thread.join();
}

/// Runs `work(thread, step)` in two threads that start each step at the same moment.
template<class Work>
void runInLockstep(const uint32_t numberOfSteps, const Work& work) {
    std::atomic<uint32_t> arrivals = 0;
    runThreads(2, 256, [&](const uint32_t thread) {
        for (uint32_t step = 0; step < numberOfSteps; ++step) {
            arrivals.fetch_add(1, std::memory_order_acq_rel);
            for (uint32_t spins = 1; arrivals.load(std::memory_order_acquire) < 2 * (step + 1); ++spins)
                if (spins % 64 == 0)
                    std::this_thread::yield(); // the other thread has no core
            work(thread, step);
        }
    });
}

/// Reads all figures of a table as long as it exists.
template<class T>
class StatisticsReader {
public:
    explicit StatisticsReader(const KeyedTable<T>& keyed)
        : m_isStopping(false), m_thread([&table = keyed.m_table, this] {
              do {
                  const size_t numberOfBuckets = table.getNumberOfBuckets();
                  EXPECT_TRUE(std::has_single_bit(numberOfBuckets));
                  EXPECT_LE(table.getNumberOfNonEmptyBuckets(), size_t(1) << 20);
                  EXPECT_LE(table.getNumberOfDeletedBuckets(), size_t(1) << 20);
                  EXPECT_LE(table.getCommittedBytes(), size_t(1) << 28);
                  std::this_thread::yield();
              } while (!m_isStopping.load(std::memory_order_acquire));
          }) {}

    ~StatisticsReader() {
        m_isStopping.store(true, std::memory_order_release);
        m_thread.join();
    }

private:
    std::atomic<bool> m_isStopping;
    std::thread m_thread;
};

/// Keys that all threads insert, except every fourth, which differs for each thread, and keys that only one thread
/// inserts and deletes.
template<class T>
class OverlappingSets {
public:
    static constexpr uint32_t SHARED_KEYS = 4000;

    OverlappingSets(const uint32_t numberOfThreads, const uint32_t numberOfSlots)
        : m_numberOfThreads(numberOfThreads), m_numberOfSlots(numberOfSlots),
          m_privateKeys(std::max(8u, 1600 / numberOfThreads)) {}

    void runRound(const uint32_t seed) const {
        KeyedTable<T> keyed(1024, SHARED_KEYS + m_numberOfThreads * 2 * m_privateKeys + 10);
        std::vector<std::vector<T>> numbers(m_numberOfThreads, std::vector<T>(SHARED_KEYS, 0));
        std::vector<size_t> created(m_numberOfThreads, 0);
        {
            const StatisticsReader<T> statisticsReader(keyed);
            runThreads(m_numberOfThreads, m_numberOfSlots,
                       [&](const uint32_t thread) { created[thread] = work(keyed, thread, seed, numbers[thread]); });
        }
        check(keyed, numbers, created);
    }

private:
    uint64_t getPrivateKey(const uint32_t thread, const uint32_t index) const {
        return 1'000'000 + thread * 1000 + index;
    }

    /// Returns how many entries the thread has made according to its return values.
    size_t work(KeyedTable<T>& keyed, const uint32_t thread, const uint32_t seed, std::vector<T>& numbers) const {
        RandomNumbers random(seed * 1000 + thread);
        size_t created = 0;
        uint32_t timesRehashed = 0;
        const uint32_t first = random.below(SHARED_KEYS);
        for (uint32_t step = 0; step < SHARED_KEYS; ++step) {
            const uint32_t key = (first + step) % SHARED_KEYS;
            if (key % 4 != thread % 4) {
                const auto resolution = keyed.resolve(key + 1);
                created += resolution.m_isNew ? 1 : 0;
                numbers[key] = resolution.m_number;
                EXPECT_EQ(resolution.m_number, keyed.find(key + 1)) << "an inserted key is found immediately";
            }
            if (step % 64 == 0) {
                const uint32_t timesRehashedNow = keyed.getNumberOfResizes();
                EXPECT_LE(timesRehashed, timesRehashedNow);
                timesRehashed = timesRehashedNow;
            }
            if (step < 2 * m_privateKeys)
                created += workOnPrivateKey(keyed, getPrivateKey(thread, step / 2), step % 2 == 1);
        }
        return created;
    }

    /// Inserts a key the first time, and deletes it and inserts it again under another number the second time; odd keys
    /// are then deleted.
    static size_t workOnPrivateKey(KeyedTable<T>& keyed, const uint64_t key, const bool isSecondTime) {
        if (!isSecondTime) {
            EXPECT_TRUE(keyed.resolve(key).m_isNew);
            return 1;
        }
        const T number = keyed.find(key);
        EXPECT_NE(T(0), number);
        EXPECT_TRUE(keyed.remove(key));
        EXPECT_EQ(T(0), keyed.find(key));
        const auto resolution = keyed.resolve(key);
        EXPECT_TRUE(resolution.m_isNew);
        EXPECT_NE(number, resolution.m_number);
        if (key % 2 == 1) {
            EXPECT_TRUE(keyed.remove(key));
        }
        return 1;
    }

    void check(KeyedTable<T>& keyed, const std::vector<std::vector<T>>& numbers,
               const std::vector<size_t>& created) const {
        EXPECT_LE(2u, keyed.getNumberOfResizes()) << "the round hardly resized: it tested nothing";
        EXPECT_LE(4096u, keyed.m_table.getNumberOfBuckets());
        size_t totalCreated = 0;
        for (const size_t ownCreated : created)
            totalCreated += ownCreated;
        EXPECT_EQ(keyed.getNumberOfEntriesMade(), totalCreated);
        const size_t distinctSharedKeys = m_numberOfThreads == 1 ? SHARED_KEYS / 4 * 3 : SHARED_KEYS;
        EXPECT_EQ(distinctSharedKeys + size_t(2) * m_numberOfThreads * m_privateKeys, totalCreated)
            << "exactly one thread creates a new key";
        size_t live = 1;
        for (uint32_t key = 0; key < SHARED_KEYS; ++key) {
            const T number = keyed.find(key + 1);
            live += number != 0 ? 1 : 0;
            for (uint32_t thread = 0; thread < m_numberOfThreads; ++thread)
                if (key % 4 != thread % 4) {
                    ASSERT_EQ(number, numbers[thread][key]) << "all threads agree on key " << key + 1;
                }
        }
        for (uint32_t thread = 0; thread < m_numberOfThreads; ++thread)
            for (uint32_t index = 0; index < m_privateKeys; ++index) {
                const uint64_t key = getPrivateKey(thread, index);
                ASSERT_EQ(key % 2 == 0, keyed.find(key) != 0) << key;
                live += key % 2 == 0 ? 1 : 0;
            }
        EXPECT_EQ(live, keyed.m_table.getNumberOfNonEmptyBuckets() - keyed.m_table.getNumberOfDeletedBuckets())
            << "there is nothing else";
        expectSoundAtRest(keyed.m_table);
    }

    const uint32_t m_numberOfThreads;
    const uint32_t m_numberOfSlots;
    const uint32_t m_privateKeys;
};

template<class T>
class ParallelHashTableStressTest : public testing::Test {
protected:
    static void stressOverlappingSets(const uint32_t numberOfThreads, const uint32_t numberOfSlots) {
        const OverlappingSets<T> overlappingSets(numberOfThreads, numberOfSlots);
        repeatUntilDeadline([&](const uint32_t seed) { overlappingSets.runRound(seed); });
    }
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableStressTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableStressTest, oneThreadPassesTheSameChecks) {
    OverlappingSets<TypeParam>(1, 1).runRound(1);
}

TYPED_TEST(ParallelHashTableStressTest, ofTwoThatClaimABucketConcurrentlyOneSucceeds) {
    using Table = typename KeyedTable<TypeParam>::Table;
    constexpr uint32_t STEPS = 5000;
    repeatUntilDeadline([&](uint32_t) {
        std::vector<typename Table::Bucket> buckets(STEPS);
        std::vector<std::vector<uint8_t>> claims(2, std::vector<uint8_t>(STEPS, 0));
        runInLockstep(STEPS, [&](const uint32_t thread, const uint32_t step) {
            claims[thread][step] = Table::tryClaim(buckets[step]) ? 1 : 0;
        });
        for (uint32_t step = 0; step < STEPS; ++step)
            ASSERT_EQ(1, claims[0][step] + claims[1][step]) << "bucket " << step;
    });
}

TYPED_TEST(ParallelHashTableStressTest, ofTwoThatResolveAKeyConcurrentlyOneCreatesIt) {
    constexpr uint32_t STEPS = 2500;
    repeatUntilDeadline([&](uint32_t) {
        KeyedTable<TypeParam> keyed(1024, STEPS + 10);
        std::vector<std::vector<TypeParam>> numbers(2, std::vector<TypeParam>(STEPS, 0));
        runInLockstep(STEPS, [&](const uint32_t thread, const uint32_t step) {
            numbers[thread][step] = keyed.resolve(step + 1).m_number;
        });
        EXPECT_EQ(STEPS, keyed.getNumberOfEntriesMade());
        EXPECT_EQ(numbers[0], numbers[1]);
        EXPECT_EQ(2u, keyed.getNumberOfResizes());
        expectSoundAtRest(keyed.m_table);
    });
}

// Both have spent their quota at the same step, so they refill it together, and find the table full together.
TYPED_TEST(ParallelHashTableStressTest, twoThatRefillTheirQuotasTogetherReserveTwiceAndResizeOnce) {
    constexpr uint32_t STEPS = 2000;
    repeatUntilDeadline([&](uint32_t) {
        KeyedTable<TypeParam> keyed(1024, 2 * STEPS + 10);
        keyed.m_table.shrinkToFit(1024); // takes back the quota of the first entry
        runInLockstep(STEPS, [&](const uint32_t thread, const uint32_t step) {
            EXPECT_TRUE(keyed.resolve(uint64_t(thread) * 1'000'000 + step + 1).m_isNew);
        });
        EXPECT_EQ(3u, keyed.getNumberOfResizes()) << "to 2048, 4096 and 8192 buckets";
        EXPECT_EQ(2 * STEPS + 1, Peer::getNumberOfUsedBuckets(keyed.m_table).load(std::memory_order_relaxed));
        expectSoundAtRest(keyed.m_table);
    });
}

TYPED_TEST(ParallelHashTableStressTest, twoThreadsInsertLookUpAndDeleteWhileTheTableGrows) {
    this->stressOverlappingSets(2, 256);
}

TYPED_TEST(ParallelHashTableStressTest, eightThreadsInsertLookUpAndDeleteWhileTheTableGrows) {
    this->stressOverlappingSets(8, 256);
}

TYPED_TEST(ParallelHashTableStressTest, sixtyFourThreadsInsertLookUpAndDeleteWhileTheTableGrows) {
    this->stressOverlappingSets(64, 256);
}

TYPED_TEST(ParallelHashTableStressTest, threadsThatShareSlotsInsertLookUpAndDeleteWhileTheTableGrows) {
    this->stressOverlappingSets(12, 3);
}

TYPED_TEST(ParallelHashTableStressTest, threadsThatAllShareOneSlotInsertLookUpAndDeleteWhileTheTableGrows) {
    this->stressOverlappingSets(6, 1);
}

// The table is rebuilt repeatedly without growing, and the threads that drop tombstones get the quota. It also doubles:
// a thread that ends with much quota leaves little for the others. Those of the next generation spend it.
TYPED_TEST(ParallelHashTableStressTest, insertingAndDeletingForeverKeepsTheTableSmall) {
    constexpr uint32_t THREADS = 8;
    constexpr uint32_t ROUNDS = 4000;
    constexpr uint32_t WINDOW = 8;
    constexpr uint32_t MAXIMUM_NUMBER_OF_GENERATIONS = 16;
    repeatUntilDeadline([&](const uint32_t seed) {
        KeyedTable<TypeParam> keyed(1024, size_t(THREADS) * ROUNDS * MAXIMUM_NUMBER_OF_GENERATIONS + 10);
        const auto hasKeptItsSize = [&keyed] {
            return static_cast<uint32_t>(std::countr_zero(keyed.m_table.getNumberOfBuckets()) - 10) <
                   keyed.getNumberOfResizes();
        };
        uint32_t generation = 0;
        do {
            runThreads(THREADS, 256, [&](const uint32_t thread) {
                const auto getKey = [&](const uint32_t round) {
                    return uint64_t(seed + thread) * 1'000'000 + generation * ROUNDS + round;
                };
                for (uint32_t round = 0; round < ROUNDS; ++round) {
                    EXPECT_TRUE(keyed.resolve(getKey(round)).m_isNew);
                    if (round >= WINDOW) {
                        EXPECT_TRUE(keyed.remove(getKey(round - WINDOW)));
                    }
                }
            });
            ++generation;
        } while (!hasKeptItsSize() && generation < MAXIMUM_NUMBER_OF_GENERATIONS);
        EXPECT_TRUE(hasKeptItsSize()) << "this tested nothing";
        EXPECT_EQ(1u + THREADS * WINDOW * generation,
                  keyed.m_table.getNumberOfNonEmptyBuckets() - keyed.m_table.getNumberOfDeletedBuckets());
        expectSoundAtRest(keyed.m_table);
    });
}

TYPED_TEST(ParallelHashTableStressTest, insertionsThatFailAfterTheClaimDisturbNoOthers) {
    constexpr uint32_t THREADS = 8;
    constexpr uint32_t KEYS = 1500;
    size_t failures = 0;
    size_t encounters = 0;
    repeatUntilDeadline([&](const uint32_t seed) {
        KeyedTable<TypeParam> keyed(1024, KEYS + 10);
        std::atomic<size_t> ownFailures = 0;
        std::vector<std::vector<TypeParam>> numbers(THREADS, std::vector<TypeParam>(KEYS, 0));
        runThreads(THREADS, 256, [&](const uint32_t thread) {
            RandomNumbers random(seed * 100 + thread);
            for (uint32_t key = 0; key < KEYS; ++key)
                while (numbers[thread][key] == 0)
                    try {
                        numbers[thread][key] = keyed
                                                   .resolve(key + 1,
                                                            [&] {
                                                                if (random.below(8) == 0)
                                                                    std::this_thread::yield(); // others start to wait
                                                                if (random.below(2) == 0)
                                                                    throw 1;
                                                            })
                                                   .m_number;
                    } catch (const int) {
                        ownFailures.fetch_add(1, std::memory_order_relaxed);
                    }
        });
        failures += ownFailures.load(std::memory_order_relaxed);
        encounters += keyed.getNumberOfEncounters();
        EXPECT_EQ(KEYS, keyed.getNumberOfEntriesMade())
            << "a failed insertion makes nothing, a successful one makes one";
        for (uint32_t thread = 1; thread < THREADS; ++thread)
            EXPECT_EQ(numbers[0], numbers[thread]) << "all threads agree";
        EXPECT_LE(1u, keyed.getNumberOfResizes());
        expectSoundAtRest(keyed.m_table);
    });
    EXPECT_LT(0u, failures);
    EXPECT_LT(0u, encounters) << "no thread ever met a bucket in progress: this tested nothing";
}

TYPED_TEST(ParallelHashTableStressTest, anEntryThatManyDeleteConcurrentlyCountsAsOneTombstone) {
    constexpr uint32_t KEYS = 2000;
    repeatUntilDeadline([&](uint32_t) {
        KeyedTable<TypeParam> keyed(4096, KEYS + 10);
        for (uint32_t key = 1; key <= KEYS; ++key)
            keyed.resolve(key);
        std::vector<typename KeyedTable<TypeParam>::Bucket*> taken;
        for (size_t index = 0; index < 4096; ++index)
            if (Peer::getBuckets(keyed.m_table)[index].load(std::memory_order_acquire) != 0)
                taken.push_back(&Peer::getBuckets(keyed.m_table)[index]);
        runThreads(8, 256, [&](uint32_t) { // all threads have found all entries before one is deleted
            const typename KeyedTable<TypeParam>::Operation operation(keyed.m_table);
            for (auto* const bucket : taken)
                keyed.m_table.remove(*bucket);
        });
        EXPECT_EQ(KEYS + 1, keyed.m_table.getNumberOfDeletedBuckets());
        for (uint32_t key = 0; key <= KEYS; ++key)
            EXPECT_EQ(TypeParam(0), keyed.find(key));
        expectSoundAtRest(keyed.m_table);
    });
}

// Each resize rehashes each entry exactly once, however many threads share the work.
TYPED_TEST(ParallelHashTableStressTest, everyResizeRehashesEveryEntryOnce) {
    constexpr uint32_t THREADS = 8;
    constexpr uint32_t EARLY_KEYS = 600;
    repeatUntilDeadline([&](const uint32_t seed) {
        KeyedTable<TypeParam> keyed(1024, 20000);
        for (uint32_t key = 1; key <= EARLY_KEYS; ++key)
            ASSERT_EQ(key + 1, keyed.resolve(key).m_number);
        ASSERT_EQ(0u, keyed.getNumberOfResizes());
        runThreads(THREADS, 256, [&](const uint32_t thread) {
            RandomNumbers random(seed * 100 + thread);
            for (uint32_t key = 0; key < 1200; ++key) {
                keyed.resolve(uint64_t(thread + 1) * 100'000 + key);
                const TypeParam number = random.below(EARLY_KEYS) + 2;
                const typename KeyedTable<TypeParam>::Operation operation(keyed.m_table);
                EXPECT_EQ(keyed.m_table.getPolicy().getTimesRehashed(1),
                          keyed.m_table.getPolicy().getTimesRehashed(number))
                    << "an operation sees a resize whole or not at all";
            }
        });
        EXPECT_LE(4u, keyed.getNumberOfResizes());
        for (uint32_t key = 1; key <= EARLY_KEYS; ++key)
            ASSERT_EQ(keyed.getNumberOfResizes(), keyed.getTimesRehashed(static_cast<TypeParam>(key + 1)));
        EXPECT_EQ(size_t(1) << (10 + keyed.getNumberOfResizes()), keyed.m_table.getNumberOfBuckets())
            << "nothing was deleted, so each resize doubled";
    });
}
