#include "tests/schedules/Schedule.h"

#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <boost/context/fiber.hpp>
#include <boost/context/protected_fixedsize_stack.hpp>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cxxabi.h>
#include <limits>
#include <unistd.h>
#include <utility>

#ifdef MELNAR_THREAD_SANITIZER
#include <sanitizer/tsan_interface.h>
#endif

namespace {

constexpr size_t STACK_SIZE = size_t(1) << 19;
constexpr uint64_t MAXIMUM_NUMBER_OF_STEPS = 100000;
constexpr uint64_t FIRST_THREAD_ID = 1000; // no other thread has so large a one
constexpr uint32_t NEVER = std::numeric_limits<uint32_t>::max();

bool isAcquire(const std::memory_order order) noexcept {
    return order == std::memory_order_acquire || order == std::memory_order_acq_rel ||
           order == std::memory_order_seq_cst;
}

bool isRelease(const std::memory_order order) noexcept {
    return order == std::memory_order_release || order == std::memory_order_acq_rel ||
           order == std::memory_order_seq_cst;
}

/// What the C++ runtime keeps for each thread of the system: the exceptions that are being handled.
struct HandledExceptions {
    void* m_caught = nullptr;
    unsigned m_numberOfUncaught = 0;
};

/// What fibers of one thread of the system would otherwise share. It is exchanged whenever another fiber goes on.
struct OwnState {
    HandledExceptions m_exceptions;
    size_t m_threadContextIndex = 0;
    uint64_t m_threadID = 0;
    bool m_hasThreadContextLoan = false;

    void exchange() noexcept {
        auto& exceptions = *reinterpret_cast<HandledExceptions*>(abi::__cxa_get_globals());
        std::swap(exceptions.m_caught, m_exceptions.m_caught);
        std::swap(exceptions.m_numberOfUncaught, m_exceptions.m_numberOfUncaught);
        std::swap(g_currentThreadContextIndex, m_threadContextIndex);
        std::swap(g_currentThreadID, m_threadID);
        std::swap(g_hasThreadContextLoan, m_hasThreadContextLoan);
    }
};

/// Tells ThreadSanitizer which fiber runs, and what mutexes order. This file itself is compiled without it.
class SanitizerFiber : private Unmovable {
public:
#ifdef MELNAR_THREAD_SANITIZER
    SanitizerFiber() : m_main(::__tsan_get_current_fiber()), m_fiber(::__tsan_create_fiber(0)) {}
    ~SanitizerFiber() {
        ::__tsan_destroy_fiber(m_fiber);
    }

    void enter(const bool isOrdered) {
        change(m_fiber, isOrdered);
    }
    void leave(const bool isOrdered) {
        change(m_main, isOrdered);
    }

    static void lock(void* const mutex) {
        ::__tsan_acquire(mutex);
    }
    static void unlock(void* const mutex) {
        ::__tsan_release(mutex);
    }

private:
    static void change(void* const fiber, const bool isOrdered) {
        ::__tsan_switch_to_fiber(fiber, isOrdered ? 0 : ::__tsan_switch_to_fiber_no_sync);
    }

    void* const m_main;
    void* const m_fiber;
#else
    void enter(bool) {}
    void leave(bool) {}

    static void lock(void*) {}
    static void unlock(void*) {}
#endif
};

} // namespace

/// The values that a variable has had since the run started, oldest first. If there are too many, the oldest are
/// forgotten, so that loads no longer return them.
struct Schedule::Location {
    static constexpr size_t CAPACITY = 8;

    struct Value {
        uint64_t m_value;
        Clock m_released;  // what a load with acquire order learns
        Clock m_firstSeen; // for each thread, the time of its first access to this value or a newer one
    };

    Value& operator[](const size_t index) noexcept { return m_values[(m_first + index) % CAPACITY]; }
    const Value& operator[](const size_t index) const noexcept { return m_values[(m_first + index) % CAPACITY]; }

