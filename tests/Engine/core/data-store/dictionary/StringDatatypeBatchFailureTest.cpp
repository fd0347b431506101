#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <exception>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

using TablePeer = ParallelHashTableTestPeer;

constexpr size_t GROUP = PreparedEntries::CAPACITY;

/// The first one, with its terminator, exceeds the largest size by one; the last one's count wraps to 0.
constexpr size_t TOO_LONG[] = {0x1FFFFFFFFFFFFFFF, std::numeric_limits<size_t>::max() - 1,
                               std::numeric_limits<size_t>::max()};

template<class T>
class StringDatatypeBatchFailureTest : public testing::Test {};

/// Returns the refusal of an operation with its assigned line, in the format of describeException.
std::string describeRefusal(const std::string& reason, const long sourceLineNumber, const std::string& lexicalForm) {
    return describeException(std::make_exception_ptr(MelnarException(
        "Engine/core/data-store/dictionary/StringDatatype", sourceLineNumber, MelnarException::NO_CAUSES,
        "Lexical form '" + lexicalForm + "' is invalid for datatype rdf:PlainLiteral because " + reason)));
}

std::string describeFullDictionary(const uint64_t resourceID, const uint64_t maximumNumberOfResources) {
    return describeException(std::make_exception_ptr(
        MelnarException("Engine/core/data-store/dictionary/DictionaryDatatype", 47, MelnarException::NO_CAUSES,
                        "The dictionary cannot create resource ", resourceID,
                        " because it was created to hold at most ", maximumNumberOfResources, " resources.")));
}

constexpr const char* const WITHOUT_AT_SIGN = "it does not contain the '@' character.";
constexpr const char* const WITH_MALFORMED_TAG = " it its language tag is malformed.";

OwnedLiterals makeStrings(const size_t count, const std::string& prefix) {
    OwnedLiterals literals;
    for (size_t number = 0; number < count; ++number)
        literals.push_back({prefix + std::to_string(number), D_XSD_STRING});
    return literals;
}

/// Makes literals of both datatypes and several lengths, some of them twice; none is refused.
OwnedLiterals makeMixture(const size_t count) {
    OwnedLiterals literals;
    for (size_t index = 0; index < count; ++index) {
        const size_t number = index % 10 == 9 ? index / 2 : index;
        literals.push_back({std::to_string(number) + std::string(number % 40, 'x') + "@en",
                            number % 3 == 0 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING});
    }
    return literals;
}

