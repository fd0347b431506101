#include "tests/torture/IdentityTorture.h"
#include "tests/torture/LinearizabilityTorture.h"
#include "tests/torture/MixedTorture.h"

#include <gtest/gtest.h>

#include <chrono>
#include <sstream>
#include <string>

namespace {

TEST(DictionaryTortureConcurrentTest, mixedWorkIsRight) {
    std::ostringstream output;
    tortureByMixedWork(std::chrono::seconds(0), 4, 5, output); // Whether enough ran concurrently is up to the system.
    EXPECT_NE(std::string::npos, output.str().find(" operations: all right (4 threads, 6 rounds: ")) << output.str();
}

TEST(DictionaryTortureConcurrentTest, noIDMeansAnotherTermAndNoTermHasTwo) {
    std::ostringstream output;
    EXPECT_TRUE(tortureIdentity(400000, 2, 5, output)) << output.str();
    EXPECT_NE(std::string::npos, output.str().find(" operations: no ID meant another term, no term had two IDs ("))
        << output.str();
}

TEST(DictionaryTortureConcurrentTest, historiesAreLinearizable) {
    std::ostringstream output;
    tortureLinearizability(200, 5, output); // as above
    EXPECT_EQ(0u, output.str().find("200 histories: all linearizable (")) << output.str();
}

} // namespace