    const void* m_address = nullptr;
    uint64_t m_run = 0;
    size_t m_first = 0;
    size_t m_size = 0;
    std::array<Value, CAPACITY> m_values; // a ring
};

struct Schedule::Thread {
    boost::context::fiber m_fiber;
    boost::context::fiber m_main; // where the fiber returns to
    OwnState m_ownState;
    const std::function<void()>* m_function = nullptr;
    State m_state = State::DONE;
    bool m_isNew = false;
    // After a pause, the variable for which the thread has waited: its newest value is read, or the loop might not end.
    const void* m_awaited = nullptr;
    const void* m_lastLoaded = nullptr;
    const void* m_reason = nullptr;
    uint64_t m_writesAtPause = 0;
    uint64_t m_priority = 0;
    Clock m_clock{};
    SanitizerFiber m_sanitizerFiber;
};

Schedule::Schedule() : m_locations(size_t(1) << 13) {
    for (size_t index = 0; index < MAXIMUM_NUMBER_OF_THREADS; ++index) {
        Thread& thread = *m_threads.emplace_back(std::make_unique<Thread>());
        thread.m_fiber =
            boost::context::fiber(std::allocator_arg, boost::context::protected_fixedsize_stack(STACK_SIZE),
                                  [&thread](boost::context::fiber&& main) {
                                      thread.m_main = std::move(main);
                                      for (;;) {
                                          thread.m_main = std::move(thread.m_main).resume();
                                          if (thread.m_function == nullptr)
                                              return std::move(thread.m_main);
                                          (*thread.m_function)();
                                          thread.m_state = State::DONE;
                                      }
                                  });
        thread.m_fiber = std::move(thread.m_fiber).resume();
    }
}

Schedule::~Schedule() {
    for (const std::unique_ptr<Thread>& thread : m_threads) {
        thread->m_function = nullptr;
        thread->m_fiber = std::move(thread->m_fiber).resume();
    }
}

void Schedule::run(const std::span<const std::function<void()>> functions, const uint64_t seed) {
    m_seed = seed;
    m_random = seed;
    ++m_run;
    m_numberOfThreads = functions.size();
    m_steps = 0;
    m_writes = 0;
    m_digest = 0;
    m_hasPriorities = seed % 2 == 0;
    m_returnsOldValues = seed / 2 % 2 == 0;
    m_changeEvery = uint64_t(1) << (1 + random() % 5);
    m_demotions.clear();
    for (uint64_t left = random() % 5; left > 0; --left)
        m_demotions.push_back(1 + random() % (uint64_t(64) << random() % 6));
    std::sort(m_demotions.rbegin(), m_demotions.rend());
    m_lowestPriority = uint64_t(1) << 32;
    m_clockOfTimes.fill(0);
    for (size_t index = 0; index < m_numberOfThreads; ++index) {
        Thread& thread = *m_threads[index];
        thread.m_function = &functions[index];
        thread.m_state = State::READY;
        thread.m_isNew = true;
        thread.m_awaited = nullptr;
        thread.m_lastLoaded = nullptr;
        thread.m_priority = m_lowestPriority + 1 + random() % 1000;
        thread.m_ownState.m_threadContextIndex = index;
        thread.m_ownState.m_threadID = FIRST_THREAD_ID + index;
        thread.m_ownState.m_hasThreadContextLoan = false;
        thread.m_clock.fill(0);
        thread.m_clock[index] = 1;
    }
    s_current = this;
    m_running = m_numberOfThreads; // none
    goOn();
    while (m_running != m_numberOfThreads) {
        Thread& thread = *m_threads[m_running];
        thread.m_ownState.exchange();
        // Only what happens before a thread starts, and after it ends, is ordered by the schedule itself.
        thread.m_sanitizerFiber.enter(std::exchange(thread.m_isNew, false));
        thread.m_fiber = std::move(thread.m_fiber).resume();
        thread.m_sanitizerFiber.leave(thread.m_state == State::DONE);
        thread.m_ownState.exchange();
        if (thread.m_state == State::DONE)
            goOn();
    }
    s_current = nullptr;
    m_figures.m_steps += m_steps;
}

