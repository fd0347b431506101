#pragma once

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include <sys/types.h>

/// Returns the processes that a process has started, in order; none if it has ended.
inline std::vector<pid_t> getChildren(const pid_t process) {
    std::vector<pid_t> children;
    std::error_code error; // gives no entry
    for (const auto& task : std::filesystem::directory_iterator("/proc/" + std::to_string(process) + "/task", error)) {
        std::ifstream file(task.path() / "children");
        for (pid_t child = 0; file >> child;)
            children.push_back(child);
    }
    return children;
}

/// Waits until processes that others have started have ended, whether or not their status was requested.
inline void waitForEnd(const std::vector<pid_t>& processes) {
    const auto isRunning = [](const pid_t process) {
        std::stringstream status;
        status << std::ifstream("/proc/" + std::to_string(process) + "/stat").rdbuf();
        const size_t endOfName = status.str().rfind(") ");
        return endOfName != std::string::npos && status.str()[endOfName + 2] != 'Z';
    };
    for (const pid_t process : processes)
        while (isRunning(process))
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
}
