#pragma once

#include <cstddef>

/// Returns how many reservations the dictionary has made in the page pool. If a dictionary does not change this number,
/// the functions in WarmVirtualMemory.cpp do not replace those of the engine, and memory that is called warm would be
/// cold.
size_t getNumberOfWarmReservations() noexcept;
