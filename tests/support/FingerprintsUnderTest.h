#pragma once

#include <cstdlib>

/// Returns whether the tests of tables and datatypes run with fingerprints: each test runs twice, the second time with
/// this variable in its environment.
inline bool areFingerprintsUnderTest() {
    static const bool s_areUnderTest = std::getenv("MELNAR_TEST_FINGERPRINTS") != nullptr;
    return s_areUnderTest;
}
