#include "tools/melnar-dict/Interruption.h"

#include <atomic>
#include <climits>
#include <csignal>

#include <unistd.h>

namespace {

/// The name of the temporary file, complete whenever s_isNameSet is.
char s_temporaryFileName[PATH_MAX];

// Release when set, acquire in the handler, which may run in any thread: then the name is visible.
std::atomic<bool> s_isNameSet = false;
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler reads it");

/// Does only what a signal handler may do.
void handleInterruption(const int signalNumber) {
    if (s_isNameSet.load(std::memory_order_acquire))
        ::unlink(s_temporaryFileName);
    ::_exit(128 + signalNumber);
}

} // namespace

void exitCleanlyWhenInterrupted() {
    struct sigaction action = {};
    action.sa_handler = &handleInterruption;
    ::sigemptyset(&action.sa_mask);
    ::sigaddset(&action.sa_mask, SIGINT);
    ::sigaddset(&action.sa_mask, SIGTERM);
    for (const int signalNumber : {SIGINT, SIGTERM}) {
        struct sigaction previous = {};
        ::sigaction(signalNumber, nullptr, &previous);
        if (previous.sa_handler != SIG_IGN) // a program started in the background ignores interrupts
            ::sigaction(signalNumber, &action, nullptr);
    }
}

TemporaryFileWhenInterrupted::TemporaryFileWhenInterrupted(const std::string& temporaryFileName) {
    if (temporaryFileName.size() >= sizeof s_temporaryFileName)
        return;
    temporaryFileName.copy(s_temporaryFileName, temporaryFileName.size());
    s_temporaryFileName[temporaryFileName.size()] = 0;
    s_isNameSet.store(true, std::memory_order_release);
}

TemporaryFileWhenInterrupted::~TemporaryFileWhenInterrupted() {
    s_isNameSet.store(false, std::memory_order_release);
}
