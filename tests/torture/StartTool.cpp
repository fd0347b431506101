#include "tests/torture/StartTool.h"

#include <stdexcept>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

pid_t startTool(const std::string& executable, const std::vector<std::string>& arguments, const std::string& folder) {
    std::vector<std::string> texts{executable};
    texts.insert(texts.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    for (const int fileDescriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        posix_spawn_file_actions_addopen(&actions, fileDescriptor, "/dev/null", O_RDWR, 0);
    posix_spawn_file_actions_addchdir_np(&actions, folder.c_str());
    pid_t process = 0;
    const int error = ::posix_spawn(&process, executable.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error("the tool does not start");
    return process;
}

int waitForTool(const pid_t process) {
    int status = 0;
    if (::waitpid(process, &status, 0) != process)
        throw std::runtime_error("a process is lost");
    return status;
}

bool hasToolEnded(const pid_t process) {
    siginfo_t information{};
    if (::waitid(P_PID, static_cast<id_t>(process), &information, WEXITED | WNOHANG | WNOWAIT) != 0)
        throw std::runtime_error("a process is lost");
    return information.si_pid != 0;
}
