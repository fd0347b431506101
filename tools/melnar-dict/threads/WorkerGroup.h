#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <exception>
#include <functional>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

/// Threads that do the same work until it is done.
///
/// Errors  `join` throws the first exception of a worker. Before that, the failing worker's thread has called
///         `wakeOthers`, so that no thread waits for it in vain.
class WorkerGroup : private Unmovable {
public:
    explicit WorkerGroup(std::function<void()> wakeOthers) : m_wakeOthers(std::move(wakeOthers)) {}

    /// Joins the running threads, after `wakeOthers`.
    ~WorkerGroup();

    /// Starts threads; std::system_error if the system refuses one; the ones that were started continue.
    void start(size_t numberOfThreads, const std::function<void()>& work);

    void join();

private:
    void run(const std::function<void()>& work) noexcept;
    void joinThreads();

    const std::function<void()> m_wakeOthers;
    std::mutex m_mutex; // protects m_failure
    std::exception_ptr m_failure;
    std::vector<std::thread> m_threads;
};
