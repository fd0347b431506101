#pragma once

#include "Engine/core/platform/Export.h"

#include <cstddef>

/// All virtual-memory calls of the operating system. Sizes are bytes and whole pages; `errno` holds the cause of a
/// failure.
namespace melnar::VirtualMemory {

/// Reserves address space that faults on every access; returns nullptr on failure.
MELNAR_EXPORT void* reserve(size_t numberOfBytes) noexcept;

/// Makes reserved pages readable and writable; they read as zero until first written. Returns false on failure.
MELNAR_EXPORT bool commit(void* begin, size_t numberOfBytes) noexcept;

/// Releases committed pages and makes them fault again; the address space stays reserved. If the system refuses, the
/// pages may stay accessible, but their contents are lost: a later commit reads zeros. The refusal may cost the
/// reservation of the pages. They are then reserved again, unless the system refuses that too, or another thread has
/// got the addresses, in which case they are not touched.
MELNAR_EXPORT void decommit(void* begin, size_t numberOfBytes) noexcept;

/// Releases a reservation, including committed pages.
MELNAR_EXPORT void release(void* begin, size_t numberOfBytes) noexcept;

} // namespace melnar::VirtualMemory

/// Returns the size of a page of virtual memory in bytes, a power of two.
MELNAR_EXPORT size_t getVMPageSize() noexcept;
