#include "benchmarks/files/FileCopy.h"

#include <chrono>
#include <filesystem>
#include <initializer_list>
#include <stdexcept>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void runCommand(const std::initializer_list<const char*> words) {
    std::vector<char*> arguments;
    for (const char* const word : words)
        arguments.push_back(const_cast<char*>(word));
    arguments.push_back(nullptr);
    pid_t child = 0;
    int status = -1;
    if (::posix_spawnp(&child, arguments[0], nullptr, nullptr, arguments.data(), ::environ) != 0 ||
        ::waitpid(child, &status, 0) != child || status != 0)
        throw std::runtime_error(std::string(arguments[0]) + " has failed.");
}

} // namespace

double copyFile(const std::string& fileName, const bool isSynchronised) {
    const std::string copyName = fileName + ".copy";
    std::filesystem::remove(copyName);
    const auto start = std::chrono::steady_clock::now();
    runCommand({"cp", "--reflink=never", "--", fileName.c_str(), copyName.c_str()});
    if (isSynchronised)
        runCommand({"sync", "--", copyName.c_str()});
    const std::chrono::duration<double> time = std::chrono::steady_clock::now() - start;
    std::filesystem::remove(copyName);
    return time.count();
}
