/// Runs the hash table and the string datatype, compiled with replaced atomics and mutexes, in many interleavings:
///
///   schedules [--number N] [--seed S] [--tasks FIRST SECOND] [--trace] [--weaken ORDER]
///
/// For each pair of tasks, or for the one given, runs schedules with the seeds from S on until N of them were distinct,
/// and prints what happened in them. Without --seed it starts with seed 1. The exit code is 1 if anything was wrong;
/// then the seed is printed, with which `--number 1 --seed S --tasks FIRST SECOND --trace` shows each step. --weaken is
/// for weaken_orders.py.

#include "tests/schedules/HostWorkload.h"
#include "tests/schedules/Schedule.h"
#include "tests/schedules/StringWorkload.h"
#include "tests/schedules/Workload.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <unistd.h>
#include <unordered_set>
#include <utility>
#include <vector>

namespace {

struct Arguments {
    uint64_t m_number = 1000;
    uint64_t m_seed = 1;
    std::optional<std::pair<Task, Task>> m_tasks;
    uint64_t m_weakenedOrder = 0;
    bool m_isTracing = false;
};

/// What runs, for the report of a crash.
std::array<char, 200> s_running{};

void reportCrash(const int signal) {
    static_cast<void>(::write(STDERR_FILENO, s_running.data(), std::string_view(s_running.data()).size()));
    ::signal(signal, SIG_DFL);
    ::raise(signal);
}

std::string_view getName(const Task task) {
    return TASK_NAMES[static_cast<size_t>(task)];
}

std::optional<std::pair<Task, Task>> findPair(const std::string_view first, const std::string_view second) {
    for (const std::pair<Task, Task>& pair : PAIRS_OF_TASKS)
        if (getName(pair.first) == first && getName(pair.second) == second)
            return pair;
    return std::nullopt;
}

bool parseNumber(const std::string_view text, uint64_t& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size() && number != 0;
}

bool parse(const std::vector<std::string_view>& texts, Arguments& arguments) {
    for (size_t index = 0; index < texts.size(); ++index) {
        const std::string_view option = texts[index];
        const size_t numberOfValues = texts.size() - index - 1;
        if (option == "--trace")
            arguments.m_isTracing = true;
        else if (option == "--number" && numberOfValues >= 1 && parseNumber(texts[index + 1], arguments.m_number))
            ++index;
        else if (option == "--seed" && numberOfValues >= 1 && parseNumber(texts[index + 1], arguments.m_seed))
            ++index;
        else if (option == "--weaken" && numberOfValues >= 1 &&
                 parseNumber(texts[index + 1], arguments.m_weakenedOrder))
            ++index;
        else if (option == "--tasks" && numberOfValues >= 2) {
            arguments.m_tasks = findPair(texts[index + 1], texts[index + 2]);
            if (!arguments.m_tasks)
                return false;
            index += 2;
        } else
            return false;
    }
    return true;
}

/// Returns the number of distinct schedules.
size_t runPair(Schedule& schedule, const Arguments& arguments, const Task first, const Task second) {
    const std::string_view firstName = getName(first);
    const std::string_view secondName = getName(second);
    WorkloadFigures figures;
    const Schedule::Figures before = schedule.getFigures();
    std::unordered_set<uint64_t> digests;
    uint64_t seed = arguments.m_seed;
    for (; digests.size() < arguments.m_number; ++seed) {
        std::snprintf(s_running.data(), s_running.size(), "crash: --seed %llu --tasks %s %s\n",
                      static_cast<unsigned long long>(seed), firstName.data(), secondName.data());
        if (first < Task::TERM)
            runStringWorkload(schedule, first, second, seed, figures);
        else
            runHostWorkload(schedule, first, second, seed, figures);
        digests.insert(schedule.getDigest());
    }
    const auto printed = static_cast<double>(seed - arguments.m_seed);
    const auto perSchedule = [printed](const uint64_t number) { return static_cast<double>(number) / printed; };
    const Schedule::Figures& after = schedule.getFigures();
    std::printf("%-8s %-8s %10zu %10.0f %8.1f %8.1f %8.2f %8.2f %8.3f %8.3f %8.2f\n", firstName.data(),
                secondName.data(), digests.size(), printed, perSchedule(after.m_steps - before.m_steps),
                perSchedule(after.m_changes - before.m_changes), perSchedule(after.m_oldValues - before.m_oldValues),
                perSchedule(figures.m_operations), perSchedule(figures.m_resizes), perSchedule(figures.m_failures),
                perSchedule(figures.m_tombstones));
    std::fflush(stdout);
    return digests.size();
}

} // namespace

int main(const int argumentCount, char** const argumentTexts) {
    Arguments arguments;
    if (!parse({argumentTexts + 1, argumentTexts + argumentCount}, arguments)) {
        std::fputs("usage: schedules [--number N] [--seed S] [--tasks FIRST SECOND] [--trace] [--weaken ORDER]\n"
                   "pairs of tasks: the report lists them\n",
                   stderr);
        return 2;
    }
    for (const int signal : {SIGSEGV, SIGABRT, SIGBUS})
        ::signal(signal, reportCrash);
    Schedule::weakenOrder(arguments.m_weakenedOrder);
    Schedule schedule;
    schedule.setTracing(arguments.m_isTracing);
    std::printf("%-8s %-8s %10s %10s %8s %8s %8s %8s %8s %8s %8s\n", "first", "second", "distinct", "run", "steps",
                "changes", "old", "calls", "resizes", "failures", "tombs");
    size_t sum = 0;
    if (arguments.m_tasks)
        sum = runPair(schedule, arguments, arguments.m_tasks->first, arguments.m_tasks->second);
    else
        for (const auto& [first, second] : PAIRS_OF_TASKS)
            sum += runPair(schedule, arguments, first, second);
    std::printf("%zu distinct schedules, nothing was wrong\n", sum);
    if (arguments.m_weakenedOrder != 0 && !Schedule::isWeakenedOrderUsed())
        std::puts("the weakened order was not used");
}
