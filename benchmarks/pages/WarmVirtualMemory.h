#pragma once

#include <cstddef>

/// How many reservations the dictionary has made in the page pool. When a dictionary does not move this number, the
/// functions in WarmVirtualMemory.cpp no longer stand in for the engine's, and what is called warm would be cold.
size_t getNumberOfWarmReservations() noexcept;
