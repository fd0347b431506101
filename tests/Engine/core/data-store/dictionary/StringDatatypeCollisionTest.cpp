#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/DictionaryOptions.h"
#include "Engine/core/data-store/dictionary/HashCollisionException.h"
#include "Engine/core/platform/collections/Fingerprints.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/FullyCollidingTexts.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t LIMIT = 5;
constexpr size_t HOME = 300;

template<class T>
class StringDatatypeCollisionTest : public testing::Test {};

/// Makes texts with a suffix that have the same home bucket in the smallest table, and the same fingerprint.
OwnedLiterals makeCollidingLiterals(const size_t count, const uint8_t datatypeID) {
    const std::string suffix = datatypeID == D_RDF_PLAIN_LITERAL ? "@en" : "";
    OwnedLiterals literals;
    for (size_t number = 0; literals.size() < count; ++number) {
        const std::string text = std::to_string(number) + suffix;
        const uint64_t hash = hashLexicalForm(text.data(), text.size());
        if ((hash & 1023) == HOME && Fingerprints::get(hash) == 77)
            literals.push_back({text, datatypeID});
    }
    return literals;
}

/// Makes ordinary literals of both datatypes whose home buckets are not near a given one: without fingerprints, every
/// string that a probe passes counts.
OwnedLiterals makeOrdinaryLiterals(const size_t count, const size_t avoidedHome) {
    OwnedLiterals literals;
    for (size_t number = 0; literals.size() < count; ++number) {
        const std::string text = "ordinary " + std::to_string(number) + "@en";
        const size_t home = getHome(text, 1024);
        if (((home - avoidedHome + 100) & 1023) > 300)
            literals.push_back({text, number % 2 == 0 ? uint8_t(D_XSD_STRING) : uint8_t(D_RDF_PLAIN_LITERAL)});
    }
    return literals;
}

OwnedLiterals makeFullyCollidingLiterals() {
    OwnedLiterals literals;
    for (std::string& text : makeFullyCollidingTexts(LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS))
        literals.push_back({std::move(text), D_XSD_STRING});
    return literals;
}

/// Expects that an operation is refused because of a number of collisions, and changes nothing.
template<class T, class Operation>
void expectRefused(DictionaryFixture<T>& fixture, const size_t numberOfCollisions, const Operation operation) {
    const uint64_t nextResourceID = fixture.m_nextResourceID.load();
    const uint64_t poolEnd = fixture.m_dataPool.getEnd();
    const size_t entries = getTable(fixture, D_XSD_STRING).getNumberOfNonEmptyBuckets() +
                           getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfNonEmptyBuckets();
    try {
        operation();
        ADD_FAILURE() << "not refused";
    } catch (const HashCollisionException& exception) {
        EXPECT_EQ(numberOfCollisions, exception.getNumberOfCollisions());
        EXPECT_EQ("HashCollisionException", exception.getExceptionName());
        EXPECT_EQ("The string collides in the hash table with " + std::to_string(numberOfCollisions) +
                      " others, more than the " + std::to_string(numberOfCollisions - 1) + " that are allowed.",
                  exception.getMessage());
    }
    EXPECT_EQ(nextResourceID, fixture.m_nextResourceID.load()) << "an ID is used up";
    EXPECT_EQ(poolEnd, fixture.m_dataPool.getEnd());
    EXPECT_EQ(entries, getTable(fixture, D_XSD_STRING).getNumberOfNonEmptyBuckets() +
                           getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfNonEmptyBuckets());
    expectSound(fixture);
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeCollisionTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeCollisionTest, aStringThatCollidesWithMoreThanTheLimitIsRefused) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        DictionaryFixture<TypeParam> fixture;
        fixture.m_datatype.limitCollisions(LIMIT);
        const OwnedLiterals literals = makeCollidingLiterals(LIMIT + 3, datatypeID);
        for (size_t index = 0; index <= LIMIT; ++index)
            EXPECT_EQ(index + 1, fixture.resolve(literals[index].m_lexicalForm, datatypeID));
        for (const size_t index : {LIMIT + 1, LIMIT + 2}) {
            const std::string& text = literals[index].m_lexicalForm;
            expectRefused(fixture, LIMIT + 1, [&] { fixture.resolve(text, datatypeID); });
            expectRefused(fixture, LIMIT + 1,
                          [&] { fixture.m_datatype.resolveResource(nullptr, StringValue(text, datatypeID)); });
            expectRefused(fixture, LIMIT + 1, [&] {
                std::vector<BatchEntry> entries{{text, STALE_RESOURCE_ID, datatypeID}};
                std::vector<BatchFailure> failures;
                fixture.m_datatype.resolveResources(nullptr, entries, failures);
                EXPECT_EQ(0u, entries[0].m_resourceID);
                ASSERT_EQ(1u, failures.size());
                EXPECT_EQ(FailureKind::FULL, failures[0].m_kind);
                failures[0].throwException();
            });
            EXPECT_EQ(0u, fixture.tryResolve(text, datatypeID)) << "a lookup refuses nothing";
        }
        for (size_t index = 0; index <= LIMIT; ++index) {
            EXPECT_EQ(index + 1, fixture.resolve(literals[index].m_lexicalForm, datatypeID));
            EXPECT_EQ(index + 1, fixture.tryResolve(literals[index].m_lexicalForm, datatypeID));
        }
        EXPECT_EQ(LIMIT + 2, fixture.resolve("another@en", datatypeID));
    }
}