/// Expects of a partly refused batch that each literal with an ID can be read and is found under it, equal literals
/// have the same ID, no other literal has one, and no ID was lost. Returns how many were refused.
template<class T>
size_t expectConsistent(DictionaryFixture<T>& fixture, const OwnedLiterals& literals, const BatchAnswers& answers) {
    std::map<std::pair<uint8_t, std::string>, uint64_t> resourceIDs;
    size_t numberOfRefused = 0;
    for (size_t index = 0; index < literals.size(); ++index) {
        const auto& [lexicalForm, datatypeID] = literals[index];
        const uint64_t resourceID = answers.m_resourceIDs[index];
        const bool isRefused =
            numberOfRefused < answers.m_failures.size() && answers.m_failures[numberOfRefused].first == index;
        EXPECT_EQ(isRefused, resourceID == 0) << "literal " << index;
        numberOfRefused += isRefused;
        if (resourceID != 0) {
            const auto [known, isNew] = resourceIDs.try_emplace({datatypeID, lexicalForm}, resourceID);
            EXPECT_EQ(known->second, resourceID);
            EXPECT_EQ(lexicalForm, fixture.getLexicalForm(resourceID));
            EXPECT_EQ(datatypeID, fixture.getDatatypeID(resourceID));
        }
    }
    EXPECT_EQ(numberOfRefused, answers.m_failures.size()) << "in ascending order";
    EXPECT_EQ(resourceIDs.size() + 1, fixture.m_nextResourceID.load()) << "a refused literal uses up no ID";
    BatchAnswers found;
    for (const auto& [lexicalForm, datatypeID] : literals) {
        const auto known = resourceIDs.find({datatypeID, lexicalForm});
        found.m_resourceIDs.push_back(known == resourceIDs.end() ? 0 : known->second);
    }
    EXPECT_EQ(found, lookUpAtOnce(fixture, literals, EVERYTHING));
    EXPECT_EQ(found, lookUpOneByOne(fixture, literals, EVERYTHING));
    expectSound(fixture);
    return numberOfRefused;
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeBatchFailureTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeBatchFailureTest, refusedLiteralsSpoilNoOtherOne) {
    DictionaryFixture<TypeParam> fixture;
    const OwnedLiterals literals{{"a", D_XSD_STRING},
                                 {"abc", D_RDF_PLAIN_LITERAL},
                                 {"b@en", D_RDF_PLAIN_LITERAL},
                                 {"", 42},
                                 {"a@b-", 42},
                                 {"a@1", D_RDF_PLAIN_LITERAL},
                                 {"abc", D_XSD_STRING},
                                 {"a@", D_RDF_PLAIN_LITERAL},
                                 {std::string("a\0@e n", 6), D_RDF_PLAIN_LITERAL}};
    const auto getExpected = [&](const std::vector<uint64_t>& resourceIDs, const long missing, const long malformed) {
        return BatchAnswers{resourceIDs,
                            {{1, describeRefusal(WITHOUT_AT_SIGN, missing, "abc")},
                             {3, describeRefusal(WITHOUT_AT_SIGN, missing, "")},
                             {4, describeRefusal(WITH_MALFORMED_TAG, malformed, "a@b-")},
                             {5, describeRefusal(WITH_MALFORMED_TAG, malformed, "a@1")},
                             {8, describeRefusal(WITH_MALFORMED_TAG, malformed, std::string("a\0@e n", 6))}}};
    };
    EXPECT_EQ(getExpected(std::vector<uint64_t>(9, 0), 158, 166), lookUpAtOnce(fixture, literals, EVERYTHING));
    EXPECT_EQ(getExpected({1, 0, 2, 0, 0, 0, 3, 1, 0}, 220, 229), resolveAtOnce(fixture, literals));
    EXPECT_EQ(getExpected({1, 0, 2, 0, 0, 0, 3, 1, 0}, 158, 166), lookUpAtOnce(fixture, literals, EVERYTHING));
    EXPECT_EQ(4u, fixture.m_nextResourceID.load());
    expectSound(fixture);
}

TYPED_TEST(StringDatatypeBatchFailureTest, failuresOfManyPartsAscendAndAreAppended) {
    DictionaryFixture<TypeParam> fixture;
    OwnedLiterals literals = makeStrings(3 * GROUP + 5, "");
    for (size_t index = 0; index < literals.size(); ++index)
        if (index % (GROUP - 1) == 0 || index % GROUP < 2 || index % GROUP == GROUP - 1)
            literals[index].m_datatypeID = D_RDF_PLAIN_LITERAL;
    std::vector<BatchEntry> entries = makeBatch(literals);
    std::vector<BatchFailure> failures{{77, FailureKind::SYSTEM, nullptr}};
    fixture.m_datatype.resolveResources(nullptr, entries, failures);
    const size_t numberOfRefused = failures.size() - 1;
    fixture.m_datatype.tryResolveResources(EVERYTHING, entries, failures);
    ASSERT_EQ(1 + 2 * numberOfRefused, failures.size());
    EXPECT_EQ(77u, failures[0].m_entryIndex);
    size_t number = 0;
    uint64_t resourceID = 0;
    for (size_t index = 0; index < literals.size(); ++index)
        if (literals[index].m_datatypeID == D_RDF_PLAIN_LITERAL) {
            ++number;
            ASSERT_EQ(index, failures[number].m_entryIndex);
            ASSERT_EQ(index, failures[number + numberOfRefused].m_entryIndex);
            EXPECT_EQ(describeRefusal(WITHOUT_AT_SIGN, 220, literals[index].m_lexicalForm),
                      describeFailure(failures[number]));
            EXPECT_EQ(describeRefusal(WITHOUT_AT_SIGN, 158, literals[index].m_lexicalForm),
                      describeFailure(failures[number + numberOfRefused]));
            ASSERT_EQ(0u, entries[index].m_resourceID);
        } else
            ASSERT_EQ(++resourceID, entries[index].m_resourceID);
    EXPECT_EQ(numberOfRefused, number);
    EXPECT_LT(3u, number);
}

