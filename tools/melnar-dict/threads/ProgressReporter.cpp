#include "tools/melnar-dict/threads/ProgressReporter.h"

#include <csignal>
#include <exception>
#include <string>
#include <utility>

using namespace std::chrono_literals;

ProgressReporter::Times ProgressReporter::getTimesOf(const ProgressMode mode) noexcept {
    return mode == ProgressMode::LINES ? Times{10s, 10s} : Times{500ms, 250ms};
}

ProgressReporter::ProgressReporter(MessageOutput& messages, const ProgressMode mode, GetFigures getFigures,
                                   const Times times)
    : m_messages(messages), m_mode(mode), m_getFigures(std::move(getFigures)), m_times(times) {
    if (mode != ProgressMode::NONE)
        start();
}

ProgressReporter::~ProgressReporter() {
    if (!m_thread.joinable())
        return;
    {
        const std::lock_guard guard(m_mutex);
        m_isStopped = true;
    }
    m_stopped.notify_one();
    m_thread.join();
    m_messages.removeLine();
}

/// Starts the thread with all signals blocked: a handler that interrupts the writing of a line could not end it.
void ProgressReporter::start() noexcept {
    sigset_t all;
    sigset_t previous;
    ::sigfillset(&all);
    ::pthread_sigmask(SIG_SETMASK, &all, &previous);
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the work continues without progress
    }
    ::pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

void ProgressReporter::run() noexcept {
    const auto start = std::chrono::steady_clock::now();
    std::unique_lock lock(m_mutex);
    for (auto next = start + m_times.m_first; !m_stopped.wait_until(lock, next, [this] { return m_isStopped; });
         next = std::chrono::steady_clock::now() + m_times.m_period) {
        lock.unlock();
        try {
            show(std::chrono::steady_clock::now() - start);
        } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): the next time may succeed
        }
        lock.lock();
    }
}

void ProgressReporter::show(const Duration duration) {
    const std::string text = describeProgress(m_getFigures(), std::chrono::duration<double>(duration).count());
    if (m_mode == ProgressMode::LINES)
        m_messages.write(text + '\n');
    else {
        size_t length = std::min(text.size(), getTerminalWidth() - 1); // A full line would wrap on some terminals.
        while (length != text.size() && (static_cast<uint8_t>(text[length]) & 0xC0) == 0x80)
            --length; // not within a character
        m_messages.showLine(text.substr(0, length));
    }
}
