#pragma once

#include <cstdint>

/// The truth value of a literal in a query; EBV_ERROR means that it has none.
enum EffectiveBooleanValue : uint8_t { EBV_FALSE = 0, EBV_TRUE = 1, EBV_ERROR = 2 };