TYPED_TEST(StringDatatypeBatchFailureTest, aBatchOfRefusedLiteralsTouchesNothing) {
    DictionaryFixture<TypeParam> fixture;
    const OwnedLiterals literals(GROUP + 1, {"no tag", D_RDF_PLAIN_LITERAL});
    EXPECT_EQ(literals.size(), resolveAtOnce(fixture, literals).m_failures.size());
    EXPECT_EQ(literals.size(), lookUpAtOnce(fixture, literals, EVERYTHING).m_failures.size());
    EXPECT_EQ(0u, TablePeer::getNumberOfUsedBuckets(getTable(fixture, D_RDF_PLAIN_LITERAL)).load());
    EXPECT_EQ(0u, TablePeer::getNumberOfUsedBuckets(getTable(fixture, D_XSD_STRING)).load());
    EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
    expectSound(fixture);
}

TYPED_TEST(StringDatatypeBatchFailureTest, aStringThatNoHeaderCanDescribeIsRefused) {
    const std::string expected = describeException(std::make_exception_ptr(MelnarException(
        "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding", 37, MelnarException::NO_CAUSES,
        "The resource is larger than the largest resource supported by Melnar.")));
    for (const size_t length : TOO_LONG)
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
            DictionaryFixture<TypeParam> fixture;
            std::vector<BatchEntry> entries{{"a", STALE_RESOURCE_ID, D_XSD_STRING},
                                            {{"text", length}, STALE_RESOURCE_ID, datatypeID},
                                            {"b", STALE_RESOURCE_ID, D_XSD_STRING}};
            std::vector<BatchFailure> failures;
            fixture.m_datatype.resolveResources(nullptr, entries, failures);
            fixture.m_datatype.tryResolveResources(EVERYTHING, entries, failures);
            EXPECT_EQ(1u, entries[0].m_resourceID);
            EXPECT_EQ(0u, entries[1].m_resourceID);
            EXPECT_EQ(2u, entries[2].m_resourceID);
            ASSERT_EQ(2u, failures.size());
            for (const BatchFailure& failure : failures) {
                EXPECT_EQ(1u, failure.m_entryIndex);
                EXPECT_EQ(FailureKind::REFUSED_LITERAL, failure.m_kind);
                EXPECT_EQ(expected, describeFailure(failure));
            }
        }
}

TYPED_TEST(StringDatatypeBatchFailureTest, theLargestNumberOfResourcesMayBeReachedAtAnyPlace) {
    for (const size_t maximum : {size_t(0), size_t(1), GROUP - 1, GROUP, GROUP + 1, size_t(500), 3 * GROUP}) {
        SCOPED_TRACE(maximum);
        DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, maximum + 1);
        const OwnedLiterals literals = makeStrings(3 * GROUP, "");
        OwnedLiterals twice = literals; // and all of them again, which finds the existing ones
        twice.insert(twice.end(), literals.begin(), literals.end());
        BatchAnswers expected;
        for (size_t index = 0; index < twice.size(); ++index) {
            const size_t number = index % literals.size();
            expected.m_resourceIDs.push_back(number < maximum ? number + 1 : 0);
            if (number >= maximum)
                expected.m_failures.emplace_back(index, describeFullDictionary(maximum + 1, maximum));
        }
        EXPECT_EQ(expected, resolveAtOnce(fixture, twice));
        EXPECT_EQ(expected, resolveAtOnce(fixture, twice));
        expectConsistent(fixture, twice, expected);
    }
}

