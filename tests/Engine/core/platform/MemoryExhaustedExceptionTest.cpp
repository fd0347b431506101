#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/VirtualSlots.h"

#include <gtest/gtest.h>

namespace {

MemoryExhaustedException makeException() {
    return MemoryExhaustedException("Engine/F", 73, MelnarException::NO_CAUSES, "only ", 100ul, " bytes");
}

} // namespace

TEST(MemoryExhaustedExceptionTest, piecesBecomeTheMessage) {
    const MemoryExhaustedException exception = makeException();
    EXPECT_EQ("only 100 bytes", exception.getMessage());
    EXPECT_EQ("MemoryExhaustedException", exception.getExceptionName());
    EXPECT_EQ("Engine/F", exception.getSourceFileName());
    EXPECT_EQ(73, exception.getSourceLineNumber());
}

TEST(MemoryExhaustedExceptionTest, addsNoFieldsAndNoSlots) {
    static_assert(sizeof(MemoryExhaustedException) == sizeof(MelnarException));
    EXPECT_EQ(2u, getVirtualSlot(&MemoryExhaustedException::what));
    EXPECT_EQ(3u, getVirtualSlot(&MemoryExhaustedException::printArguments));
}

TEST(MemoryExhaustedExceptionTest, isCaughtAsMelnarExceptionWithTheRootsText) {
    try {
        throw makeException();
    } catch (const MelnarException& exception) {
        EXPECT_STREQ("MemoryExhaustedException (Engine/F:73): only 100 bytes", exception.what());
    }
}

TEST(MemoryExhaustedExceptionTest, isCaughtAsStandardException) {
    try {
        throw makeException();
    } catch (const std::exception& exception) {
        EXPECT_STREQ("MemoryExhaustedException (Engine/F:73): only 100 bytes", exception.what());
    }
}
