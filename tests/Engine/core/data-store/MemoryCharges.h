#pragma once

#include "Engine/core/data-store/Dictionary.h"

#include <gtest/gtest.h>

#include <optional>

/// Expects that what a dictionary has charged against its memory limit is what its parts have committed.
inline void expectChargesAddUp(const Dictionary& dictionary) {
    EXPECT_EQ(
        dictionary.getComponentInfo()->getSumOverNumericMetric(ComponentInfo::Metric::MEMORY_CONSUMED, std::nullopt),
        dictionary.getMemoryInUse());
}
