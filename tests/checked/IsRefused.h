#pragma once

#include "Engine/core/platform/FailureKind.h"
#include "Engine/core/platform/MelnarException.h"

#include <gtest/gtest.h>

/// Returns whether a checked engine refuses an operation as a misuse that only it finds.
template<class Operation>
bool isRefused(const Operation& operation) {
    try {
        operation();
        return false;
    } catch (const MelnarException& exception) {
        EXPECT_EQ(FailureKind::MISUSE, exception.getKind()) << exception.getMessage();
        EXPECT_EQ("Engine/core/data-store/RunningOperations", exception.getSourceFileName()) << exception.getMessage();
        return true;
    }
}
