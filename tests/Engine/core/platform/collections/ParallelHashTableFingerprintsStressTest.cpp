#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "tests/Engine/core/platform/collections/KeyedTable.h"
#include "tests/Engine/core/platform/collections/RandomNumbers.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/Engine/core/platform/collections/WaitOrAbort.h"
#include "tests/support/RepeatUntilDeadline.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <string>
#include <thread>
#include <vector>

using namespace melnar;

// Fingerprints appear, disappear, become unknown and are wrong at tombstones, while threads insert, look up and delete.
// This may cost only time.

namespace {

using Peer = ParallelHashTableTestPeer;

constexpr uint32_t SHARED_KEYS = 400;
constexpr uint32_t WINDOW = 16;

/// The events of a run.
struct Events {
    std::atomic<size_t> m_encounters{0}; // of insertions with buckets in progress
    std::atomic<size_t> m_resizes{0};
    std::atomic<size_t> m_returns{0}; // of fingerprints after they were released
    std::atomic<size_t> m_falseCandidates{0};
    std::atomic<size_t> m_tombstoneCandidates{0};
    std::atomic<size_t> m_learned{0};
    std::atomic<size_t> m_forgotten{0};
    std::atomic<size_t> m_forged{0};

    static void count(std::atomic<size_t>& events, const size_t number = 1) {
        events.fetch_add(number, std::memory_order_relaxed);
    }

    static size_t get(const std::atomic<size_t>& events) { return events.load(std::memory_order_relaxed); }
};

/// Threads that insert, look up and delete. All insert the same shared keys. Each also has its own keys, the latest of
/// which stay. If another thread changes the fingerprints, each of them gives it a turn from time to time.
template<class T>
class Workers {
public:
    using Keyed = KeyedTable<T>;
    using Policy = typename Keyed::Policy;

    Workers(Keyed& keyed, const uint32_t numberOfThreads, const uint32_t numberOfSteps, const bool isMeddledWith,
            Events& events)
        : m_keyed(keyed), m_numberOfThreads(numberOfThreads), m_numberOfSteps(numberOfSteps),
          m_isMeddledWith(isMeddledWith), m_events(events),
          m_numbersOfSharedKeys(numberOfThreads, std::vector<T>(SHARED_KEYS, 0)), m_stepsDone(0), m_turns(0) {}

    /// Returns the number of entries that they make altogether.
    static size_t getNumberOfEntries(const uint32_t numberOfThreads, const uint32_t numberOfSteps) {
        return SHARED_KEYS + size_t(numberOfThreads) * numberOfSteps;
    }

    static uint64_t getKey(const uint32_t thread, const uint32_t step) {
        return uint64_t(thread + 1) * 1'000'000 + step;
    }

    void work(const uint32_t thread, const uint32_t seed) {
        RandomNumbers random(seed * 100 + thread);
        std::vector<T> numbers;
        for (uint32_t step = 0; step < m_numberOfSteps; ++step) {
            const auto resolution = m_keyed.resolve(getKey(thread, step));
            EXPECT_TRUE(resolution.m_isNew);
            numbers.push_back(resolution.m_number);
            resolveSharedKey(thread, random.below(SHARED_KEYS));
            const uint32_t back = random.below(std::min(step + 1, WINDOW));
            EXPECT_EQ(numbers[step - back], lookUp(getKey(thread, step - back)));
            if (step >= WINDOW) {
                EXPECT_TRUE(m_keyed.remove(getKey(thread, step - WINDOW)));
                EXPECT_EQ(T(0), lookUp(getKey(thread, step - WINDOW)));
                EXPECT_EQ(T(0), m_keyed.find(getKey(thread, step - random.below(step - WINDOW + 1) - WINDOW)));
            }
            if (m_isMeddledWith && step % 64 == 0)
                waitForATurn();
            m_stepsDone.fetch_add(1, std::memory_order_relaxed);
        }
        for (uint32_t key = 0; key < SHARED_KEYS; ++key)
            resolveSharedKey(thread, key);
    }

    /// Returns how many steps all threads have done together.
    size_t getStepsDone() const { return m_stepsDone.load(std::memory_order_relaxed); }

    bool areDone() const { return getStepsDone() == size_t(m_numberOfThreads) * m_numberOfSteps; }

    /// Ends a turn of the thread that changes fingerprints.
    void endTurn() {
        m_turns.fetch_add(1, std::memory_order_relaxed);
        std::this_thread::yield();
    }

