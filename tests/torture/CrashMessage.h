#pragma once

#include <string>

/// While one exists, a crash of the process, or a minute of processor time since the last `begin`, is reported on
/// standard error with the current operation, and ends the process with exit code 1. One at a time.
class CrashMessage {
public:
    CrashMessage();
    ~CrashMessage();
    CrashMessage(const CrashMessage&) = delete;
    CrashMessage& operator=(const CrashMessage&) = delete;

    /// Sets the current operation.
    static void begin(const std::string& what);
};
