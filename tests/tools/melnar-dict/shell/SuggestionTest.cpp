#include "tools/melnar-dict/shell/Suggestion.h"

#include <gtest/gtest.h>

namespace {

const std::vector<std::string> NAMES{"load", "lookup", "dump", "--threads", "--memory-limit", "--max-line"};

TEST(SuggestionTest, namesWhatWasProbablyMeant) {
    for (const auto& [typed, meant] : {std::pair("laod", "load"),
                                       {"lod", "load"},
                                       {"loadd", "load"},
                                       {"loab", "load"},
                                       {"lokup", "lookup"},
                                       {"--thread", "--threads"},
                                       {"--therads", "--threads"},
                                       {"--mem", "--memory-limit"},
                                       {"--maxline", "--max-line"},
                                       {"LOAD", ""}})
        EXPECT_EQ(*meant == '\0' ? "" : "; did you mean '" + std::string(meant) + "'?", suggest(typed, NAMES)) << typed;
}

TEST(SuggestionTest, isSilentWhenNothingIsLikeIt) {
    for (const char* const typed : {"", "x", "frobnicate", "--json", "--", "--lone", "ab", "verify"})
        EXPECT_EQ("", suggest(typed, NAMES)) << typed;
    EXPECT_EQ("", suggest(std::string(1'000'000, 'x'), NAMES));
    EXPECT_EQ("", suggest("load", {}));
}

TEST(SuggestionTest, prefersTheNearest) {
    EXPECT_EQ("; did you mean 'decode'?", suggest("decod", {"encode", "decode"}));
    EXPECT_EQ("; did you mean 'encode'?", suggest("emcode", {"decode", "encode"}));
}

} // namespace
