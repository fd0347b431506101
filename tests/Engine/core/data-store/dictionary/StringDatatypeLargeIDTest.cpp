#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/support/CaughtException.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <string>
#include <vector>

#include <sys/mman.h>

using namespace melnar;

// Resource IDs around 2^31 and 2^32, and the largest one of narrow buckets.

namespace {

constexpr size_t AMPLE_MEMORY = size_t(1) << 40;
constexpr uint64_t TWO_TO_31 = uint64_t(1) << 31;
constexpr uint64_t TWO_TO_32 = uint64_t(1) << 32;
constexpr uint64_t LARGEST_NARROW_ID = 0xFFFFFFFD;

/// More literals than a new table holds, so it grows.
constexpr size_t MANY = 1000;

/// Returns whether the system commits so many more bytes to somebody who asks without the engine.
bool doesSystemCommit(const size_t numberOfBytes) {
    void* const bytes = ::mmap(nullptr, numberOfBytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    return bytes != MAP_FAILED && ::munmap(bytes, numberOfBytes) == 0;
}

template<class T>
class StringDatatypeLargeIDTest : public testing::Test {
protected:
    /// The largest ID with which the tests of a width work.
    static constexpr uint64_t LARGEST_ID = sizeof(T) == 4 ? LARGEST_NARROW_ID : TWO_TO_32 + 2 * MANY;

    StringDatatypeLargeIDTest() : m_fixture(AMPLE_MEMORY, LARGEST_ID + 1) {}

    /// Commits memory for all IDs, which is never touched, in pieces that the system does not mistake for more than it
    /// has.
    void SetUp() override {
        constexpr uint64_t PIECE = uint64_t(1) << 26;
        try {
            for (uint64_t end = PIECE; end < LARGEST_ID; end += PIECE) {
                m_fixture.m_resourceDataOffsets.ensureEndAtLeast(end);
                m_fixture.m_resourceFlags.ensureEndAtLeast(end);
            }
        } catch (const SystemCallException& exception) {
            if (exception.getErrorCode() != ENOMEM || doesSystemCommit(PIECE * sizeof(uint64_t)))
                throw;
            GTEST_SKIP() << "The system does not commit 9 bytes for each ID, more memory than it has.";
        }
    }

    void setNextResourceID(const uint64_t resourceID) { m_fixture.m_nextResourceID = resourceID; }

    /// Expects that a literal has an ID in all respects.
    void expectResource(const uint64_t resourceID, const std::string& lexicalForm, const uint8_t datatypeID) {
        EXPECT_EQ(resourceID, m_fixture.tryResolve(lexicalForm, datatypeID));
        EXPECT_EQ(resourceID, m_fixture.tryResolve(lexicalForm, datatypeID, {resourceID + 1}));
        EXPECT_EQ(0u, m_fixture.tryResolve(lexicalForm, datatypeID, {resourceID}));
        EXPECT_EQ(resourceID, m_fixture.resolve(lexicalForm, datatypeID)) << "it exists";
        EXPECT_EQ(lexicalForm, m_fixture.getLexicalForm(resourceID));
        EXPECT_EQ(datatypeID, m_fixture.getDatatypeID(resourceID));
    }

    /// Resolves literals before and after a boundary, one by one and in a batch, lets the tables grow, saves and loads
    /// them, and withdraws the literals.
    void crossBoundary(const uint64_t firstID, const uint64_t afterLastID) {
        setNextResourceID(firstID);
        OwnedLiterals literals;
        for (uint64_t resourceID = firstID; resourceID < afterLastID; ++resourceID)
            literals.push_back({"literal " + std::to_string(resourceID) + "@en",
                                resourceID % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL});
        const size_t half = literals.size() / 2;
        for (size_t index = 0; index < half; ++index)
            ASSERT_EQ(firstID + index, m_fixture.resolve(literals[index].m_lexicalForm, literals[index].m_datatypeID));
        BatchAnswers expected;
        for (uint64_t resourceID = firstID; resourceID < afterLastID; ++resourceID)
            expected.m_resourceIDs.push_back(resourceID);
        EXPECT_EQ(expected, resolveAtOnce(m_fixture, literals)) << "the first half exists, the second is new";
        EXPECT_EQ(expected, lookUpAtOnce(m_fixture, literals, EVERYTHING));
        EXPECT_EQ(afterLastID, m_fixture.m_nextResourceID.load());
        const std::string bytes = save(m_fixture.m_datatype);
        MemoryInputStream input(bytes);
        m_fixture.m_datatype.load(input);
        for (size_t index = 0; index < literals.size(); ++index)
            expectResource(firstID + index, literals[index].m_lexicalForm, literals[index].m_datatypeID);
        for (size_t index = 0; index < literals.size(); ++index) {
            m_fixture.m_datatype.deleteUncommittedResourceID(firstID + index, literals[index].m_datatypeID);
            EXPECT_EQ(0u, m_fixture.tryResolve(literals[index].m_lexicalForm, literals[index].m_datatypeID));
        }
        expectSound(m_fixture);
    }

    DictionaryFixture<T> m_fixture;
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeLargeIDTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeLargeIDTest, twoToThe31IsAnIDLikeAnyOther) {
    this->crossBoundary(TWO_TO_31 - MANY, TWO_TO_31 + MANY);
}

TYPED_TEST(StringDatatypeLargeIDTest, theLastIDsOf32BitsAreIDsLikeAnyOther) {
    const uint64_t end = std::min(TestFixture::LARGEST_ID + 1, TWO_TO_32 + MANY);
    this->crossBoundary(end - 2 * MANY, end);
}

TYPED_TEST(StringDatatypeLargeIDTest, aCompactionTakesLargeIDsAsTheyAre) {
    constexpr uint64_t KEPT = 6;
    this->setNextResourceID(TWO_TO_31 - KEPT);
    for (uint64_t number = 0; number < 2 * KEPT; ++number)
        this->m_fixture.resolve(std::to_string(number));
    DictionaryCompactionState state(this->m_fixture.m_memoryManager);
    state.m_entries.initialize(KEPT);
    state.m_entries.ensureEndAtLeast(KEPT);
    for (uint64_t number = 0; number < KEPT; ++number)
        this->m_fixture.m_datatype.prepareCompact(TWO_TO_31 - KEPT + 2 * number, number + 1, state);
    this->m_fixture.m_datatype.finishCompact(state);
    for (uint64_t number = 0; number < 2 * KEPT; ++number)
        EXPECT_EQ(number % 2 == 0 ? number / 2 + 1 : 0, this->m_fixture.tryResolve(std::to_string(number)));
    expectSound(this->m_fixture);
}

TYPED_TEST(StringDatatypeLargeIDTest, noIDFollowsTheLargestOne) {
    const uint64_t largestID = TestFixture::LARGEST_ID;
    this->setNextResourceID(largestID - 1);
    EXPECT_EQ(largestID - 1, this->m_fixture.resolve("last but one"));
    EXPECT_EQ(largestID, this->m_fixture.resolve("last"));
    const std::string message = "The dictionary cannot create resource " + std::to_string(largestID + 1) +
                                " because it was created to hold at most " + std::to_string(largestID) + " resources.";
    for (int attempt = 0; attempt < 2; ++attempt)
        EXPECT_EQ(message, catchException<MelnarException>([this] { this->m_fixture.resolve("more"); }).getMessage());
    const BatchAnswers answers = resolveAtOnce(
        this->m_fixture, {{"last", D_XSD_STRING}, {"more", D_XSD_STRING}, {"last but one", D_XSD_STRING}});
    EXPECT_EQ((std::vector<uint64_t>{largestID, 0, largestID - 1}), answers.m_resourceIDs);
    ASSERT_EQ(1u, answers.m_failures.size());
    EXPECT_NE(std::string::npos, answers.m_failures[0].second.find(message)) << answers.m_failures[0].second;
    EXPECT_EQ(largestID + 1, this->m_fixture.m_nextResourceID.load());
    this->expectResource(largestID, "last", D_XSD_STRING);
    EXPECT_EQ(0u, this->m_fixture.tryResolve("more"));
    expectSound(this->m_fixture);
}
