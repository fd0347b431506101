#include "Engine/core/data-store/dictionary/Prefixes.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(PrefixesTest, givesTheIRIThatWasDeclaredLast) {
    Prefixes prefixes;
    prefixes.declare("a", "urn:a:");
    prefixes.declare("", "urn:empty:");
    ASSERT_NE(nullptr, prefixes.getIRI("a"));
    EXPECT_EQ("urn:a:", *prefixes.getIRI("a"));
    EXPECT_EQ("urn:empty:", *prefixes.getIRI(""));
    prefixes.declare("a", "urn:b:");
    EXPECT_EQ("urn:b:", *prefixes.getIRI("a"));
}

TEST(PrefixesTest, givesNothingForWhatWasNotDeclared) {
    Prefixes prefixes;
    EXPECT_EQ(nullptr, prefixes.getIRI(""));
    prefixes.declare("a", "urn:a:");
    EXPECT_EQ(nullptr, prefixes.getIRI("A"));
    EXPECT_EQ(nullptr, prefixes.getIRI("a:"));
}

} // namespace
