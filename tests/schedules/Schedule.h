#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

/// Runs a few threads of a test one step at a time and decides before each step which of them takes it. All decisions
/// follow from a seed, so every run can be repeated.
///
/// A step is an access to an atomic, or an operation on a mutex or a condition. The threads are fibers of one thread of
/// the system, so that a change from one to another is a function call, and a million schedules take minutes.
///
/// CHOICES   Half of the seeds choose at random, with a probability of a change at each step that the seed decides. The
///           others give each thread a random priority, run the thread with the highest one that can go on, and move
///           the running thread to the lowest one at a few random steps: S. Burckhardt, P. Kothari, M. Musuvathi,
///           S. Nagarakatte, "A randomized scheduler with probabilistic guarantees of finding bugs", ASPLOS 2010.
///
/// OLD VALUES   In half of the seeds, loads may return values that have been overwritten, where C++ allows it for the
///           memory orders in use. Each thread has a vector clock, each store the clock that it releases. A load may
///           return a value unless the thread has seen a newer one, in the order of happens-before. Not all that C++
///           allows occurs: the values of a variable have the order in which they were stored, nothing is read before
///           it was stored, the last 8 values are kept, and plain memory has no old values. After a pause, a thread
///           reads the newest value of the variable for which it waits.
///
/// Threads  Made and run by one thread. The functions that replacements call are called by the fibers.
/// Errors   A deadlock, or a run without an end, is reported with its seed and ends the process; so does fail.
class Schedule : private Unmovable {
public:
    static constexpr size_t MAXIMUM_NUMBER_OF_THREADS = 3;

    /// For each thread, how many of its accesses happen before something.
    using Clock = std::array<uint32_t, MAXIMUM_NUMBER_OF_THREADS>;

    /// The state of a replaced mutex.
    struct MutexState {
        bool m_isLocked = false;
        Clock m_released{};
    };

    /// What happened in all runs.
    struct Figures {
        uint64_t m_steps = 0;
        uint64_t m_changes = 0;   // of the thread that goes on
        uint64_t m_oldValues = 0; // that loads have returned
    };

    Schedule();
    ~Schedule();

    /// Returns the schedule whose threads run, or null.
    static Schedule* getCurrent() noexcept { return s_current; }

    /// Runs the functions as threads until all have returned. Exceptions must not leave them.
    void run(std::span<const std::function<void()>> functions, uint64_t seed);

    /// Returns a number that two runs share only if all their decisions were the same, or by a collision of hashes.
    uint64_t getDigest() const noexcept { return m_digest; }

    /// Returns the moment at which an operation of the test starts or ends, a number that grows with each call. What
    /// happened before one moment happens before the later ones, as if threads told each other what they have done.
    /// Without that, a thread need not see an operation of another one that has ended.
    uint64_t takeTime() noexcept;

    const Figures& getFigures() const noexcept { return m_figures; }

    ///@{
    /// Chooses the memory order that is weakened, by its number; returns whether it was used since. Copies of the
    /// engine that weaken_orders.py makes pass each order through getOrder.
    static void weakenOrder(const size_t number) noexcept { s_weakenedOrder = number; }
    static bool isWeakenedOrderUsed() noexcept { return s_isWeakenedOrderUsed.load(std::memory_order_relaxed); }
    static std::memory_order getOrder(const size_t number, const std::memory_order order,
                                      const std::memory_order weaker) noexcept {
        if (number != s_weakenedOrder) [[likely]]
            return order;
        s_isWeakenedOrderUsed.store(true, std::memory_order_relaxed);
        return weaker;
    }
    ///@}

    /// Prints each step.
    void setTracing(const bool isTracing) noexcept { m_isTracing = isTracing; }

    /// Reports what is wrong in the current run, and ends the process.
    [[noreturn]] void fail(const std::string& finding);

    /// Returns a decision that is part of the schedule: a number below `limit`.
    uint64_t choose(uint64_t limit) noexcept;

    ///@{
    /// For the replacements. `newest` is the variable's value before the operation.
    void step() noexcept;
    uint64_t load(const void* address, uint64_t newest, std::memory_order order) noexcept;
    std::optional<uint64_t> failComparison(uint64_t expected, const void* address, uint64_t newest,
                                           std::memory_order order) noexcept;
    void store(const void* address, uint64_t newest, uint64_t value, std::memory_order order) noexcept;
    void modify(const void* address, uint64_t newest, uint64_t value, std::memory_order order) noexcept;
    bool failsForNoReason() noexcept;
    void pause() noexcept;
    void lock(MutexState& mutex) noexcept;
    void unlock(MutexState& mutex) noexcept;
    void wait(const void* condition, MutexState& mutex) noexcept;
    void signal(const void* condition) noexcept;
    void broadcast(const void* condition) noexcept;
    ///@}

private:
    struct Location;
    enum class State : uint8_t { READY, PAUSED, BLOCKED, DONE };
    struct Thread;

    static inline Schedule* s_current = nullptr;
    static inline size_t s_weakenedOrder = 0; // its number, or 0
    static inline std::atomic<bool> s_isWeakenedOrderUsed = false;

    uint64_t random() noexcept;
    static Clock join(const Clock& first, const Clock& second) noexcept;

    bool canGoOn(const Thread& thread) const noexcept;
    size_t chooseAmong(std::span<const size_t> candidates) noexcept;
    void goOn() noexcept;
    void block(const void* reason) noexcept;
    size_t chooseValue(const Location& location) noexcept;
    uint64_t read(Location& location, size_t index, std::memory_order order) noexcept;
    Location& getLocation(const void* address, uint64_t newest) noexcept;
    void see(Location& location, size_t index) noexcept;
    void append(Location& location, uint64_t value, const Clock& released) noexcept;
    void trace(const char* operation, const void* address, uint64_t value) const;

    std::vector<std::unique_ptr<Thread>> m_threads;
    std::vector<Location> m_locations; // open addressing by address; those of earlier runs count as empty
    uint64_t m_random = 0;
    uint64_t m_run = 0;
    size_t m_numberOfThreads = 0;
    size_t m_running = 0;
    bool m_hasPriorities = false;
    bool m_returnsOldValues = false;
    bool m_isTracing = false;
    uint64_t m_changeEvery = 1;
    std::vector<uint64_t> m_demotions; // steps at which the running thread gets the lowest priority, descending
    uint64_t m_lowestPriority = 0;
    uint64_t m_seed = 0;
    uint64_t m_steps = 0;
    uint64_t m_writes = 0;
    uint64_t m_time = 0;
    Clock m_clockOfTimes{};
    uint64_t m_digest = 0;
    Figures m_figures;
};
