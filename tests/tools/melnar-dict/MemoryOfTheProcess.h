#pragma once

#include "tools/melnar-dict/shell/MemoryLimit.h"

#include <cstddef>

#include <sys/resource.h>

/// Returns why a test cannot check that the tool needs no more than `numberOfBytes`, or null if it can.
inline const char* findWhyMemoryTellsNothing(const size_t numberOfBytes) {
    if (!MemoryLimit::IS_ENFORCED)
        return "A sanitizer takes memory of its own.";
    struct rusage usage;
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<size_t>(usage.ru_maxrss) * 1024 > numberOfBytes
               ? "The tool starts with what this process has, which is more."
               : nullptr;
}
