#pragma once

#include "Engine/core/platform/Export.h"

#include <cstddef>

/// The virtual-memory calls of the operating system, in one place. Sizes are bytes and whole pages; failures are left
/// in `errno`.
namespace melnar::VirtualMemory {

/// Reserves address space that faults on every access; nullptr on failure.
MELNAR_EXPORT void* reserve(size_t numberOfBytes) noexcept;

/// Makes reserved pages readable and writable; they read as zero until first written. False on failure.
MELNAR_EXPORT bool commit(void* begin, size_t numberOfBytes) noexcept;

/// Gives committed pages back and makes them fault again; the address space stays reserved. When the system refuses,
/// the pages may stay accessible, but their contents go all the same: a later commit reads zeros. The refusal may cost
/// the reservation of the pages. They are then reserved again, unless the system refuses that too or another thread has
/// got them meanwhile, and are not touched.
MELNAR_EXPORT void decommit(void* begin, size_t numberOfBytes) noexcept;

/// Gives a reservation back, committed pages included.
MELNAR_EXPORT void release(void* begin, size_t numberOfBytes) noexcept;

} // namespace melnar::VirtualMemory

/// The size of a page of virtual memory in bytes, a power of two.
MELNAR_EXPORT size_t getVMPageSize() noexcept;
