#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr size_t STRINGS = 3000;
constexpr size_t OTHERS = 3000;
constexpr uint8_t OTHER_DATATYPE_ID = 99;

template<class T>
class StringDatatypeSharedSlotsConcurrentTest : public testing::Test {};

OwnedLiteral makeLiteral(const size_t number) {
    return {"string " + std::to_string(number) + "@en",
            number % 2 == 0 ? uint8_t(D_XSD_STRING) : uint8_t(D_RDF_PLAIN_LITERAL)};
}

/// Takes IDs like another datatype, and changes its values in all of their slots, by plain stores, until the strings
/// exist. Returns its IDs.
std::vector<uint64_t> keepOthers(DictionaryParts& parts, const std::atomic<size_t>& numberOfBusyThreads) {
    std::vector<uint64_t> resourceIDs;
    for (size_t round = 0; numberOfBusyThreads.load() != 0 || resourceIDs.size() < 10; ++round) {
        if (resourceIDs.size() < OTHERS) {
            resourceIDs.push_back(parts.m_nextResourceID.fetch_add(1));
            parts.m_resourceFlags[resourceIDs.back()] = OTHER_DATATYPE_ID;
        }
        for (size_t count = 0; count < 50; ++count) {
            const uint64_t resourceID = resourceIDs[(round * 31 + count) % resourceIDs.size()];
            parts.m_resourceDataOffsets[resourceID] = round * count * 0x9E3779B97F4A7C15;
        }
    }
    for (const uint64_t resourceID : resourceIDs)
        parts.m_resourceDataOffsets[resourceID] = ~resourceID;
    return resourceIDs;
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeSharedSlotsConcurrentTest, DatatypeWidths, DatatypeWidthNames);

/// Under ThreadSanitizer, any access of the string datatype to another datatype's slot is a race here.
TYPED_TEST(StringDatatypeSharedSlotsConcurrentTest, anotherDatatypeChangesItsSlotsWhileStringsAreResolved) {
    constexpr size_t RESOLVING_THREADS = 3;
    DictionaryFixture<TypeParam> fixture;
    fixture.m_resourceDataOffsets.ensureEndAtLeast(1 + STRINGS + OTHERS);
    fixture.m_resourceFlags.ensureEndAtLeast(1 + STRINGS + OTHERS);
    std::atomic<size_t> numberOfBusyThreads(RESOLVING_THREADS);
    std::vector<std::vector<uint64_t>> idsByThread(RESOLVING_THREADS, std::vector<uint64_t>(STRINGS));
    std::vector<uint64_t> otherIDs;
    runTogether(RESOLVING_THREADS + 1, [&](const size_t thread) {
        if (thread == RESOLVING_THREADS) {
            otherIDs = keepOthers(fixture, numberOfBusyThreads);
            return;
        }
        for (size_t begin = 0; begin < STRINGS; begin += 100) {
            OwnedLiterals literals;
            for (size_t number = begin; number < begin + 100; ++number)
                literals.push_back(makeLiteral(number));
            const BatchAnswers found = lookUpAtOnce(fixture, literals, EVERYTHING);
            const BatchAnswers answers =
                (begin / 100 + thread) % 2 == 0 ? resolveAtOnce(fixture, literals) : resolveOneByOne(fixture, literals);
            EXPECT_TRUE(answers.m_failures.empty());
            for (size_t index = 0; index < literals.size(); ++index) {
                idsByThread[thread][begin + index] = answers.m_resourceIDs[index];
                EXPECT_TRUE(found.m_resourceIDs[index] == 0 ||
                            found.m_resourceIDs[index] == answers.m_resourceIDs[index]);
                EXPECT_EQ(answers.m_resourceIDs[index],
                          fixture.tryResolve(literals[index].m_lexicalForm, literals[index].m_datatypeID));
            }
        }
        --numberOfBusyThreads;
    });
    EXPECT_EQ(idsByThread[0], idsByThread[1]);
    EXPECT_EQ(idsByThread[0], idsByThread[2]);
    EXPECT_EQ(1 + STRINGS + otherIDs.size(), fixture.m_nextResourceID.load()) << "a string was created twice";
    EXPECT_LT(1024u, getTable(fixture).getNumberOfBuckets()) << "no table has grown";
    for (const uint64_t resourceID : otherIDs) {
        ASSERT_EQ(~resourceID, fixture.m_resourceDataOffsets[resourceID]);
        ASSERT_EQ(OTHER_DATATYPE_ID, fixture.getDatatypeID(resourceID));
    }
    for (size_t number = 0; number < STRINGS; ++number)
        ASSERT_EQ(makeLiteral(number).m_lexicalForm, fixture.getLexicalForm(idsByThread[0][number]));
    expectSound(fixture);
}
