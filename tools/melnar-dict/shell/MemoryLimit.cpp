#include "tools/melnar-dict/shell/MemoryLimit.h"

#include "tools/melnar-dict/shell/ContainerLimit.h"
#include "tools/melnar-dict/shell/NumberText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <fstream>
#include <optional>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

namespace {

constexpr uint64_t MEBIBYTE = uint64_t(1) << 20;

constexpr uint64_t BYTES_OF_PROCESS = 2 * MEBIBYTE; // in addition to the dictionary and the threads
constexpr uint64_t BYTES_OF_SMALLEST_DICTIONARY = MEBIBYTE;

constexpr uint64_t STACK_OF_THREAD = MEBIBYTE;

/// Threads that work, threads that decompress for them, and some that wait.
constexpr uint64_t countStacks(const uint64_t numberOfThreads) {
    return 2 * numberOfThreads + 8;
}

uint64_t s_limit = 0; // 0 for none

/// Returns the bytes that count against RLIMIT_DATA now; nothing if the system does not report them.
std::optional<uint64_t> readDataBytes() {
    constexpr std::string_view NAME = "VmData:";
    constexpr std::string_view UNIT = " kB";
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(NAME) && line.ends_with(UNIT)) {
            const size_t begin = std::min(line.find_first_not_of(" \t", NAME.size()), line.size() - UNIT.size());
            const auto number = parseNumber(std::string_view(line).substr(begin, line.size() - UNIT.size() - begin));
            return number ? std::optional(*number << 10) : std::nullopt;
        }
    return std::nullopt;
}

/// Otherwise stacks have the size of the shell's limit, most of which they do not use.
void setStackSize() noexcept {
    pthread_attr_t attributes;
    if (::pthread_attr_init(&attributes) != 0)
        return;
    if (::pthread_attr_setstacksize(&attributes, STACK_OF_THREAD) == 0)
        static_cast<void>(::pthread_setattr_default_np(&attributes));
    ::pthread_attr_destroy(&attributes);
}

/// If the system cannot enforce the limit, the dictionary is limited nevertheless.
void limitData(const uint64_t limit, const size_t numberOfThreads) {
    const std::optional<uint64_t> present = readDataBytes();
    struct rlimit data;
    if (!MemoryLimit::IS_ENFORCED || !present || ::getrlimit(RLIMIT_DATA, &data) != 0)
        return;
    setStackSize();
    const uint64_t allowed = *present + countStacks(numberOfThreads) * STACK_OF_THREAD;
    if (limit < data.rlim_cur && allowed < data.rlim_cur - limit) {
        data.rlim_cur = allowed + limit;
        static_cast<void>(::setrlimit(RLIMIT_DATA, &data));
    }
}

} // namespace

uint64_t MemoryLimit::getDefault() {
    const uint64_t machine =
        static_cast<uint64_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<uint64_t>(::sysconf(_SC_PAGESIZE));
    const uint64_t available = std::min(machine, readContainerLimit().value_or(machine));
    return (available - available / 16) / MEBIBYTE * MEBIBYTE;
}

size_t MemoryLimit::apply(const uint64_t limit, const size_t numberOfThreads, const uint64_t bytesOfThread,
                          const uint64_t otherBytes) {
    const uint64_t ownBytes = BYTES_OF_PROCESS + numberOfThreads * bytesOfThread + otherBytes;
    if (limit < ownBytes + BYTES_OF_SMALLEST_DICTIONARY)
        throw ToolFailure(ExitCode::USAGE, "--memory-limit " + formatNumberOfBytes(limit) + " is too small: with " +
                                               std::to_string(numberOfThreads) +
                                               (numberOfThreads == 1 ? " thread" : " threads") + " it must be " +
                                               formatNumberOfBytes(ownBytes + BYTES_OF_SMALLEST_DICTIONARY) +
                                               " or more");
    s_limit = limit;
    limitData(limit, numberOfThreads);
    return limit - ownBytes;
}

std::string MemoryLimit::describeFailure() {
    if (s_limit == 0)
        return "out of memory";
    return "out of memory: --memory-limit " + formatNumberOfBytes(s_limit) +
           " is reached; a larger one may help, or fewer threads, or shorter lines";
}