// One more page of memory is left each time, until everything fits: every growth of every part is refused in turn.
TYPED_TEST(StringDatatypeBatchFailureTest, memoryMayEndAtAnyPlaceOfABatch) {
    const OwnedLiterals literals = makeMixture(8 * GROUP);
    size_t runsWithFailures = 0;
    size_t largestNumberOfAnswers = 0;
    for (size_t pages = 0;; ++pages) {
        SCOPED_TRACE(testing::Message() << pages << " pages left");
        ASSERT_LT(pages, 1000u) << "the literals never fit";
        DictionaryFixture<TypeParam> fixture;
        MemoryShortage shortage(fixture.m_memoryManager, pages * getVMPageSize());
        const BatchAnswers answers = resolveAtOnce(fixture, literals);
        const size_t numberOfRefused = expectConsistent(fixture, literals, answers);
        for (const auto& [index, description] : answers.m_failures)
            EXPECT_NE(std::string::npos, description.find("Engine/core/platform/system/MemoryManager:73"))
                << description;
        if (numberOfRefused == 0)
            break;
        ++runsWithFailures;
        EXPECT_LE(largestNumberOfAnswers, literals.size() - numberOfRefused) << "more memory, fewer answers";
        largestNumberOfAnswers = literals.size() - numberOfRefused;

        shortage.end();
        const BatchAnswers answersLater = resolveAtOnce(fixture, literals);
        EXPECT_EQ(0u, expectConsistent(fixture, literals, answersLater));
        for (size_t index = 0; index < literals.size(); ++index)
            EXPECT_TRUE(answers.m_resourceIDs[index] == 0 ||
                        answers.m_resourceIDs[index] == answersLater.m_resourceIDs[index]);
        ASSERT_FALSE(testing::Test::HasFailure());
    }
    EXPECT_LT(8u, runsWithFailures) << "hardly any growth has failed";
}

TYPED_TEST(StringDatatypeBatchFailureTest, aTableThatCannotGrowStillFindsItsEntries) {
    DictionaryFixture<TypeParam> fixture;
    OwnedLiterals literals = makeStrings(700, "old ");
    resolveAtOnce(fixture, literals);
    for (size_t index = 0; index < GROUP; ++index)
        literals.insert(literals.begin() + static_cast<ptrdiff_t>(index * 2),
                        {"new " + std::to_string(index), D_XSD_STRING});
    literals.push_back({"a@en", D_RDF_PLAIN_LITERAL}); // another table with room
    {
        const MemoryShortage shortage(fixture.m_memoryManager, 2048 * sizeof(TypeParam) - 1);
        const BatchAnswers answers = resolveAtOnce(fixture, literals);
        EXPECT_EQ(GROUP, expectConsistent(fixture, literals, answers));
        EXPECT_EQ(701u, answers.m_resourceIDs.back());
        EXPECT_EQ(1024u, getTable(fixture).getNumberOfBuckets());
    }
    const BatchAnswers answers = resolveAtOnce(fixture, literals);
    EXPECT_EQ(0u, expectConsistent(fixture, literals, answers));
    EXPECT_EQ(2048u, getTable(fixture).getNumberOfBuckets());
}

TYPED_TEST(StringDatatypeBatchFailureTest, aGrowthThatTheSystemRefusesOnceCostsOneLiteral) {
    for (const auto call : {SystemCallFaults::Call::MMAP, SystemCallFaults::Call::MPROTECT}) {
        DictionaryFixture<TypeParam> fixture;
        resolveAtOnce(fixture, makeStrings(690, "old "));
        const OwnedLiterals literals = makeStrings(GROUP, "new ");
        BatchAnswers answers;
        {
            SystemCallFaults faults(call);
            faults.failAfter(0, ENOMEM, SystemCallFaults::Duration::ONCE);
            answers = resolveAtOnce(fixture, literals);
            EXPECT_EQ(1u, faults.getNumberOfFailures());
        }
        ASSERT_EQ(1u, answers.m_failures.size());
        EXPECT_EQ(10u, answers.m_failures[0].first);
        EXPECT_NE(std::string::npos, answers.m_failures[0].second.find(typeid(SystemCallException).name()));
        for (size_t index = 0; index < literals.size(); ++index)
            EXPECT_EQ(index < 10 ? 691 + index : index == 10 ? 0 : 690 + index, answers.m_resourceIDs[index]);
        EXPECT_EQ(2048u, getTable(fixture).getNumberOfBuckets());
        expectSound(fixture);
        EXPECT_EQ(answers.m_resourceIDs, lookUpAtOnce(fixture, literals, EVERYTHING).m_resourceIDs);
    }
}

