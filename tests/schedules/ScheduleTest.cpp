#include "tests/schedules/Schedule.h"

#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/Condition.h"
#include "Engine/core/platform/system/Mutex.h"
#include "Engine/core/platform/system/SpinPause.h"

#include <gtest/gtest.h>

#include <functional>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

constexpr uint64_t NUMBER_OF_SEEDS = 2000;
constexpr auto RELAXED = std::memory_order_relaxed;
constexpr auto ACQUIRE = std::memory_order_acquire;
constexpr auto RELEASE = std::memory_order_release;

using Threads = std::vector<std::function<void()>>;

/// Runs threads that `makeThreads` makes, once for each seed, and calls `check` after each run.
template<class MakeThreads, class Check>
void runAll(const MakeThreads& makeThreads, const Check& check) {
    Schedule schedule;
    for (uint64_t seed = 1; seed <= NUMBER_OF_SEEDS; ++seed) {
        const Threads threads = makeThreads();
        schedule.run(threads, seed);
        check(schedule);
    }
}

/// The pairs of values that a thread reads of a flag and of data, when another one writes 1 to the data first.
std::set<std::pair<int, int>> passMessages(const std::memory_order store, const std::memory_order load) {
    std::set<std::pair<int, int>> results;
    int flagValue = 0;
    int dataValue = 0;
    Atomic<int> flag;
    Atomic<int> data;
    runAll(
        [&] {
            flag.store(0, RELAXED);
            data.store(0, RELAXED);
            return Threads{[&] {
                               data.store(1, RELAXED);
                               flag.store(1, store);
                           },
                           [&] {
                               flagValue = flag.load(load);
                               dataValue = data.load(RELAXED);
                           }};
        },
        [&](Schedule&) { results.emplace(flagValue, dataValue); });
    return results;
}

} // namespace

TEST(ScheduleTest, acquireAndReleaseMakeDataVisible) {
    EXPECT_EQ((std::set<std::pair<int, int>>{{0, 0}, {0, 1}, {1, 1}}), passMessages(RELEASE, ACQUIRE));
}

TEST(ScheduleTest, weakerOrdersMakeNothingVisible) {
    const std::set<std::pair<int, int>> all{{0, 0}, {0, 1}, {1, 0}, {1, 1}};
    EXPECT_EQ(all, passMessages(RELAXED, ACQUIRE));
    EXPECT_EQ(all, passMessages(RELEASE, RELAXED));
}

TEST(ScheduleTest, readModifyWritesContinueAReleaseSequence) {
    Atomic<int> flag;
    Atomic<int> data;
    size_t numberOfSeen = 0;
    runAll(
        [&] {
            flag.store(0, RELAXED);
            data.store(0, RELAXED);
            return Threads{[&] {
                               data.store(1, RELAXED);
                               flag.store(1, RELEASE);
                           },
                           [&] { flag.fetch_add(1, RELAXED); },
                           [&] {
                               if (flag.load(ACQUIRE) == 2) {
                                   ++numberOfSeen;
                                   EXPECT_EQ(1, data.load(RELAXED));
                               }
                           }};
        },
        [](Schedule&) {});
    EXPECT_NE(0U, numberOfSeen);
}

TEST(ScheduleTest, noThreadSeesAVariableGoBack) {
    Atomic<int> variable;
    runAll(
        [&] {
            variable.store(0, RELAXED);
            return Threads{[&] {
                               for (int value = 1; value <= 12; ++value)
                                   variable.store(value, RELAXED);
                           },
                           [&] {
                               int last = 0;
                               for (int number = 0; number < 8; ++number) {
                                   const int value = variable.load(RELAXED);
                                   EXPECT_LE(last, value);
                                   last = value;
                               }
                           }};
        },
        [&](Schedule&) { EXPECT_EQ(12, variable.load(RELAXED)); });
}

