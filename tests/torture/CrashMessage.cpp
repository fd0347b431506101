#include "tests/torture/CrashMessage.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstddef>

#include <sys/time.h>
#include <unistd.h>

namespace {

constexpr std::array SIGNALS{SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL, SIGPROF};
constexpr long SECONDS_FOR_ALL = 60;

std::array<char, 200> g_message{}; // the current operation
size_t g_messageSize = 0;

void write(const char* const text, const size_t size) {
    [[maybe_unused]] const ssize_t written = ::write(STDERR_FILENO, text, size);
}

void tell(const int signalNumber) {
    constexpr std::string_view CRASH = "WRONG: a crash at ";
    constexpr std::string_view HANG = "WRONG: no end of ";
    const std::string_view begin = signalNumber == SIGPROF ? HANG : CRASH;
    write(begin.data(), begin.size());
    write(g_message.data(), g_messageSize);
    write("\n", 1);
    ::_exit(1);
}

void setTimer(const long seconds) {
    const itimerval timer{{0, 0}, {seconds, 0}};
    ::setitimer(ITIMER_PROF, &timer, nullptr);
}

} // namespace

CrashMessage::CrashMessage() {
    for (const int signalNumber : SIGNALS)
        std::signal(signalNumber, tell);
}

CrashMessage::~CrashMessage() {
    setTimer(0);
    for (const int signalNumber : SIGNALS)
        std::signal(signalNumber, SIG_DFL);
}

void CrashMessage::begin(const std::string& what) {
    g_messageSize = std::min(what.size(), g_message.size());
    std::copy_n(what.begin(), g_messageSize, g_message.begin());
    setTimer(SECONDS_FOR_ALL);
}
