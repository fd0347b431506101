#pragma once

#include <cstdint>
#include <string>

/// Writes a number with a comma after each thousand: 299,980.
std::string groupDigits(uint64_t number);

/// Writes a number of bytes for human readers, with about three digits: 812 bytes, 1.25 KiB, 47.1 MiB.
std::string describeBytes(uint64_t numberOfBytes);

/// Writes a number of seconds for human readers: 0.4 s, 12 s, 3 min 20 s, 2 h 5 min.
std::string describeSeconds(double seconds);
