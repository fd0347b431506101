#pragma once

#include "Engine/core/platform/system/Condition.h"
#include "tests/Engine/core/platform/collections/WaitOrAbort.h"
#include "tests/support/LockObserver.h"

#include <cstddef>
#include <mutex>
#include <set>
#include <thread>

/// Counts the threads that have waited for a condition. A counted thread cannot miss a broadcast that is made under the
/// condition's mutex. The address of a Condition is that of the condition of the system within it.
class ParkedThreads : public LockObserver {
public:
    explicit ParkedThreads(const melnar::Condition& condition) : m_condition(condition) {}

    void notice(const Event event, const void* const object) override {
        if (event != Event::CONDITION_WAITING || object != &m_condition)
            return;
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_threads.insert(std::this_thread::get_id());
    }

    void waitFor(const size_t numberOfThreads) {
        waitOrAbort("threads to park", [this, numberOfThreads] { return getNumberOfThreads() == numberOfThreads; });
    }

private:
    size_t getNumberOfThreads() {
        const std::lock_guard<std::mutex> lock(m_mutex);
        return m_threads.size();
    }

    const melnar::Condition& m_condition;
    std::mutex m_mutex;
    std::set<std::thread::id> m_threads; // protected by m_mutex
};
