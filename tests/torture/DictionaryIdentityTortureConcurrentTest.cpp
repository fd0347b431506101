#include "tests/torture/IdentityTorture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <sstream>
#include <string>
#include <utility>

namespace {

constexpr uint64_t OPERATIONS = 400000;

void expectFinding(const std::string& finding, const ChangeAnswers& changeAnswers) {
    std::ostringstream output;
    EXPECT_FALSE(tortureIdentity(OPERATIONS, 2, 5, output, changeAnswers));
    EXPECT_EQ(0u, output.str().find("WRONG: ")) << output.str();
    EXPECT_NE(std::string::npos, output.str().find(finding)) << output.str();
    EXPECT_NE(std::string::npos, output.str().find(" operations: ")) << output.str();
}

TEST(DictionaryIdentityTortureConcurrentTest, noIDMeansAnotherTermAndNoTermHasTwo) {
    std::ostringstream output;
    EXPECT_TRUE(tortureIdentity(OPERATIONS, 2, 5, output)) << output.str();
    EXPECT_NE(std::string::npos, output.str().find(" operations: no ID meant another term, no term had two IDs ("))
        << output.str();
}

TEST(DictionaryIdentityTortureConcurrentTest, anAnswerForAnotherTermIsFound) {
    std::atomic<size_t> numberOfBatches(0);
    expectFinding("; known is the ID ", [&numberOfBatches](const std::span<BatchEntry> entries) {
        if (entries.size() > 1 && ++numberOfBatches % 10 == 0)
            std::swap(entries[0].m_resourceID, entries[1].m_resourceID);
    });
}

TEST(DictionaryIdentityTortureConcurrentTest, aByteOfATermIsFound) {
    std::atomic<size_t> numberOfBatches(0);
    expectFinding(", under which there is '", [&numberOfBatches](const std::span<BatchEntry> entries) {
        if (!entries.empty() && !entries[0].m_lexicalForm.empty() && ++numberOfBatches % 10 == 0)
            entries[0].m_lexicalForm.remove_suffix(1);
    });
}

TEST(DictionaryIdentityTortureConcurrentTest, aMissingTermIsFound) {
    std::atomic<size_t> numberOfBatches(0);
    expectFinding(" under 0 as of ", [&numberOfBatches](const std::span<BatchEntry> entries) {
        if (++numberOfBatches % 10 == 0)
            for (BatchEntry& entry : entries)
                entry.m_resourceID = 0;
    });
}

} // namespace
