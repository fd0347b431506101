#pragma once

#include <cstddef>

/// Keeps this process, and children that it starts, on small pages, whatever the allocators and the engine advise.
/// Throws std::runtime_error when the system refuses.
void forbidHugePages();

/// Returns how many bytes of this process lie in huge pages now. Throws std::runtime_error when the system does not
/// tell.
size_t getHugePageBytes();