void Schedule::fail(const std::string& finding) {
    std::fflush(stdout);
    std::fprintf(stderr, "seed %llu, step %llu, thread %zu: %s\n", static_cast<unsigned long long>(m_seed),
                 static_cast<unsigned long long>(m_steps), m_running, finding.c_str());
    std::fflush(stderr);
    ::_exit(1);
}

void Schedule::trace(const char* const operation, const void* const address, const uint64_t value) const {
    if (m_isTracing)
        std::printf("%6llu  thread %zu  %-10s %p  %llx\n", static_cast<unsigned long long>(m_steps), m_running,
                    operation, address, static_cast<unsigned long long>(value));
}

/// SplitMix64 (Steele, Lea, Flood). A class of the standard library could be shared with code that ThreadSanitizer
/// watches.
uint64_t Schedule::random() noexcept {
    uint64_t bits = m_random += 0x9E3779B97F4A7C15;
    bits = (bits ^ bits >> 30) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ bits >> 27) * 0x94D049BB133111EB;
    return bits ^ bits >> 31;
}

uint64_t Schedule::choose(const uint64_t limit) noexcept {
    const uint64_t choice = random() % limit;
    m_digest = (m_digest ^ choice) * 0x9E3779B97F4A7C15 + 1;
    m_digest ^= m_digest >> 29;
    return choice;
}

uint64_t Schedule::takeTime() noexcept {
    if (s_current != nullptr) {
        Clock& clock = m_threads[m_running]->m_clock;
        ++clock[m_running];
        clock = m_clockOfTimes = join(clock, m_clockOfTimes);
    }
    return ++m_time;
}

bool Schedule::canGoOn(const Thread& thread) const noexcept {
    return thread.m_state == State::READY || (thread.m_state == State::PAUSED && m_writes != thread.m_writesAtPause);
}

size_t Schedule::chooseAmong(const std::span<const size_t> candidates) noexcept {
    if (candidates.size() == 1)
        return candidates.front();
    if (m_hasPriorities) {
        if (!m_demotions.empty() && m_demotions.back() <= m_steps && m_running != m_numberOfThreads) {
            m_demotions.pop_back();
            m_threads[m_running]->m_priority = --m_lowestPriority;
        }
        return *std::max_element(candidates.begin(), candidates.end(), [this](const size_t first, const size_t second) {
            return m_threads[first]->m_priority < m_threads[second]->m_priority;
        });
    }
    const bool canStay = std::find(candidates.begin(), candidates.end(), m_running) != candidates.end();
    if (canStay && random() % m_changeEvery != 0)
        return m_running;
    return candidates[random() % candidates.size()];
}

/// Chooses the thread that takes the next step. The caller, if it is a thread, must be able to go on later.
void Schedule::goOn() noexcept {
    std::array<size_t, MAXIMUM_NUMBER_OF_THREADS> candidates;
    size_t numberOfCandidates = 0;
    size_t numberOfDone = 0;
    for (size_t index = 0; index < m_numberOfThreads; ++index) {
        const Thread& thread = *m_threads[index];
        numberOfDone += thread.m_state == State::DONE;
        if (canGoOn(thread))
            candidates[numberOfCandidates++] = index;
    }
    if (numberOfDone == m_numberOfThreads) {
        m_running = m_numberOfThreads;
        return;
    }
    // Threads that pause may have read old values. They get another chance, in which they read the newest ones.
    if (numberOfCandidates == 0)
        for (size_t index = 0; index < m_numberOfThreads; ++index)
            if (m_threads[index]->m_state == State::PAUSED && m_threads[index]->m_awaited == nullptr)
                candidates[numberOfCandidates++] = index;
    if (numberOfCandidates == 0)
        fail("deadlock: no thread can go on");
    const size_t next = chooseAmong({candidates.data(), numberOfCandidates});
    m_digest = (m_digest ^ (next + 1)) * 0x9E3779B97F4A7C15;
    m_digest ^= m_digest >> 29;
    Thread& thread = *m_threads[next];
    if (thread.m_state == State::PAUSED)
        thread.m_awaited = thread.m_lastLoaded;
    thread.m_state = State::READY;
    if (next == m_running)
        return;
    ++m_figures.m_changes;
    const size_t left = m_running;
    m_running = next;
    if (left != m_numberOfThreads && m_threads[left]->m_state != State::DONE)
        m_threads[left]->m_main = std::move(m_threads[left]->m_main).resume();
}