TEST(ScheduleTest, bothThreadsMayMissTheOthersStore) {
    std::set<std::pair<int, int>> results;
    std::pair<int, int> result;
    Atomic<int> first;
    Atomic<int> second;
    runAll(
        [&] {
            first.store(0, RELAXED);
            second.store(0, RELAXED);
            return Threads{[&] {
                               first.store(1, RELEASE);
                               result.first = second.load(ACQUIRE);
                           },
                           [&] {
                               second.store(1, RELEASE);
                               result.second = first.load(ACQUIRE);
                           }};
        },
        [&](Schedule&) { results.insert(result); });
    EXPECT_EQ((std::set<std::pair<int, int>>{{0, 0}, {0, 1}, {1, 0}, {1, 1}}), results);
}

TEST(ScheduleTest, readModifyWritesLoseNothing) {
    Atomic<int> counter;
    runAll(
        [&] {
            counter.store(0, RELAXED);
            const auto increment = [&] {
                counter.fetch_add(2, RELAXED);
                counter.fetch_sub(1, RELAXED);
                int expected = counter.load(RELAXED);
                while (!counter.compare_exchange_weak(expected, expected + 1, RELAXED, RELAXED)) {
                }
            };
            return Threads{increment, increment, increment};
        },
        [&](Schedule&) { EXPECT_EQ(6, counter.load(RELAXED)); });
}

TEST(ScheduleTest, aLoadAndAStoreMayLoseAnUpdate) {
    std::set<int> results;
    Atomic<int> counter;
    runAll(
        [&] {
            counter.store(0, RELAXED);
            const auto increment = [&] { counter.store(counter.load(RELAXED) + 1, RELAXED); };
            return Threads{increment, increment, increment};
        },
        [&](Schedule&) { results.insert(counter.load(RELAXED)); });
    EXPECT_EQ((std::set<int>{1, 2, 3}), results);
}

TEST(ScheduleTest, aMutexMakesUpdatesWholeAndVisible) {
    Atomic<int> counter;
    Mutex mutex;
    runAll(
        [&] {
            counter.store(0, RELAXED);
            const auto increment = [&] {
                mutex.lock();
                counter.store(counter.load(RELAXED) + 1, RELAXED);
                mutex.unlock();
            };
            return Threads{increment, increment, increment};
        },
        [&](Schedule&) { EXPECT_EQ(3, counter.load(RELAXED)); });
}

TEST(ScheduleTest, aBroadcastWakesAllThreadsThatWait) {
    Mutex mutex;
    Condition condition;
    bool isRaised = false;
    size_t numberOfWoken = 0;
    runAll(
        [&] {
            isRaised = false;
            const auto wait = [&] {
                mutex.lock();
                while (!isRaised)
                    condition.wait(mutex);
                ++numberOfWoken;
                mutex.unlock();
            };
            return Threads{wait, wait, [&] {
                               mutex.lock();
                               isRaised = true;
                               condition.broadcast();
                               mutex.unlock();
                           }};
        },
        [](Schedule&) {});
    EXPECT_EQ(2 * NUMBER_OF_SEEDS, numberOfWoken);
}

TEST(ScheduleTest, eachSignalWakesAThreadThatWaits) {
    Mutex mutex;
    Condition condition;
    int numberOfTokens = 0;
    size_t numberOfWokenForNothing = 0;
    runAll(
        [&] {
            numberOfTokens = 0;
            const auto take = [&] {
                mutex.lock();
                while (numberOfTokens == 0) {
                    condition.wait(mutex);
                    numberOfWokenForNothing += numberOfTokens == 0;
                }
                --numberOfTokens;
                mutex.unlock();
            };
            return Threads{take, take, [&] {
                               for (int number = 0; number < 2; ++number) {
                                   mutex.lock();
                                   ++numberOfTokens;
                                   condition.signal();
                                   mutex.unlock();
                               }
                           }};
        },
        [&](Schedule&) { EXPECT_EQ(0, numberOfTokens); });
    EXPECT_NE(0U, numberOfWokenForNothing) << "conditions may wake threads without a signal";
}