TYPED_TEST(StringDatatypeCollisionTest, restoringIsRefusedToo) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_datatype.limitCollisions(LIMIT);
    const OwnedLiterals literals = makeCollidingLiterals(LIMIT + 2, D_XSD_STRING);
    for (size_t index = 0; index <= LIMIT; ++index)
        EXPECT_EQ(10 + index, fixture.restore(10 + index, literals[index].m_lexicalForm));
    expectRefused(fixture, LIMIT + 1, [&] { fixture.restore(50, literals[LIMIT + 1].m_lexicalForm); });
    EXPECT_EQ(D_INVALID, fixture.getDatatypeID(50));
    EXPECT_EQ(10 + LIMIT, fixture.tryResolve(literals[LIMIT].m_lexicalForm));
}

TYPED_TEST(StringDatatypeCollisionTest, withdrawnStringsAreNotCounted) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_datatype.limitCollisions(LIMIT);
    const OwnedLiterals literals = makeCollidingLiterals(LIMIT + 3, D_XSD_STRING);
    for (size_t index = 0; index <= LIMIT; ++index)
        fixture.resolve(literals[index].m_lexicalForm);
    fixture.m_datatype.deleteUncommittedResourceID(3, D_XSD_STRING);
    EXPECT_EQ(LIMIT + 2, fixture.resolve(literals[LIMIT + 1].m_lexicalForm));
    expectRefused(fixture, LIMIT + 1, [&] { fixture.resolve(literals[LIMIT + 2].m_lexicalForm); });
    expectRefused(fixture, LIMIT + 1, [&] { fixture.resolve(literals[2].m_lexicalForm); });
}

TYPED_TEST(StringDatatypeCollisionTest, refusedStringsSpoilNoOthersOfTheirBatch) {
    OwnedLiterals literals;
    const OwnedLiterals ordinary = makeOrdinaryLiterals(40, HOME);
    const OwnedLiterals strings = makeCollidingLiterals(20, D_XSD_STRING);
    const OwnedLiterals plainLiterals = makeCollidingLiterals(20, D_RDF_PLAIN_LITERAL);
    for (size_t index = 0; index < ordinary.size(); ++index) {
        literals.push_back(ordinary[index]);
        if (index % 2 == 0) {
            literals.push_back(strings[index / 2]);
            literals.push_back(plainLiterals[index / 2]);
        }
    }
    DictionaryFixture<TypeParam> oneByOne;
    DictionaryFixture<TypeParam> atOnce;
    oneByOne.m_datatype.limitCollisions(LIMIT);
    atOnce.m_datatype.limitCollisions(LIMIT);
    const BatchAnswers expected = resolveOneByOne(oneByOne, literals);
    EXPECT_EQ(expected, resolveAtOnce(atOnce, literals));
    EXPECT_EQ(2 * (20 - LIMIT - 1), expected.m_failures.size());
    EXPECT_EQ(1 + literals.size() - expected.m_failures.size(), atOnce.m_nextResourceID.load());
    EXPECT_EQ(expected, resolveAtOnce(atOnce, literals)) << "the same are refused again";
    EXPECT_EQ(expected.m_resourceIDs, lookUpAtOnce(atOnce, literals, EVERYTHING).m_resourceIDs);
    expectSound(atOnce);
}

