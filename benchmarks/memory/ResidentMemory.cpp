#include "benchmarks/memory/ResidentMemory.h"

#include <fstream>
#include <stdexcept>
#include <string>

ResidentMemory readResidentMemory() {
    std::ifstream status("/proc/self/status");
    ResidentMemory memory{0, 0};
    for (std::string line; std::getline(status, line);)
        if (line.starts_with("VmHWM:"))
            memory.m_peak = std::stoul(line.substr(6)) * 1024;
        else if (line.starts_with("VmRSS:"))
            memory.m_now = std::stoul(line.substr(6)) * 1024;
    if (memory.m_now == 0 || memory.m_peak == 0)
        throw std::runtime_error("The system does not tell how much memory is in use.");
    return memory;
}

void resetResidentPeak() {
    std::ofstream("/proc/self/clear_refs") << 5;
}
