#include "tests/torture/LinearizabilityTorture.h"

#include "Engine/core/data-store/Dictionary.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <string>

namespace {

void expectFinding(const LookUpUnderTest& lookUp) {
    std::ostringstream output;
    EXPECT_FALSE(tortureLinearizability(100, 5, output, lookUp));
    EXPECT_EQ(0u, output.str().find("WRONG: MELNAR_SEED=5 history ")) << output.str();
    EXPECT_NE(std::string::npos, output.str().find(" is not linearizable, from ID ")) << output.str();
    EXPECT_NE(std::string::npos, output.str().find("\n100 histories: ")) << output.str();
}

TEST(DictionaryLinearizabilityConcurrentTest, historiesAreLinearizable) {
    std::ostringstream output;
    EXPECT_TRUE(tortureLinearizability(200, 5, output)) << output.str();
    EXPECT_EQ(0u, output.str().find("200 histories: all linearizable (")) << output.str();
}

TEST(DictionaryLinearizabilityConcurrentTest, lookupsThatIgnoreTheCommitPointAreFound) {
    expectFinding(
        [](const Dictionary& dictionary, DictionaryCommitPoint, const std::string_view form, const uint8_t datatypeID) {
            return dictionary.tryResolveResource(DictionaryCommitPoint::ALL, form, datatypeID);
        });
}

TEST(DictionaryLinearizabilityConcurrentTest, lookupsThatMissATermNowAndThenAreFound) {
    std::atomic<size_t> numberOfLookups(0);
    expectFinding([&numberOfLookups](const Dictionary& dictionary, const DictionaryCommitPoint commitPoint,
                                     const std::string_view form, const uint8_t datatypeID) {
        return ++numberOfLookups % 16 == 0 ? 0 : dictionary.tryResolveResource(commitPoint, form, datatypeID);
    });
}

} // namespace
