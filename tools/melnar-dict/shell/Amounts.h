#pragma once

#include <cstdint>
#include <string>

/// Writes a number with a comma after each thousand: 299,980.
std::string groupDigits(uint64_t number);
