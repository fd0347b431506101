#pragma once

#include <cstdint>

/// What a literal counts as where a query wants a truth value; EBV_ERROR means that it has none.
enum EffectiveBooleanValue : uint8_t { EBV_FALSE = 0, EBV_TRUE = 1, EBV_ERROR = 2 };