void Schedule::step() noexcept {
    if (++m_steps > MAXIMUM_NUMBER_OF_STEPS)
        fail("no end: the threads have taken too many steps");
    goOn();
    ++m_threads[m_running]->m_clock[m_running];
}

Schedule::Clock Schedule::join(const Clock& first, const Clock& second) noexcept {
    Clock joined;
    for (size_t index = 0; index < joined.size(); ++index)
        joined[index] = std::max(first[index], second[index]);
    return joined;
}

/// Returns the values of a variable. If plain code has changed the variable, as when memory is made or cleared, all
/// threads have seen that.
Schedule::Location& Schedule::getLocation(const void* const address, const uint64_t newest) noexcept {
    size_t index = (reinterpret_cast<uintptr_t>(address) * 0x9E3779B97F4A7C15) >> 51;
    while (m_locations[index].m_run == m_run && m_locations[index].m_address != address)
        index = (index + 1) % m_locations.size();
    Location& location = m_locations[index];
    if (location.m_run != m_run || location[location.m_size - 1].m_value != newest) {
        location.m_address = address;
        location.m_run = m_run;
        location.m_size = 1;
        location[0] = {newest, {}, {}};
    }
    return location;
}

/// Notes that the running thread knows of a value, and so of all older ones.
void Schedule::see(Location& location, const size_t index) noexcept {
    for (size_t older = 0; older <= index; ++older) {
        uint32_t& firstSeen = location[older].m_firstSeen[m_running];
        firstSeen = std::min(firstSeen, m_threads[m_running]->m_clock[m_running]);
    }
}

void Schedule::append(Location& location, const uint64_t value, const Clock& released) noexcept {
    if (location.m_size == Location::CAPACITY) {
        ++location.m_first;
        --location.m_size;
    }
    Clock firstSeen;
    firstSeen.fill(NEVER);
    location[location.m_size++] = {value, released, firstSeen};
    see(location, location.m_size - 1);
    ++m_writes;
}

/// Returns the index of the value that a load of the running thread returns.
size_t Schedule::chooseValue(const Location& location) noexcept {
    const Thread& thread = *m_threads[m_running];
    size_t index = location.m_size - 1;
    if (!m_returnsOldValues || thread.m_awaited == location.m_address)
        return index;
    const auto isKnown = [&](const Clock& firstSeen) {
        for (size_t other = 0; other < MAXIMUM_NUMBER_OF_THREADS; ++other)
            if (firstSeen[other] <= thread.m_clock[other])
                return true;
        return false;
    };
    while (index > 0 && !isKnown(location[index].m_firstSeen) && choose(3) == 0)
        --index;
    return index;
}

uint64_t Schedule::read(Location& location, const size_t index, const std::memory_order order) noexcept {
    const Location::Value& value = location[index];
    m_threads[m_running]->m_lastLoaded = location.m_address;
    see(location, index);
    if (isAcquire(order))
        m_threads[m_running]->m_clock = join(m_threads[m_running]->m_clock, value.m_released);
    const bool isOld = index != location.m_size - 1;
    m_figures.m_oldValues += isOld;
    trace(isOld ? "load old" : "load", location.m_address, value.m_value);
    return value.m_value;
}

uint64_t Schedule::load(const void* const address, const uint64_t newest, const std::memory_order order) noexcept {
    Location& location = getLocation(address, newest);
    return read(location, chooseValue(location), order);
}

