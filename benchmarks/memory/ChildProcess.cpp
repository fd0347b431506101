#include "benchmarks/memory/ChildProcess.h"

#include <cstdio>
#include <exception>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace {

[[noreturn]] void runChild(const int output, const std::span<double> numbers,
                           const std::function<void(std::span<double>)>& compute) {
    int result = 1;
    try {
        compute(numbers);
        if (::write(output, numbers.data(), numbers.size_bytes()) == static_cast<ssize_t>(numbers.size_bytes()))
            result = 0;
    } catch (const std::exception& exception) {
        std::fprintf(stderr, "%s\n", exception.what());
    }
    ::_exit(result);
}

} // namespace

void computeInChild(const std::span<double> numbers, const std::function<void(std::span<double>)>& compute) {
    int ends[2];
    if (::pipe(ends) != 0)
        throw std::runtime_error("There is no pipe for a child process.");
    const pid_t child = ::fork();
    if (child == 0)
        runChild(ends[1], numbers, compute);
    ::close(ends[1]);
    const ssize_t size = child < 0 ? -1 : ::read(ends[0], numbers.data(), numbers.size_bytes());
    ::close(ends[0]);
    int status = -1;
    if (child < 0 || ::waitpid(child, &status, 0) != child || status != 0 ||
        size != static_cast<ssize_t>(numbers.size_bytes()))
        throw std::runtime_error("A child process has failed.");
}
