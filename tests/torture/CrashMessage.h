#pragma once

#include <string>

/// While one exists, a crash of the process, or a minute of processor time since the last `begin`, is told on standard
/// error with what was being done, and ends the process with exit code 1. One at a time.
class CrashMessage {
public:
    CrashMessage();
    ~CrashMessage();
    CrashMessage(const CrashMessage&) = delete;
    CrashMessage& operator=(const CrashMessage&) = delete;

    /// Says what is done from now on.
    static void begin(const std::string& what);
};
