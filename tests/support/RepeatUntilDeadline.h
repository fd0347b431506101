#pragma once

#include "tests/support/StressDuration.h"

#include <gtest/gtest.h>

#include <cstdint>

/// Repeats the round of a stress test with seeds 1, 2, ... until its time is up or it fails, at least once.
template<class Round>
void repeatUntilDeadline(const Round& round) {
    const auto deadline = getStressDeadline();
    uint32_t seed = 1;
    do {
        SCOPED_TRACE(testing::Message() << "seed " << seed);
        round(seed);
        ++seed;
    } while (isBefore(deadline) && !testing::Test::HasFailure());
}
