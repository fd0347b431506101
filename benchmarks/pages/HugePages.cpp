#include "benchmarks/pages/HugePages.h"

#include <fstream>
#include <stdexcept>
#include <string>

#include <sys/prctl.h>

void forbidHugePages() {
    if (::prctl(PR_SET_THP_DISABLE, 1, 0, 0, 0) != 0)
        throw std::runtime_error("The system does not let a process do without huge pages.");
}

size_t getHugePageBytes() {
    constexpr const char* const FIELD = "AnonHugePages:";
    std::ifstream memory("/proc/self/smaps_rollup");
    for (std::string line; std::getline(memory, line);)
        if (line.starts_with(FIELD))
            return std::stoul(line.substr(std::string(FIELD).size())) * 1024;
    throw std::runtime_error("The system does not tell how much memory lies in huge pages.");
}
