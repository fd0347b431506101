#pragma once

#include <cstddef>

/// Restricts this process, and children that it starts, to small pages, whatever the allocators and the engine advise.
/// Throws std::runtime_error if the system refuses.
void forbidHugePages();

/// Returns how many bytes of this process are in huge pages now. Throws std::runtime_error if the system does not
/// report that.
size_t getHugePageBytes();
