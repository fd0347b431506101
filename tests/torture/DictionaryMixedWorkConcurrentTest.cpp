#include "tests/torture/MixedTorture.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

void expectFinding(const std::string& finding, const ChangeFoundID& changeFoundID) {
    std::ostringstream output;
    EXPECT_FALSE(tortureByMixedWork(std::chrono::seconds(0), 4, 5, output, changeFoundID));
    EXPECT_EQ(0u, output.str().find("WRONG: ")) << output.str();
    EXPECT_NE(std::string::npos, output.str().find(finding)) << output.str();
    EXPECT_NE(std::string::npos, output.str().find(" WRONG (4 threads, ")) << output.str();
}

TEST(DictionaryMixedWorkConcurrentTest, mixedWorkIsRight) {
    std::ostringstream output;
    EXPECT_TRUE(tortureByMixedWork(std::chrono::seconds(0), 4, 5, output)) << output.str();
    EXPECT_NE(std::string::npos, output.str().find(" operations: all right (4 threads, 6 rounds: ")) << output.str();
}

TEST(DictionaryMixedWorkConcurrentTest, anIDThatMeansAnotherTermIsNoticed) {
    expectFinding(", under which there is '", [](const uint32_t number, const uint64_t resourceID) {
        return resourceID > 1 && number % 1000 == 7 ? resourceID - 1 : resourceID;
    });
}

TEST(DictionaryMixedWorkConcurrentTest, aCommittedTermThatIsMissingIsNoticed) {
    expectFinding(" is found under 0 as of ",
                  [](const uint32_t number, const uint64_t resourceID) { return number % 1000 == 7 ? 0 : resourceID; });
}

} // namespace
