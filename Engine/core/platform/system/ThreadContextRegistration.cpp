#include "Engine/core/platform/system/ThreadContextRegistration.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <mutex>

constinit thread_local size_t g_currentThreadContextIndex = 0;
constinit thread_local bool g_hasThreadContextLoan = false;

namespace {

/// How many registrations and loans of the calling thread are alive.
constinit thread_local size_t s_registrationDepth = 0;

constinit std::mutex s_mutex;

/// How many registered threads use each index. Protected by s_mutex.
constinit std::array<size_t, NUMBER_OF_THREAD_CONTEXT_INDICES> s_numberOfUsers{};

} // namespace

ThreadContextRegistration::ThreadContextRegistration() noexcept : m_index(g_currentThreadContextIndex) {
    if (s_registrationDepth++ != 0)
        return;
    const std::lock_guard<std::mutex> lock(s_mutex);
    const auto leastUsed = std::min_element(s_numberOfUsers.begin(), s_numberOfUsers.end());
    ++*leastUsed;
    m_index = static_cast<size_t>(std::distance(s_numberOfUsers.begin(), leastUsed));
    g_currentThreadContextIndex = m_index;
}

ThreadContextRegistration::~ThreadContextRegistration() {
    if (--s_registrationDepth != 0)
        return;
    const std::lock_guard<std::mutex> lock(s_mutex);
    --s_numberOfUsers[g_currentThreadContextIndex];
    g_currentThreadContextIndex = 0;
}

ThreadContextLoan::ThreadContextLoan(const size_t index) noexcept
    : m_ownIndex(g_currentThreadContextIndex), m_hadLoan(g_hasThreadContextLoan) {
    ++s_registrationDepth;
    g_currentThreadContextIndex = index;
    g_hasThreadContextLoan = true;
}

ThreadContextLoan::~ThreadContextLoan() {
    g_currentThreadContextIndex = m_ownIndex;
    g_hasThreadContextLoan = m_hadLoan;
    --s_registrationDepth;
}