/// Returns the value that a comparison reads, which fails, or nothing if it succeeds. It may fail because of an old
/// value, but succeeds only with the newest one.
std::optional<uint64_t> Schedule::failComparison(const uint64_t expected, const void* const address,
                                                 const uint64_t newest, const std::memory_order order) noexcept {
    Location& location = getLocation(address, newest);
    size_t index = chooseValue(location);
    if (location[index].m_value == expected) {
        if (newest == expected)
            return std::nullopt;
        index = location.m_size - 1;
    }
    return read(location, index, order);
}

void Schedule::store(const void* const address, const uint64_t newest, const uint64_t value,
                     const std::memory_order order) noexcept {
    Location& location = getLocation(address, newest);
    append(location, value, isRelease(order) ? m_threads[m_running]->m_clock : Clock{});
    trace("store", address, value);
}

/// A read-modify-write: it reads the newest value, and continues the release sequence of that value.
void Schedule::modify(const void* const address, const uint64_t newest, const uint64_t value,
                      const std::memory_order order) noexcept {
    Thread& thread = *m_threads[m_running];
    Location& location = getLocation(address, newest);
    Clock released = location[location.m_size - 1].m_released;
    if (isAcquire(order))
        thread.m_clock = join(thread.m_clock, released);
    if (isRelease(order))
        released = join(released, thread.m_clock);
    append(location, value, released);
    trace("modify", address, value);
}

bool Schedule::failsForNoReason() noexcept {
    return choose(16) == 0;
}

void Schedule::pause() noexcept {
    Thread& thread = *m_threads[m_running];
    trace("pause", nullptr, 0);
    if (++m_steps > MAXIMUM_NUMBER_OF_STEPS)
        fail("no end: the threads have taken too many steps");
    // The thread may have read an old value. If it has read the newest one, only another thread can end its wait.
    if (thread.m_awaited != thread.m_lastLoaded)
        thread.m_awaited = nullptr;
    thread.m_state = State::PAUSED;
    thread.m_writesAtPause = m_writes;
    goOn();
}

/// Lets other threads go on until one of them ends the reason.
void Schedule::block(const void* const reason) noexcept {
    m_threads[m_running]->m_state = State::BLOCKED;
    m_threads[m_running]->m_reason = reason;
    goOn();
}

void Schedule::lock(MutexState& mutex) noexcept {
    step();
    while (mutex.m_isLocked)
        block(&mutex);
    mutex.m_isLocked = true;
    Thread& thread = *m_threads[m_running];
    thread.m_clock = join(thread.m_clock, mutex.m_released);
    SanitizerFiber::lock(&mutex);
    trace("lock", &mutex, 0);
}

void Schedule::unlock(MutexState& mutex) noexcept {
    step();
    trace("unlock", &mutex, 0);
    SanitizerFiber::unlock(&mutex);
    mutex.m_isLocked = false;
    mutex.m_released = join(mutex.m_released, m_threads[m_running]->m_clock);
    broadcast(&mutex);
}

void Schedule::wait(const void* const condition, MutexState& mutex) noexcept {
    trace("wait", condition, 0);
    unlock(mutex);
    if (choose(16) != 0)
        block(condition);
    lock(mutex);
}

void Schedule::signal(const void* const condition) noexcept {
    trace("signal", condition, 0);
    std::array<size_t, MAXIMUM_NUMBER_OF_THREADS> waiting;
    size_t numberOfWaiting = 0;
    for (size_t index = 0; index < m_numberOfThreads; ++index)
        if (m_threads[index]->m_state == State::BLOCKED && m_threads[index]->m_reason == condition)
            waiting[numberOfWaiting++] = index;
    if (numberOfWaiting != 0)
        m_threads[waiting[choose(numberOfWaiting)]]->m_state = State::READY;
}

void Schedule::broadcast(const void* const condition) noexcept {
    trace("broadcast", condition, 0);
    for (size_t index = 0; index < m_numberOfThreads; ++index)
        if (m_threads[index]->m_state == State::BLOCKED && m_threads[index]->m_reason == condition)
            m_threads[index]->m_state = State::READY;
}