    /// Checks the table after the work.
    void check() {
        for (uint32_t thread = 0; thread < m_numberOfThreads; ++thread) {
            EXPECT_EQ(m_numbersOfSharedKeys[0], m_numbersOfSharedKeys[thread]) << "all threads agree";
            for (uint32_t step = 0; step < m_numberOfSteps; ++step)
                ASSERT_EQ(step + WINDOW >= m_numberOfSteps, lookUp(getKey(thread, step)) != 0);
        }
        for (uint32_t key = 0; key < SHARED_KEYS; ++key)
            ASSERT_EQ(m_numbersOfSharedKeys[0][key], m_keyed.find(key + 1));
        EXPECT_EQ(getNumberOfEntries(m_numberOfThreads, m_numberOfSteps), m_keyed.getNumberOfEntriesMade())
            << "one number a key";
        EXPECT_EQ(1 + SHARED_KEYS + m_numberOfThreads * WINDOW,
                  m_keyed.m_table.getNumberOfNonEmptyBuckets() - m_keyed.m_table.getNumberOfDeletedBuckets());
        Events::count(m_events.m_encounters, m_keyed.getNumberOfEncounters());
        Events::count(m_events.m_resizes, m_keyed.getNumberOfResizes());
        expectSoundAtRest(m_keyed.m_table);
    }

private:
    void waitForATurn() const {
        const size_t turns = m_turns.load(std::memory_order_relaxed);
        waitOrAbort("a turn of the thread that meddles",
                    [&] { return m_turns.load(std::memory_order_relaxed) != turns; });
    }

    void resolveSharedKey(const uint32_t thread, const uint32_t key) {
        T& number = m_numbersOfSharedKeys[thread][key];
        if (number == 0)
            number = m_keyed.resolve(key + 1).m_number;
        EXPECT_EQ(number, lookUp(key + 1));
    }

    /// Returns the key's number, or 0. Looks it up like a datatype, which stores unknown fingerprints and does not
    /// wait.
    T lookUp(const uint64_t key) {
        auto& table = m_keyed.m_table;
        const typename Keyed::Operation operation(table);
        const uint64_t hash = Policy::hashKey(key);
        for (size_t index = table.getHomeIndex(hash);; index = table.getNextIndex(index)) {
            index = table.findCandidate(index, Fingerprints::get(hash));
            if (table.isKnownToEndLookup(index))
                return 0;
            const T value = Keyed::Table::readBucket(table.getBucket(index));
            if (value == Policy::EMPTY_BUCKET)
                return 0;
            if (value == Policy::BUCKET_DELETED) {
                Events::count(m_events.m_tombstoneCandidates);
                continue;
            }
            const uint64_t presentKey = table.getPolicy().getKey(value);
            if (table.isFingerprintUnknown(index)) {
                table.learnFingerprint(index, Policy::hashKey(presentKey));
                Events::count(m_events.m_learned);
            }
            if (presentKey == key)
                return value;
            Events::count(m_events.m_falseCandidates);
        }
    }

    Keyed& m_keyed;
    const uint32_t m_numberOfThreads;
    const uint32_t m_numberOfSteps;
    const bool m_isMeddledWith;
    Events& m_events;
    std::vector<std::vector<T>> m_numbersOfSharedKeys; // each thread has its own
    std::atomic<size_t> m_stepsDone;
    std::atomic<size_t> m_turns;
};

/// Releases the fingerprints repeatedly while the workers run, each time some steps later.
template<class T>
void giveUpRepeatedly(KeyedTable<T>& keyed, Workers<T>& workers, const uint32_t seed, Events& events) {
    constexpr uint32_t MAXIMUM_DISTANCE = 800;
    RandomNumbers random(seed);
    size_t nextStep = random.below(MAXIMUM_DISTANCE);
    size_t timesGivenUp = 0;
    while (!workers.areDone()) {
        if (workers.getStepsDone() >= nextStep) {
            timesGivenUp += keyed.m_table.giveUpFingerprints() ? size_t(1) : 0;
            nextStep = workers.getStepsDone() + random.below(MAXIMUM_DISTANCE);
        }
        workers.endTurn();
    }
    Events::count(events.m_returns, timesGivenUp - std::min(timesGivenUp, size_t(1)));
}

/// Makes fingerprints of an incomplete table unknown, and gives tombstones those of keys, while the workers run.
template<class T>
void forgetAndForge(KeyedTable<T>& keyed, Workers<T>& workers, const uint32_t numberOfThreads, const uint32_t seed,
                    Events& events) {
    RandomNumbers random(seed);
    auto& table = keyed.m_table;
    auto& fingerprints = Peer::getFingerprints(table);
    while (!workers.areDone()) {
        {
            const typename KeyedTable<T>::Operation operation(table);
            ASSERT_TRUE(fingerprints.exist());
            ASSERT_FALSE(fingerprints.areComplete());
            const auto step = static_cast<uint32_t>(workers.getStepsDone() / numberOfThreads);
            for (uint32_t attempt = 0; attempt < 64; ++attempt) {
                // A bucket in the probe of a key that is likely to be looked up.
                const uint64_t key = attempt % 4 == 0
                                         ? 1 + random.below(SHARED_KEYS)
                                         : Workers<T>::getKey(random.below(numberOfThreads),
                                                              step - std::min(step, random.below(2 * WINDOW)));
                const uint64_t hash = KeyedTable<T>::Policy::hashKey(key);
                const size_t index = (hash + random.below(8)) & (table.getNumberOfBuckets() - 1);
                const bool isTombstone = table.getBucket(index).load(std::memory_order_acquire) ==
                                         KeyedTable<T>::Policy::BUCKET_DELETED; // and stays one
                if (isTombstone && random.below(4) != 0) {
                    fingerprints.set(index, Fingerprints::get(hash));
                    Events::count(events.m_forged);
                } else if (fingerprints[index] != 0) {
                    fingerprints.set(index, 0);
                    Events::count(events.m_forgotten);
                }
            }
        }
        workers.endTurn();
    }
}

/// Replaces a table by one loaded from its stream, so its fingerprints become unknown.
template<class T>
void reload(KeyedTable<T>& keyed) {
    MemoryOutputStream outputStream;
    keyed.m_table.save(outputStream);
    const std::string bytes = outputStream.getBytes();
    MemoryInputStream inputStream(bytes);
    keyed.m_table.load(inputStream);
}

template<class T>
class ParallelHashTableFingerprintsStressTest : public testing::Test {
protected:
    static constexpr uint32_t THREADS = 6;
    static constexpr uint32_t SLOTS = 4; // of the workers: each of two pairs shares one

