#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <mutex>

constinit thread_local size_t g_currentThreadContextIndex = NO_THREAD_CONTEXT_INDEX;
constinit thread_local uint64_t g_currentThreadID = 0;
constinit thread_local bool g_hasThreadContextLoan = false;

namespace {

constinit std::mutex s_mutex;

/// The number of threads that have each index. Protected by s_mutex.
constinit std::array<size_t, NUMBER_OF_THREAD_CONTEXT_INDICES> s_numberOfUsers{};

/// Protected by s_mutex.
constinit uint64_t s_latestThreadID = 0;

/// Returns the index when the thread ends. Objects of the thread that are destroyed later use slot 0, and may wait for
/// others there.
struct Return {
    ~Return() {
        const std::lock_guard<std::mutex> lock(s_mutex);
        --s_numberOfUsers[m_index];
        g_currentThreadContextIndex = 0;
    }

    size_t m_index = 0;
};

thread_local Return s_return;

} // namespace

size_t assignThreadContextIndex() noexcept {
    const std::lock_guard<std::mutex> lock(s_mutex);
    if (g_currentThreadID == 0)
        g_currentThreadID = ++s_latestThreadID;
    if (g_currentThreadContextIndex == NO_THREAD_CONTEXT_INDEX) {
        const auto leastUsed = std::min_element(s_numberOfUsers.begin(), s_numberOfUsers.end());
        ++*leastUsed;
        g_currentThreadContextIndex = static_cast<size_t>(std::distance(s_numberOfUsers.begin(), leastUsed));
        s_return.m_index = g_currentThreadContextIndex;
    }
    return g_currentThreadContextIndex;
}

ThreadContextLoan::ThreadContextLoan(const size_t index) noexcept
    : m_ownIndex(g_currentThreadContextIndex), m_hadLoan(g_hasThreadContextLoan) {
    g_currentThreadContextIndex = index;
    g_hasThreadContextLoan = true;
}

ThreadContextLoan::~ThreadContextLoan() {
    g_currentThreadContextIndex = m_ownIndex;
    g_hasThreadContextLoan = m_hadLoan;
}
