#include "tools/melnar-dict/shell/Interruption.h"

#include <atomic>
#include <climits>
#include <csignal>

#include <unistd.h>

namespace {

constexpr int SIGNALS[] = {SIGHUP, SIGINT, SIGPIPE, SIGTERM};

// The state of interruptions; a positive state is the number of a signal that waits for the end of a delay.
constexpr int OPEN = 0;     // it ends the process immediately
constexpr int DELAYED = -1; // it waits
constexpr int ENDING = -2;  // an interruption is ending the process

/// The thread that changes it from OPEN to DELAYED or ENDING, with acquire, owns the data below; release returns them.
std::atomic<int> s_state = OPEN;
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler uses it");

/// The names of the temporary files by kind; empty where there is none.
char s_temporaryFileNames[static_cast<size_t>(TemporaryFile::END)][PATH_MAX];

/// Whether standard error ends in an open line. Relaxed, as nothing else depends on it.
std::atomic<bool> s_isLineOpen = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler uses it");

/// Does only what a signal handler may do.
[[noreturn]] void end(const int signalNumber) noexcept {
    for (const auto& fileName : s_temporaryFileNames)
        if (fileName[0] != 0)
            ::unlink(fileName);
    if (s_isLineOpen.load(std::memory_order_relaxed))
        static_cast<void>(::write(STDERR_FILENO, "\n", 1) == 1); // a failure cannot be reported
    if (signalNumber == SIGPIPE) {                               // Shells recognize only this.
        ::signal(signalNumber, SIG_DFL);
        sigset_t signals;
        ::sigemptyset(&signals);
        ::sigaddset(&signals, signalNumber);
        ::pthread_sigmask(SIG_UNBLOCK, &signals, nullptr);
        ::raise(signalNumber);
    }
    ::_exit(128 + signalNumber);
}

void handleInterruption(const int signalNumber) {
    for (int state = OPEN;;) {
        if (s_state.compare_exchange_strong(state, state == OPEN ? ENDING : signalNumber, std::memory_order_acquire,
                                            std::memory_order_relaxed)) {
            if (state == OPEN)
                end(signalNumber);
            return;
        }
        if (state != OPEN && state != DELAYED)
            return; // An earlier interruption ends the process.
    }
}

} // namespace

void exitCleanlyWhenInterrupted() {
    struct sigaction action = {};
    action.sa_handler = &handleInterruption;
    action.sa_flags = SA_RESTART; // A delayed interruption must not fail a system call.
    ::sigemptyset(&action.sa_mask);
    for (const int signalNumber : SIGNALS)
        ::sigaddset(&action.sa_mask, signalNumber);
    for (const int signalNumber : SIGNALS) {
        struct sigaction previous = {};
        ::sigaction(signalNumber, nullptr, &previous);
        if (previous.sa_handler != SIG_IGN) // as in the background, or under nohup
            ::sigaction(signalNumber, &action, nullptr);
    }
}

bool setLineOpen(const bool isOpen) noexcept {
    s_isLineOpen.store(isOpen, std::memory_order_relaxed);
    return s_state.load(std::memory_order_relaxed) != ENDING;
}

InterruptionDelay::InterruptionDelay() noexcept {
    for (int state = OPEN;
         !s_state.compare_exchange_strong(state, DELAYED, std::memory_order_acquire, std::memory_order_relaxed);
         state = OPEN)
        ::pause(); // Another thread is ending the process.
}

InterruptionDelay::~InterruptionDelay() {
    int state = DELAYED;
    if (!s_state.compare_exchange_strong(state, OPEN, std::memory_order_release, std::memory_order_relaxed))
        end(state);
}

void InterruptionDelay::setTemporaryFile(const TemporaryFile kind, const std::string& fileName) noexcept {
    char* const name = s_temporaryFileNames[static_cast<size_t>(kind)];
    if (fileName.size() < PATH_MAX)
        name[fileName.copy(name, fileName.size())] = 0;
}

void InterruptionDelay::forgetTemporaryFile(const TemporaryFile kind) noexcept {
    s_temporaryFileNames[static_cast<size_t>(kind)][0] = 0;
}
