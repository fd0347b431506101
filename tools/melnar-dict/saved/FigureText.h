#pragma once

#include <cstdint>
#include <string>

/// Figures as people read them, beside those of Amounts.h.

/// A count with the noun for one or for more, which is regular: "1 string", "2,000 strings".
std::string toCountText(uint64_t number, const std::string& noun);

/// A share in percent: with one digit after the point, but never 0% or 100% unless it is. The whole may be 0.
std::string toShareText(uint64_t part, uint64_t whole);

/// A number of at least 0 and below 2^64 with two digits after the point, and a comma after each thousand.
std::string toDecimalText(double number);