    /// Each resize makes fingerprints, and one more thread releases them.
    static void runWithGivingUp(const uint32_t seed, Events& events) {
        constexpr uint32_t STEPS = 1000;
        KeyedTable<T> keyed(1024, Workers<T>::getNumberOfEntries(THREADS, STEPS) + 10);
        keyed.m_table.enableFingerprints();
        Workers<T> workers(keyed, THREADS, STEPS, true, events);
        runTogether(THREADS + 1, [&](const size_t thread) {
            const ScopedThreadContextIndex index(thread < THREADS ? thread % SLOTS : 200);
            if (thread < THREADS)
                workers.work(static_cast<uint32_t>(thread), seed);
            else
                giveUpRepeatedly(keyed, workers, seed, events);
        });
        workers.check();
    }

    /// The table never grows and never knows all fingerprints, and one more thread makes more of them unknown or wrong.
    static void runWithForging(const uint32_t seed, Events& events) {
        constexpr uint32_t STEPS = 1000;
        constexpr size_t NUMBER_OF_BUCKETS = 16384;
        KeyedTable<T> keyed(NUMBER_OF_BUCKETS, Workers<T>::getNumberOfEntries(THREADS, STEPS) + 10);
        keyed.m_table.enableFingerprints();
        reload(keyed);
        Workers<T> workers(keyed, THREADS, STEPS, true, events);
        runTogether(THREADS + 1, [&](const size_t thread) {
            const ScopedThreadContextIndex index(thread < THREADS ? thread % SLOTS : 200);
            if (thread < THREADS)
                workers.work(static_cast<uint32_t>(thread), seed);
            else
                forgetAndForge(keyed, workers, THREADS, seed, events);
        });
        EXPECT_EQ(NUMBER_OF_BUCKETS, keyed.m_table.getNumberOfBuckets());
        EXPECT_FALSE(Peer::getFingerprints(keyed.m_table).areComplete());
        workers.check();
    }
};

} // namespace

TYPED_TEST_SUITE(ParallelHashTableFingerprintsStressTest, BucketWidths, BucketWidthNames);

TYPED_TEST(ParallelHashTableFingerprintsStressTest, oneThreadPassesTheSameChecks) {
    Events events;
    for (const bool isReloaded : {false, true}) {
        KeyedTable<TypeParam> keyed(1024, Workers<TypeParam>::getNumberOfEntries(1, 2000) + 10);
        keyed.m_table.enableFingerprints();
        if (isReloaded)
            reload(keyed);
        Workers<TypeParam> workers(keyed, 1, 2000, false, events);
        workers.work(0, 1);
        workers.check();
    }
    EXPECT_LT(0u, Events::get(events.m_falseCandidates)) << "keys of one hash have one fingerprint";
    EXPECT_LT(0u, Events::get(events.m_learned));
    EXPECT_LT(2u, Events::get(events.m_resizes));
}

TYPED_TEST(ParallelHashTableFingerprintsStressTest, nothingIsLostWhileFingerprintsComeAndGo) {
    Events events;
    repeatUntilDeadline([&](const uint32_t seed) { TestFixture::runWithGivingUp(seed, events); });
    EXPECT_LT(0u, Events::get(events.m_returns)) << "they never came again: this tested nothing";
    EXPECT_LT(0u, Events::get(events.m_resizes));
    EXPECT_LT(0u, Events::get(events.m_falseCandidates));
}

TYPED_TEST(ParallelHashTableFingerprintsStressTest, nothingIsLostWhileFingerprintsAreForgottenAndWrong) {
    Events events;
    repeatUntilDeadline([&](const uint32_t seed) { TestFixture::runWithForging(seed, events); });
    EXPECT_LT(0u, Events::get(events.m_forgotten));
    EXPECT_LT(0u, Events::get(events.m_forged));
    EXPECT_LT(0u, Events::get(events.m_learned)) << "no thread learned one again";
    EXPECT_LT(0u, Events::get(events.m_falseCandidates));
    EXPECT_LT(0u, Events::get(events.m_tombstoneCandidates));
    EXPECT_EQ(0u, Events::get(events.m_resizes)) << "a resize makes them complete";
}
