#pragma once

#include <cstdint>
#include <string>

/// Figures for human readers, in addition to those of Amounts.h.

/// Returns a count with its noun in singular or plural, which is regular: "1 string", "2,000 strings".
std::string toCountText(uint64_t number, const std::string& noun);

/// Returns a share in percent: with one digit after the point, but 0% or 100% only if it is exact. The whole may be 0.
std::string toShareText(uint64_t part, uint64_t whole);

/// Returns a number of at least 0 and below 2^64 with two digits after the point, and a comma after each thousand.
std::string toDecimalText(double number);
