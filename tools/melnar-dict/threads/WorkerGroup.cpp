#include "tools/melnar-dict/threads/WorkerGroup.h"

#include <utility>

WorkerGroup::~WorkerGroup() {
    if (m_threads.empty())
        return;
    m_wakeOthers();
    joinThreads();
}

void WorkerGroup::start(const size_t numberOfThreads, const std::function<void()>& work) {
    for (size_t index = 0; index < numberOfThreads; ++index)
        m_threads.emplace_back([this, work] { run(work); });
}

void WorkerGroup::join() {
    joinThreads();
    if (m_failure)
        std::rethrow_exception(std::exchange(m_failure, nullptr));
}

void WorkerGroup::run(const std::function<void()>& work) noexcept {
    try {
        work();
    } catch (...) {
        {
            const std::lock_guard guard(m_mutex);
            if (!m_failure)
                m_failure = std::current_exception();
        }
        m_wakeOthers();
    }
}

void WorkerGroup::joinThreads() {
    for (std::thread& thread : m_threads)
        thread.join();
    m_threads.clear();
}
