#pragma once

#include <gtest/gtest.h>

#include <exception>

#include <sys/wait.h>
#include <unistd.h>

/// The user who owns no files.
constexpr uid_t NOBODY = 65534;

/// Runs `action` in a child process without the superuser's rights, which would bypass all permissions. Returns whether
/// it returned true.
template<class Action>
bool isTrueWithoutPrivileges(const Action& action) {
    const pid_t child = ::fork();
    if (child == 0) {
        if (::geteuid() == 0 && ::setuid(NOBODY) != 0)
            ::_exit(2);
        try {
            ::_exit(action() ? 0 : 1);
        } catch (const std::exception&) {
            ::_exit(3);
        }
    }
    int status = 0;
    EXPECT_EQ(child, ::waitpid(child, &status, 0));
    return status == 0;
}
