#include "benchmarks/program/BenchmarkOptions.h"

#include <algorithm>
#include <charconv>
#include <stdexcept>

namespace {

std::vector<std::string> split(const std::string& list) {
    std::vector<std::string> items;
    for (size_t begin = 0; begin <= list.size();) {
        const size_t end = std::min(list.find(',', begin), list.size());
        items.push_back(list.substr(begin, end - begin));
        begin = end + 1;
    }
    return items;
}

size_t toNumber(const std::string& text) {
    size_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number == 0)
        throw std::runtime_error("'" + text + "' is not a number from 1 on.");
    return number;
}

} // namespace

BenchmarkOptions::BenchmarkOptions(const int argc, const char* const* const argv) {
    for (int index = 1; index < argc; ++index) {
        const std::string argument = argv[index];
        const size_t equals = std::min(argument.find('='), argument.size());
        const std::string name = argument.substr(0, equals);
        const std::string value = argument.substr(std::min(equals + 1, argument.size()));
        if (name == "--strings") {
            m_source = value;
        } else if (name == "--n") {
            m_numberOfTexts = toNumber(value);
        } else if (name == "--texts-per-measurement") {
            m_textsPerMeasurement = toNumber(value);
        } else if (name == "--threads") {
            m_numbersOfThreads.clear();
            for (const std::string& item : split(value))
                m_numbersOfThreads.push_back(toNumber(item));
        } else if (name == "--workloads") {
            m_workloads = split(value);
        } else if (name == "--folder") {
            m_folder = value;
        } else if (argument == "--cold") {
            m_isWarm = false;
        } else if (argument == "--small-pages") {
            m_usesHugePages = false;
        } else {
            throw std::runtime_error("'" + argument + "' is not an option.");
        }
    }
}

bool BenchmarkOptions::has(const std::string& workload) const {
    return std::find(m_workloads.begin(), m_workloads.end(), workload) != m_workloads.end();
}