TYPED_TEST(StringDatatypeBatchFailureTest, aLongStringWithoutRoomIsRefusedAlone) {
    DictionaryFixture<TypeParam> fixture(DictionaryParts::MEMORY_LIMIT, DictionaryParts::CAPACITY, 1000);
    OwnedLiterals literals = makeStrings(20, "");
    literals.insert(literals.begin() + 10,
                    {std::string(2 * PreparedEntries::MAXIMUM_NUMBER_OF_BYTES, 'x'), D_XSD_STRING});
    literals.insert(literals.begin() + 5, {std::string(1001, 'x'), D_XSD_STRING});
    const BatchAnswers answers = resolveAtOnce(fixture, literals);
    EXPECT_EQ(2u, expectConsistent(fixture, literals, answers));
    ASSERT_EQ(2u, answers.m_failures.size());
    EXPECT_EQ(5u, answers.m_failures[0].first);
    EXPECT_EQ(11u, answers.m_failures[1].first);
    DictionaryFixture<TypeParam> single(DictionaryParts::MEMORY_LIMIT, DictionaryParts::CAPACITY, 1000);
    EXPECT_EQ(resolveOneByOne(single, literals), answers) << "and in the same words";
}

/// Only the failures take memory, and lack of it ends the batch: no exception was requested.
TYPED_TEST(StringDatatypeBatchFailureTest, anyAllocationMayFail) {
    OwnedLiterals literals = makeStrings(2 * GROUP, "a string that no small buffer holds, number ");
    const std::vector<size_t> refused{3, GROUP - 1, GROUP, GROUP + 1, GROUP + 2, 2 * GROUP - 1};
    for (const size_t index : refused)
        literals[index].m_datatypeID = D_RDF_PLAIN_LITERAL;
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        DictionaryFixture<TypeParam> fixture;
        std::vector<BatchEntry> entries = makeBatch(literals);
        std::vector<BatchFailure> failures;
        const bool isEnded = !round.attempt([&] { fixture.m_datatype.resolveResources(nullptr, entries, failures); });
        EXPECT_EQ(round.hasFailed(), isEnded) << "an exception was made";
        EXPECT_TRUE(isEnded || failures.size() == 6);
        for (size_t number = 0; number < failures.size(); ++number)
            EXPECT_EQ(refused[number], failures[number].m_entryIndex) << "also when the batch was ended";
        expectSound(fixture);
        uint64_t numberOfResources = 0;
        for (const BatchEntry& entry : entries)
            if (entry.m_resourceID != 0 && entry.m_resourceID != STALE_RESOURCE_ID) {
                EXPECT_EQ(++numberOfResources, entry.m_resourceID);
                EXPECT_EQ(entry.m_lexicalForm, fixture.getLexicalForm(numberOfResources));
            }
        EXPECT_EQ(numberOfResources + 1, fixture.m_nextResourceID.load());
        if (!isEnded) {
            EXPECT_EQ(literals.size() - 6, numberOfResources);
        }

        failures.clear();
        fixture.m_datatype.resolveResources(nullptr, entries, failures);
        EXPECT_EQ(6u, failures.size());
        EXPECT_EQ(literals.size() - 5, fixture.m_nextResourceID.load());
        expectSound(fixture);
    });
    EXPECT_LT(4u, counts.m_throws) << "the failures never lacked memory";

    DictionaryFixture<TypeParam> fixture;
    resolveAtOnce(fixture, literals);
    const FailureCounts countsOfLookups = failEach(ofAllocations(), [&](FailureRound& round) {
        std::vector<BatchEntry> entries = makeBatch(literals);
        std::vector<BatchFailure> failures;
        if (round.attempt([&] { fixture.m_datatype.tryResolveResources(EVERYTHING, entries, failures); })) {
            EXPECT_EQ(6u, failures.size());
        }
        expectSound(fixture);
    });
    EXPECT_LT(4u, countsOfLookups.m_throws);
}
