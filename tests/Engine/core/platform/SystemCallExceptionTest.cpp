#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/ErrorCodeDescription.h"
#include "tests/support/VirtualSlots.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>

namespace {

const char* const CALL_NAME = "mmap";

SystemCallException makeException(const int errorCode) {
    return SystemCallException("Engine/F", 212, MelnarException::NO_CAUSES, CALL_NAME, errorCode, "While reserving ",
                               4096ul, " bytes.");
}

std::string getDescription(const int errorCode) {
    std::string text;
    appendErrorCodeDescription(text, errorCode);
    return text;
}

} // namespace

TEST(SystemCallExceptionTest, messageEndsWithTheCallAndItsError) {
    EXPECT_EQ("While reserving 4096 bytes.\n[Extended information: mmap reported error code 12 (" + getDescription(12) +
                  ")]",
              makeException(12).getMessage());
}

TEST(SystemCallExceptionTest, withoutPiecesTheMessageIsTheSuffix) {
    const SystemCallException exception("Engine/F", 1, MelnarException::NO_CAUSES, "open", 2);
    EXPECT_EQ("\n[Extended information: open reported error code 2 (No such file or directory)]",
              exception.getMessage());
}

TEST(SystemCallExceptionTest, negativeErrorCodesPrintTheirSign) {
    EXPECT_EQ("While reserving 4096 bytes.\n[Extended information: mmap reported error code -1 (" + getDescription(-1) +
                  ")]",
              makeException(-1).getMessage());
}

TEST(SystemCallExceptionTest, smallestErrorCodePrintsItsFullMagnitude) {
    const int errorCode = std::numeric_limits<int>::min();
    EXPECT_NE(std::string::npos, makeException(errorCode).getMessage().find(" reported error code -2147483648 ("));
}

TEST(SystemCallExceptionTest, callNameIsStoredAsGiven) {
    const SystemCallException exception = makeException(12);
    EXPECT_EQ(CALL_NAME, exception.getSystemCallName());
    EXPECT_EQ(12, exception.getErrorCode());
    EXPECT_EQ("SystemCallException", exception.getExceptionName());
}

TEST(SystemCallExceptionTest, fieldsFollowTheRoots) {
    const SystemCallException exception = makeException(12);
    const uint8_t* const bytes = reinterpret_cast<const uint8_t*>(&exception);
    const char* callName;
    std::memcpy(&callName, bytes + sizeof(MelnarException), sizeof(callName));
    EXPECT_EQ(CALL_NAME, callName);
    int errorCode;
    std::memcpy(&errorCode, bytes + sizeof(MelnarException) + sizeof(callName), sizeof(errorCode));
    EXPECT_EQ(12, errorCode);
    static_assert(sizeof(SystemCallException) == sizeof(MelnarException) + 2 * sizeof(void*));
}

TEST(SystemCallExceptionTest, addsNoSlots) {
    EXPECT_EQ(2u, getVirtualSlot(&SystemCallException::what));
    EXPECT_EQ(3u, getVirtualSlot(&SystemCallException::printArguments));
}

TEST(SystemCallExceptionTest, isCaughtAsMelnarExceptionWithTheRootsText) {
    try {
        throw makeException(12);
    } catch (const MelnarException& exception) {
        EXPECT_EQ("SystemCallException (Engine/F:212): " + exception.getMessage(), exception.what());
    }
}

TEST(SystemCallExceptionTest, isCaughtAsStandardException) {
    try {
        throw makeException(12);
    } catch (const std::exception& exception) {
        EXPECT_EQ("SystemCallException (Engine/F:212): " + makeException(12).getMessage(), exception.what());
    }
}

TEST(SystemCallExceptionTest, copiesKeepCallAndCode) {
    SystemCallException copy = makeException(1);
    const SystemCallException original = makeException(12);
    copy = original;
    EXPECT_EQ(CALL_NAME, copy.getSystemCallName());
    EXPECT_EQ(12, copy.getErrorCode());
    EXPECT_EQ(original.getMessage(), copy.getMessage());
}
