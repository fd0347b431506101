#include "tools/melnar-dict/Escapes.h"

#include <gtest/gtest.h>

namespace {

constexpr const char* SURROGATE = "an escape stands for half of a surrogate pair";
constexpr const char* BEYOND = "an escape stands for a number beyond Unicode";
constexpr const char* NOT_IN_IRI = "an escape stands for a character that an IRI cannot hold";

TEST(EscapesTest, letsPassWhatStandsForACharacter) {
    for (const char* const text :
         {"", "plain", R"(\n\t\\\"\')", R"(A\uD7FF\uE000\uFFFF)", R"(\U0010FFFF)", R"(\u0000)"})
        EXPECT_EQ(nullptr, findFaultInString(text)) << text;
    EXPECT_EQ(nullptr, findFaultInIri(R"(http://e/\u00e9\U0001F600)"));
}

TEST(EscapesTest, objectsToSurrogates) {
    for (const char* const text :
         {R"(\uD800)", R"(\udfff)", R"(x\u00e9\uDC00x)", R"(\U0000D800)", R"(\\\uD83D\uDE00)"}) {
        EXPECT_STREQ(SURROGATE, findFaultInString(text)) << text;
        EXPECT_STREQ(SURROGATE, findFaultInIri(text)) << text;
    }
}

TEST(EscapesTest, objectsToNumbersBeyondUnicode) {
    EXPECT_STREQ(BEYOND, findFaultInString(R"(\U00110000)"));
    EXPECT_STREQ(BEYOND, findFaultInString(R"(\UFFFFFFFF)"));
}

TEST(EscapesTest, objectsToCharactersThatAnIriCannotHold) {
    for (const char* const text : {R"(\u0000)", R"(\u0020)", R"(\u003C)", R"(\u003e)", R"(\u0022)", R"(\u007B)",
                                   R"(\u007d)", R"(\u007C)", R"(\u005E)", R"(\u0060)", R"(\U0000005C)"})
        EXPECT_STREQ(NOT_IN_IRI, findFaultInIri(text)) << text;
}

TEST(EscapesTest, readsBackslashesInPairsFromLeftToRight) {
    EXPECT_EQ(nullptr, findFaultInString(R"(\\uD800)"));
    EXPECT_STREQ(SURROGATE, findFaultInString(R"(\\\uD800)"));
}

TEST(EscapesTest, leavesBrokenEscapesToTheParser) {
    for (const char* const text :
         {"\\", R"(\u)", R"(\uD80)", R"(\uD8zz)", R"(\U0000D80)", R"(\u+D80)", R"(\q)", R"(\u D80)"})
        EXPECT_EQ(nullptr, findFaultInString(text)) << text;
}

} // namespace