TEST(ScheduleTest, aComparisonMayFailBecauseOfAnOldValue) {
    std::set<std::pair<bool, int>> results;
    Atomic<int> variable;
    std::pair<bool, int> result;
    runAll(
        [&] {
            variable.store(0, RELAXED);
            return Threads{[&] {
                               variable.store(1, RELAXED);
                               variable.store(2, RELAXED);
                           },
                           [&] {
                               int expected = 2;
                               const bool isExchanged = variable.compare_exchange_strong(expected, 3, RELAXED, RELAXED);
                               result = {isExchanged, expected};
                           }};
        },
        [&](Schedule&) {
            results.insert(result);
            EXPECT_EQ(result.first ? 3 : 2, variable.load(RELAXED));
        });
    EXPECT_EQ((std::set<std::pair<bool, int>>{{false, 0}, {false, 1}, {true, 2}}), results);
}

TEST(ScheduleTest, aThreadThatHasWaitedMayReadOldValuesOfOthers) {
    std::set<int> results;
    Atomic<int> flag;
    Atomic<int> data;
    runAll(
        [&] {
            flag.store(0, RELAXED);
            data.store(0, RELAXED);
            return Threads{[&] {
                               while (flag.load(RELAXED) == 0)
                                   spinPause();
                               results.insert(data.load(RELAXED));
                           },
                           [&] {
                               data.store(1, RELAXED);
                               flag.store(1, RELAXED);
                           }};
        },
        [](Schedule&) {});
    EXPECT_EQ((std::set<int>{0, 1}), results);
}

TEST(ScheduleTest, aThreadThatSpinsEndsWhenTheOtherHasWritten) {
    Atomic<int> flag;
    runAll(
        [&] {
            flag.store(0, RELAXED);
            return Threads{[&] {
                               while (flag.load(RELAXED) == 0)
                                   spinPause();
                           },
                           [&] { flag.store(1, RELAXED); }};
        },
        [](Schedule&) {});
}

TEST(ScheduleTest, exceptionsOfOneThreadAreNotThoseOfAnother) {
    Atomic<int> variable;
    runAll(
        [&] {
            const auto handle = [&](const std::string& name) {
                try {
                    throw std::runtime_error(name);
                } catch (const std::runtime_error& outer) {
                    variable.fetch_add(1, RELAXED);
                    try {
                        throw;
                    } catch (const std::runtime_error& inner) {
                        variable.fetch_add(1, RELAXED);
                        EXPECT_EQ(name, inner.what());
                        EXPECT_EQ(&outer, &inner);
                    }
                }
            };
            return Threads{[handle] { handle("first"); }, [handle] { handle("second"); }};
        },
        [](Schedule&) {});
}

TEST(ScheduleTest, aSeedRepeatsASchedule) {
    Atomic<int> variable;
    const auto work = [&] {
        for (int number = 0; number < 10; ++number)
            variable.fetch_add(1, RELAXED);
    };
    const Threads threads{work, work};
    Schedule first;
    Schedule second;
    std::set<uint64_t> digests;
    for (uint64_t seed = 1; seed <= 100; ++seed) {
        first.run(threads, seed);
        second.run(threads, seed);
        EXPECT_EQ(first.getDigest(), second.getDigest());
        digests.insert(first.getDigest());
    }
    EXPECT_LT(10U, digests.size());
}

TEST(ScheduleTest, aDeadlockIsReported) {
    const auto lockInOppositeOrders = [] {
        Mutex first;
        Mutex second;
        const auto lock = [](Mutex& outer, Mutex& inner) {
            outer.lock();
            inner.lock();
            inner.unlock();
            outer.unlock();
        };
        runAll([&] { return Threads{[&] { lock(first, second); }, [&] { lock(second, first); }}; }, [](Schedule&) {});
    };
    EXPECT_EXIT(lockInOppositeOrders(), testing::ExitedWithCode(1), "deadlock: no thread can go on");
}

TEST(ScheduleTest, anEndlessLoopIsReported) {
    Atomic<int> variable;
    const auto loop = [&] {
        runAll(
            [&] {
                return Threads{[&] {
                    for (;;)
                        variable.fetch_add(1, RELAXED);
                }};
            },
            [](Schedule&) {});
    };
    EXPECT_EXIT(loop(), testing::ExitedWithCode(1), "no end: the threads have taken too many steps");
}