TYPED_TEST(StringDatatypeCollisionTest, withoutALimitNothingIsRefused) {
    const OwnedLiterals literals = makeFullyCollidingLiterals();
    for (const bool isLimitRemoved : {false, true}) {
        DictionaryFixture<TypeParam> fixture;
        if (isLimitRemoved) {
            fixture.m_datatype.limitCollisions(0);
            fixture.m_datatype.limitCollisions(DictionaryOptions::NO_COLLISION_LIMIT);
        }
        const BatchAnswers answers = resolveAtOnce(fixture, literals);
        EXPECT_TRUE(answers.m_failures.empty());
        EXPECT_EQ(literals.size() + 1, fixture.m_nextResourceID.load());
        EXPECT_EQ(answers, lookUpAtOnce(fixture, literals, EVERYTHING));
        for (size_t index = 0; index < literals.size(); index += 64)
            EXPECT_EQ(index + 1, fixture.tryResolve(literals[index].m_lexicalForm));
        expectSound(fixture);
    }
}

TYPED_TEST(StringDatatypeCollisionTest, ofStringsWithOneHashThoseBeyondTheLimitAreRefused) {
    constexpr size_t LARGER_LIMIT = 100;
    const OwnedLiterals colliding = makeFullyCollidingLiterals();
    const OwnedLiterals ordinary = makeOrdinaryLiterals(600, getHome(colliding[0].m_lexicalForm, 1024));
    for (const bool isBatch : {false, true}) {
        DictionaryFixture<TypeParam> fixture;
        fixture.m_datatype.limitCollisions(LARGER_LIMIT);
        const auto resolve = [&](const OwnedLiterals& literals) {
            return isBatch ? resolveAtOnce(fixture, literals) : resolveOneByOne(fixture, literals);
        };
        const auto [firstHalf, secondHalf] = std::pair(OwnedLiterals(ordinary.begin(), ordinary.begin() + 300),
                                                       OwnedLiterals(ordinary.begin() + 300, ordinary.end()));
        EXPECT_TRUE(resolve(firstHalf).m_failures.empty());
        const BatchAnswers answers = resolve(colliding);
        for (size_t index = 0; index < colliding.size(); ++index)
            ASSERT_EQ(answers.m_resourceIDs[index] != 0, answers.m_resourceIDs[index] == 301 + index) << index;
        const size_t accepted = colliding.size() - answers.m_failures.size();
        EXPECT_EQ(LARGER_LIMIT + 1, accepted);
        for (size_t number = 0; number < answers.m_failures.size(); ++number)
            ASSERT_EQ(accepted + number, answers.m_failures[number].first) << "not the last ones are refused";
        const BatchAnswers further = resolve(secondHalf);
        EXPECT_TRUE(further.m_failures.empty());
        EXPECT_EQ(1 + ordinary.size() + accepted, fixture.m_nextResourceID.load());
        EXPECT_EQ(further, lookUpAtOnce(fixture, secondHalf, EVERYTHING));
        EXPECT_EQ(answers.m_resourceIDs, lookUpAtOnce(fixture, colliding, EVERYTHING).m_resourceIDs);
        expectSound(fixture);
    }
}
