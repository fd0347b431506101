#include "tests/torture/IdentityTorture.h"
#include "tests/torture/LinearizabilityTorture.h"
#include "tests/torture/MixedTorture.h"

#include "Engine/core/data-store/Dictionary.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <span>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

namespace {

/// Faults that each torture must find.
class DictionaryTortureTest : public testing::Test {
protected:
    void expectFinding(const bool isRight, const std::string& finding) const {
        EXPECT_FALSE(isRight);
        EXPECT_EQ(0u, m_output.str().find("WRONG: ")) << m_output.str();
        EXPECT_NE(std::string::npos, m_output.str().find(finding)) << m_output.str();
        EXPECT_NE(std::string::npos, m_output.str().find(" WRONG (")) << m_output.str();
    }

    void expectMixedWorkFinds(const std::string& finding, const ChangeFoundID& changeFoundID) {
        expectFinding(tortureByMixedWork(std::chrono::seconds(0), 4, 5, m_output, changeFoundID), finding);
    }

    void expectIdentityFinds(const std::string& finding, const ChangeAnswers& changeAnswers) {
        expectFinding(tortureIdentity(400000, 2, 5, m_output, changeAnswers), finding);
    }

    void expectHistoryIsNotLinearizable(const LookUpUnderTest& lookUp) {
        expectFinding(tortureLinearizability(100, 5, m_output, lookUp), " is not linearizable, from ID ");
        EXPECT_EQ(0u, m_output.str().find("WRONG: MELNAR_SEED=5 history ")) << m_output.str();
    }

    std::ostringstream m_output;
};

TEST_F(DictionaryTortureTest, anIDThatMeansAnotherTermIsNoticed) {
    expectMixedWorkFinds(", under which there is '", [](const uint32_t number, const uint64_t resourceID) {
        return resourceID > 1 && number % 1000 == 7 ? resourceID - 1 : resourceID;
    });
}

TEST_F(DictionaryTortureTest, aCommittedTermThatIsMissingIsNoticed) {
    expectMixedWorkFinds(" is found under 0 as of ", [](const uint32_t number, const uint64_t resourceID) {
        return number % 1000 == 7 ? 0 : resourceID;
    });
}

TEST_F(DictionaryTortureTest, anAnswerForAnotherTermIsNoticed) {
    std::atomic<size_t> numberOfBatches(0);
    expectIdentityFinds("; known is the ID ", [&numberOfBatches](const std::span<BatchEntry> entries) {
        if (entries.size() > 1 && ++numberOfBatches % 10 == 0)
            std::swap(entries[0].m_resourceID, entries[1].m_resourceID);
    });
}

TEST_F(DictionaryTortureTest, aByteOfATermIsNoticed) {
    std::atomic<size_t> numberOfBatches(0);
    expectIdentityFinds(", under which there is '", [&numberOfBatches](const std::span<BatchEntry> entries) {
        if (!entries.empty() && !entries[0].m_lexicalForm.empty() && ++numberOfBatches % 10 == 0)
            entries[0].m_lexicalForm.remove_suffix(1);
    });
}

TEST_F(DictionaryTortureTest, aMissingTermIsNoticed) {
    std::atomic<size_t> numberOfBatches(0);
    expectIdentityFinds("; known is the ID ", [&numberOfBatches](const std::span<BatchEntry> entries) {
        if (++numberOfBatches % 10 == 0)
            for (BatchEntry& entry : entries)
                entry.m_resourceID = 0;
    });
}

TEST_F(DictionaryTortureTest, lookupsThatIgnoreTheCommitPointAreNoticed) {
    expectHistoryIsNotLinearizable(
        [](const Dictionary& dictionary, DictionaryCommitPoint, const std::string_view form, const uint8_t datatypeID) {
            return dictionary.tryResolveResource(DictionaryCommitPoint::ALL, form, datatypeID);
        });
}

TEST_F(DictionaryTortureTest, lookupsThatMissATermNowAndThenAreNoticed) {
    std::atomic<size_t> numberOfLookups(0);
    expectHistoryIsNotLinearizable([&numberOfLookups](const Dictionary& dictionary,
                                                      const DictionaryCommitPoint commitPoint,
                                                      const std::string_view form, const uint8_t datatypeID) {
        return ++numberOfLookups % 16 == 0 ? 0 : dictionary.tryResolveResource(commitPoint, form, datatypeID);
    });
}

} // namespace
