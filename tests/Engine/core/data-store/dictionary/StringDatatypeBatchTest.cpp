#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/RandomNumbers.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <numeric>
#include <set>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

using TablePeer = ParallelHashTableTestPeer;

constexpr size_t GROUP = PreparedEntries::CAPACITY;
constexpr size_t GROUP_BYTES = PreparedEntries::MAXIMUM_NUMBER_OF_BYTES;

template<class T>
class StringDatatypeBatchTest : public testing::Test {};

/// Returns every size up to one that fills some groups, and sizes around the limits of groups and parts.
std::vector<size_t> getBatchSizes() {
    std::set<size_t> sizes;
    for (size_t size = 0; size <= 200; ++size)
        sizes.insert(size);
    for (const size_t border : {GROUP, 2 * GROUP, 3 * GROUP, 4 * GROUP})
        sizes.insert({border - 1, border, border + 1});
    return {sizes.begin(), sizes.end()};
}

/// Makes a literal of any kind, including refused ones, as a function of its number.
OwnedLiteral makeLiteral(const uint32_t number) {
    const std::string text = std::to_string(number) + std::string(number % 11 == 0 ? number % 300 : number % 5, 'x');
    if (number % 50 == 7)
        return {text + "@en-", D_RDF_PLAIN_LITERAL}; // refused
    switch (number % 9) {
    case 0:
        return {text + "@en", D_XSD_STRING};
    case 1:
        return {text + "@", D_RDF_PLAIN_LITERAL};
    case 2:
        return {text + "@en-GB", 42};
    case 3:
    case 4:
    case 5:
        return {text + "@de", D_RDF_PLAIN_LITERAL};
    default:
        return {text, D_XSD_STRING};
    }
}

OwnedLiterals makeStrings(const size_t count, const std::string& prefix, const uint8_t datatypeID = D_XSD_STRING) {
    OwnedLiterals literals;
    for (size_t number = 0; number < count; ++number)
        literals.push_back({prefix + std::to_string(number) + "@en", datatypeID});
    return literals;
}

/// Two datatypes: one processes literals one after the other, the other one in batches. Their results must be
/// identical.
template<class T>
class Twins {
public:
    void resolve(const OwnedLiterals& literals) {
        EXPECT_EQ(resolveOneByOne(m_single, literals), resolveAtOnce(m_batch, literals));
        lookUp(literals, EVERYTHING);
    }

    /// Expects that both make the same file from the literals, which are only resolved.
    void expectSameBytes(const OwnedLiterals& literals) {
        resolveOneByOne(m_single, literals);
        resolveAtOnce(m_batch, literals);
        check();
        EXPECT_TRUE(save(m_single.m_datatype) == save(m_batch.m_datatype));
    }

    void lookUp(const OwnedLiterals& literals, const DictionaryCommitPoint commitPoint) {
        EXPECT_EQ(lookUpOneByOne(m_single, literals, commitPoint), lookUpAtOnce(m_batch, literals, commitPoint));
    }

    void deleteResource(const uint64_t resourceID) {
        const uint8_t datatypeID = m_single.getDatatypeID(resourceID);
        m_single.m_datatype.deleteUncommittedResourceID(resourceID, datatypeID);
        m_batch.m_datatype.deleteUncommittedResourceID(resourceID, datatypeID);
    }

    /// Expects that both have the same resources, at the same offsets of the pool.
    void check() {
        ASSERT_EQ(m_single.m_nextResourceID.load(), m_batch.m_nextResourceID.load());
        ASSERT_EQ(m_single.m_dataPool.getEnd(), m_batch.m_dataPool.getEnd());
        for (uint64_t resourceID = 1; resourceID < m_single.m_nextResourceID.load(); ++resourceID) {
            ASSERT_EQ(m_single.m_resourceDataOffsets[resourceID], m_batch.m_resourceDataOffsets[resourceID]);
            ASSERT_EQ(m_single.getDatatypeID(resourceID), m_batch.getDatatypeID(resourceID));
            ASSERT_EQ(m_single.getLexicalForm(resourceID), m_batch.getLexicalForm(resourceID));
        }
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
            EXPECT_EQ(getTable(m_single, datatypeID).getNumberOfNonEmptyBuckets(),
                      getTable(m_batch, datatypeID).getNumberOfNonEmptyBuckets());
        expectSound(m_batch);
    }

    DictionaryFixture<T> m_single;
    DictionaryFixture<T> m_batch;
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeBatchTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeBatchTest, anyNumberOfLiteralsIsAnsweredAsOneAfterTheOther) {
    Twins<TypeParam> twins;
    RandomNumbers random(1);
    uint32_t newest = 50;
    for (const size_t size : getBatchSizes()) {
        SCOPED_TRACE(testing::Message() << "a batch of " << size);
        OwnedLiterals literals; // old ones, new ones, and some of them twice
        for (size_t index = 0; index < size; ++index)
            literals.push_back(makeLiteral(random.below(newest)));
        newest += static_cast<uint32_t>(size / 2);
        twins.lookUp(literals, EVERYTHING);
        twins.resolve(literals);
        twins.lookUp(literals, {1 + random.below(newest)});
        ASSERT_FALSE(testing::Test::HasFailure());
    }
    twins.check();
    EXPECT_LT(2 * GROUP, twins.m_batch.m_nextResourceID.load());
    EXPECT_LT(1024u, getTable(twins.m_batch, D_XSD_STRING).getNumberOfBuckets());
    EXPECT_LT(1024u, getTable(twins.m_batch, D_RDF_PLAIN_LITERAL).getNumberOfBuckets());
}

TYPED_TEST(StringDatatypeBatchTest, anEmptyBatchDoesNothing) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(BatchAnswers(), resolveAtOnce(fixture, {}));
    EXPECT_EQ(BatchAnswers(), lookUpAtOnce(fixture, {}, EVERYTHING));
    fixture.m_datatype.getResources({});
    EXPECT_EQ(0u, TablePeer::getNumberOfUsedBuckets(getTable(fixture)).load());
    expectSound(fixture);
}

TYPED_TEST(StringDatatypeBatchTest, newLiteralsGetTheirIDsInTheOrderOfTheEntries) {
    const std::vector<std::function<bool(size_t)>> patterns{
        [](size_t) { return true; },
        [](size_t) { return false; },
        [](const size_t index) { return index % 2 == 0; },
        [](const size_t index) { return index % 3 == 0; },
        [](const size_t index) { return index / (GROUP / 2) % 2 == 0; },
        [](const size_t index) { return index / GROUP % 2 == 0; },
        [](const size_t index) { return index / (GROUP + 1) % 2 == 0; },
        [](const size_t index) { return index / GROUP % 2 == 1; },
        [](const size_t index) { return index % GROUP == 0; },
        [](const size_t index) { return index % GROUP != GROUP - 1; },
    };
    for (size_t pattern = 0; pattern < patterns.size(); ++pattern) {
        SCOPED_TRACE(pattern);
        DictionaryFixture<TypeParam> fixture;
        OwnedLiterals literals;
        for (size_t index = 0; index < 2 * GROUP + 2; ++index)
            literals.push_back({std::to_string(literals.size()) + "@en",
                                patterns[pattern](index) ? D_XSD_STRING : D_RDF_PLAIN_LITERAL});
        BatchAnswers expected{std::vector<uint64_t>(literals.size())};
        std::iota(expected.m_resourceIDs.begin(), expected.m_resourceIDs.end(), 1);
        EXPECT_EQ(expected, resolveAtOnce(fixture, literals));
        EXPECT_EQ(expected, resolveAtOnce(fixture, literals));
        EXPECT_EQ(expected, lookUpAtOnce(fixture, literals, EVERYTHING));
        for (uint64_t resourceID = 1; resourceID <= literals.size(); ++resourceID) {
            ASSERT_EQ(literals[resourceID - 1].m_lexicalForm, fixture.getLexicalForm(resourceID));
            ASSERT_EQ(literals[resourceID - 1].m_datatypeID, fixture.getDatatypeID(resourceID));
        }
        expectSound(fixture);
    }
}

TYPED_TEST(StringDatatypeBatchTest, equalLiteralsOfABatchGetOneIDAtAnyDistance) {
    for (const size_t distance : {size_t(1), size_t(2), GROUP - 1, GROUP, GROUP + 1, 2 * GROUP, 4 * GROUP}) {
        SCOPED_TRACE(distance);
        Twins<TypeParam> twins;
        OwnedLiterals literals = makeStrings(5 * GROUP, "");
        for (size_t index = 0; index + distance < literals.size(); ++index)
            if (index % 2 == 0)
                literals[index + distance] = literals[index];
        twins.resolve(literals);
        twins.check();
        EXPECT_GT(literals.size() + 1, twins.m_batch.m_nextResourceID.load());
    }
}

TYPED_TEST(StringDatatypeBatchTest, oneLiteralOverAndOverHasOneID) {
    for (const char* const lexicalForm : {"", "a@en", "a longer string than fits into a word or two"})
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
            if (datatypeID == D_RDF_PLAIN_LITERAL && std::string_view(lexicalForm) != "a@en")
                continue;
            DictionaryFixture<TypeParam> fixture;
            const OwnedLiterals literals(2 * GROUP + 1, {lexicalForm, datatypeID});
            const BatchAnswers expected{std::vector<uint64_t>(literals.size(), 1)};
            EXPECT_EQ(expected, resolveAtOnce(fixture, literals));
            EXPECT_EQ(expected, lookUpAtOnce(fixture, literals, EVERYTHING));
            EXPECT_EQ(2u, fixture.m_nextResourceID.load());
            expectSound(fixture);
        }
}

TYPED_TEST(StringDatatypeBatchTest, anEmptyFormMayPointNowhere) {
    DictionaryFixture<TypeParam> fixture;
    std::vector<BatchEntry> entries{{{}, STALE_RESOURCE_ID, D_XSD_STRING},
                                    {{}, STALE_RESOURCE_ID, D_RDF_PLAIN_LITERAL},
                                    {"@", STALE_RESOURCE_ID, D_RDF_PLAIN_LITERAL},
                                    {{}, STALE_RESOURCE_ID, D_XSD_STRING}};
    std::vector<BatchFailure> failures;
    fixture.m_datatype.tryResolveResources(EVERYTHING, entries, failures);
    for (const BatchEntry& entry : entries)
        EXPECT_EQ(0u, entry.m_resourceID);
    ASSERT_EQ(1u, failures.size());
    EXPECT_EQ(1u, failures[0].m_entryIndex) << "without an '@'";
    fixture.m_datatype.resolveResources(nullptr, entries, failures);
    EXPECT_EQ(1u, entries[0].m_resourceID);
    EXPECT_EQ(0u, entries[1].m_resourceID);
    EXPECT_EQ(1u, entries[2].m_resourceID);
    EXPECT_EQ(1u, entries[3].m_resourceID);
    ASSERT_EQ(2u, failures.size()) << "appended";
    EXPECT_EQ(1u, failures[1].m_entryIndex);
}

TYPED_TEST(StringDatatypeBatchTest, theQuestionIsNotChanged) {
    DictionaryFixture<TypeParam> fixture;
    const OwnedLiterals literals{{"a@", D_RDF_PLAIN_LITERAL}, {"no tag", 42}, {"a@en", 42}, {"a", D_XSD_STRING}};
    std::vector<BatchEntry> entries = makeBatch(literals);
    std::vector<BatchFailure> failures;
    fixture.m_datatype.resolveResources(nullptr, entries, failures);
    fixture.m_datatype.tryResolveResources(EVERYTHING, entries, failures);
    for (size_t index = 0; index < literals.size(); ++index) {
        EXPECT_EQ(literals[index].m_datatypeID, entries[index].m_datatypeID);
        EXPECT_EQ(literals[index].m_lexicalForm.data(), entries[index].m_lexicalForm.data());
        EXPECT_EQ(literals[index].m_lexicalForm.size(), entries[index].m_lexicalForm.size());
    }
}

TYPED_TEST(StringDatatypeBatchTest, emptyTagsMakeStringsOfPlainLiterals) {
    DictionaryFixture<TypeParam> fixture;
    const OwnedLiterals literals{{"abc", D_XSD_STRING}, {"abc@", D_RDF_PLAIN_LITERAL}, {"def@", D_RDF_PLAIN_LITERAL},
                                 {"def", D_XSD_STRING}, {"@", D_RDF_PLAIN_LITERAL},    {"", D_XSD_STRING},
                                 {"a@en@", 42},         {"a@en", D_XSD_STRING},        {"a@en", D_RDF_PLAIN_LITERAL},
                                 {"abc@", D_XSD_STRING}};
    const BatchAnswers expected{{1, 1, 2, 2, 3, 3, 4, 4, 5, 6}};
    EXPECT_EQ(expected, resolveAtOnce(fixture, literals));
    EXPECT_EQ(expected, lookUpAtOnce(fixture, literals, EVERYTHING));
    for (const uint64_t resourceID : {1u, 2u, 3u, 4u, 6u})
        EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(resourceID)) << resourceID;
    EXPECT_EQ("a@en", fixture.getLexicalForm(4));
    EXPECT_EQ(1u, getTable(fixture, D_RDF_PLAIN_LITERAL).getNumberOfNonEmptyBuckets());
}

TYPED_TEST(StringDatatypeBatchTest, anyOtherDatatypeIDIsTreatedAsAPlainLiteralsButStored) {
    DictionaryFixture<TypeParam> fixture;
    const OwnedLiterals literals{{"a@en", 42}, {"a@en", D_RDF_PLAIN_LITERAL}, {"b@en", 0}, {"b@en", 255}, {"abc@", 42},
                                 {"c@en", 255}};
    EXPECT_EQ((BatchAnswers{{1, 1, 2, 2, 3, 4}}), resolveAtOnce(fixture, literals));
    EXPECT_EQ(42, fixture.getDatatypeID(1));
    EXPECT_EQ(0, fixture.getDatatypeID(2));
    EXPECT_EQ(D_XSD_STRING, fixture.getDatatypeID(3));
    EXPECT_EQ(255, fixture.getDatatypeID(4));
}

TYPED_TEST(StringDatatypeBatchTest, allLengthsAroundTheBordersOfHeadersAndGroupsAreKept) {
    OwnedLiterals literals;
    for (size_t length = 0; length <= 140; ++length)
        for (const char character : {'x', 'y', '\0'})
            literals.push_back({std::string(length, character), D_XSD_STRING});
    for (const size_t border : {size_t(0x7F), size_t(0x3FFF), GROUP_BYTES / 2, GROUP_BYTES, 2 * GROUP_BYTES})
        for (size_t length = border - 2; length <= border + 2; ++length) {
            const std::string text(length - 3, 'z');
            literals.push_back({"a" + text + "@e", D_XSD_STRING});
            literals.push_back({"b" + text + "@e", D_XSD_STRING});
            literals.push_back({"a" + text + "@f", D_XSD_STRING});
            literals.push_back({"a" + text + "@e", D_RDF_PLAIN_LITERAL});
            literals.push_back({"a" + text + "@f", D_RDF_PLAIN_LITERAL});
        }
    literals.push_back({std::string(1000000, '\xFF'), D_XSD_STRING});
    Twins<TypeParam> twins;
    twins.lookUp(literals, EVERYTHING);
    twins.resolve(literals);
    twins.resolve(literals);
    twins.check();
    RandomNumbers random(3);
    random.shuffle(literals);
    twins.resolve(literals);
    twins.check();
}

TYPED_TEST(StringDatatypeBatchTest, stringsThatDifferInOneByteOrInATrailingZeroAreDistinguished) {
    Twins<TypeParam> twins;
    OwnedLiterals literals;
    const std::string base(40, 'm');
    for (size_t position = 0; position < base.size(); ++position)
        for (const char character : {'\0', 'n', '\x80'}) {
            literals.push_back({base, D_XSD_STRING});
            literals.back().m_lexicalForm[position] = character;
            literals.push_back({base.substr(position), D_XSD_STRING});
            literals.push_back({base.substr(position) + std::string(1, '\0'), D_XSD_STRING});
        }
    for (unsigned byte = 0; byte < 256; ++byte)
        literals.push_back({std::string(1, static_cast<char>(byte)), D_XSD_STRING});
    OwnedLiterals half;
    for (size_t index = 0; index < literals.size(); index += 2)
        half.push_back(literals[index]);
    twins.resolve(half);
    twins.lookUp(literals, EVERYTHING);
    twins.resolve(literals);
    twins.check();
}

TYPED_TEST(StringDatatypeBatchTest, newStringsLeaveTheBytesThatSingleOnesLeave) {
    for (const size_t size :
         {size_t(1), size_t(99), size_t(100), size_t(101), size_t(700), size_t(701), GROUP + 1, 3 * GROUP + 7})
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
            SCOPED_TRACE(testing::Message() << size << " of datatype " << size_t(datatypeID));
            Twins<TypeParam> twins;
            const OwnedLiterals literals = makeStrings(size, "string ", datatypeID);
            twins.expectSameBytes(literals);
        }
}

TYPED_TEST(StringDatatypeBatchTest, newLiteralsOfBothDatatypesLeaveTheBytesThatSingleOnesLeave) {
    Twins<TypeParam> twins;
    RandomNumbers random(5);
    OwnedLiterals literals = makeStrings(4 * GROUP, "literal ");
    for (OwnedLiteral& literal : literals)
        literal.m_datatypeID = random.below(3) == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL;
    twins.expectSameBytes(literals);
}

TYPED_TEST(StringDatatypeBatchTest, chunksComeFromTheThreadsBlock) {
    DictionaryFixture<TypeParam> fixture;
    DictionaryThreadContext first(fixture.m_dataPool);
    DictionaryThreadContext second(fixture.m_dataPool);
    const OwnedLiterals literals{{"a"}, {"b"}, {"c"}, {"d"}};
    std::vector<BatchEntry> entries = makeBatch(literals);
    std::vector<BatchFailure> failures;
    const std::span<BatchEntry> batch(entries);
    fixture.m_datatype.resolveResources(&first, batch.first(2), failures);
    fixture.m_datatype.resolveResources(&second, batch.subspan(2, 1), failures);
    fixture.m_datatype.resolveResources(&first, batch.subspan(3, 1), failures);
    EXPECT_EQ(0u, fixture.m_resourceDataOffsets[1]);
    EXPECT_EQ(3u, fixture.m_resourceDataOffsets[2]);
    EXPECT_EQ(DataPool::BLOCK_SIZE, fixture.m_resourceDataOffsets[3]);
    EXPECT_EQ(6u, fixture.m_resourceDataOffsets[4]);
}

TYPED_TEST(StringDatatypeBatchTest, whoOnlyFindsReservesNoQuota) {
    DictionaryFixture<TypeParam> fixture;
    const OwnedLiterals literals = makeStrings(100, "");
    resolveAtOnce(fixture, literals);
    EXPECT_EQ(100u, TablePeer::getNumberOfUsedBuckets(getTable(fixture)).load());
    EXPECT_EQ(0u, getTable(fixture).getCurrentThreadContext().getInsertionQuota());
    resolveAtOnce(fixture, literals);
    EXPECT_EQ(100u, TablePeer::getNumberOfUsedBuckets(getTable(fixture)).load());
}

TYPED_TEST(StringDatatypeBatchTest, lookingUpCreatesNothing) {
    DictionaryFixture<TypeParam> fixture;
    const OwnedLiterals literals = makeStrings(3 * GROUP, "", D_RDF_PLAIN_LITERAL);
    EXPECT_EQ((BatchAnswers{std::vector<uint64_t>(literals.size(), 0)}), lookUpAtOnce(fixture, literals, EVERYTHING));
    EXPECT_EQ(1u, fixture.m_nextResourceID.load());
    EXPECT_EQ(0u, fixture.m_dataPool.getEnd());
    EXPECT_EQ(0u, TablePeer::getNumberOfUsedBuckets(getTable(fixture, D_RDF_PLAIN_LITERAL)).load());
}

// The table grows when the 701st string comes: at every position of a group in turn, with the others before and after
// it.
TYPED_TEST(StringDatatypeBatchTest, aTableMayGrowAtAnyPlaceOfAGroup) {
    for (size_t place = 0; place < GROUP; ++place) {
        SCOPED_TRACE(place);
        Twins<TypeParam> twins;
        const OwnedLiterals oldStrings = makeStrings(700 - place, "old ");
        for (const OwnedLiteral& literal : oldStrings) {
            twins.m_single.resolve(literal.m_lexicalForm);
            twins.m_batch.resolve(literal.m_lexicalForm);
        }
        ASSERT_EQ(1024u, getTable(twins.m_batch).getNumberOfBuckets());
        OwnedLiterals newStrings = makeStrings(GROUP - 2, "new ");
        newStrings.push_back(newStrings[0]); // exists already when its turn comes
        newStrings.push_back(oldStrings[0]);
        twins.resolve(newStrings);
        EXPECT_EQ(place < GROUP - 1 ? 2048u : 1024u, getTable(twins.m_batch).getNumberOfBuckets());
        twins.check();
        twins.lookUp(oldStrings, EVERYTHING);
        ASSERT_FALSE(testing::Test::HasFailure());
    }
}

TYPED_TEST(StringDatatypeBatchTest, tablesGrowManyTimesWithinABatch) {
    Twins<TypeParam> twins;
    OwnedLiterals literals;
    for (size_t number = 0; number < 10000; ++number)
        literals.push_back(
            {std::to_string(number * 2 / 3) + "@en", number % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL});
    twins.resolve(literals);
    EXPECT_LE(8192u, getTable(twins.m_batch, D_XSD_STRING).getNumberOfBuckets());
    EXPECT_LE(8192u, getTable(twins.m_batch, D_RDF_PLAIN_LITERAL).getNumberOfBuckets());
    twins.resolve(literals);
    twins.check();
}

// 600 of 700 entries are tombstones: more than half the table, which is therefore rebuilt with the same size.
TYPED_TEST(StringDatatypeBatchTest, aBatchMayRebuildATableWithoutItsTombstones) {
    for (const size_t place : {size_t(0), size_t(1), size_t(30), size_t(60)}) {
        SCOPED_TRACE(place);
        Twins<TypeParam> twins;
        const OwnedLiterals oldStrings = makeStrings(700 - place, "old ");
        twins.resolve(oldStrings);
        for (uint64_t resourceID = 1; resourceID <= 600; ++resourceID)
            twins.deleteResource(resourceID);
        auto& table = getTable(twins.m_batch);
        ASSERT_EQ(1024u, table.getNumberOfBuckets());
        ASSERT_EQ(600u, table.getNumberOfDeletedBuckets());
        twins.lookUp(oldStrings, EVERYTHING);
        OwnedLiterals literals = makeStrings(GROUP, "new ");
        literals.insert(literals.end(), oldStrings.begin(), oldStrings.begin() + 50);
        twins.resolve(literals);
        EXPECT_EQ(1024u, table.getNumberOfBuckets());
        EXPECT_EQ(0u, table.getNumberOfDeletedBuckets());
        twins.check();
        twins.lookUp(oldStrings, EVERYTHING);
    }
}

TYPED_TEST(StringDatatypeBatchTest, literalsThatWereDeletedAreCreatedAgain) {
    Twins<TypeParam> twins;
    const OwnedLiterals literals = makeStrings(2 * GROUP, "");
    for (int round = 0; round < 3; ++round) {
        const uint64_t begin = twins.m_batch.m_nextResourceID.load();
        twins.resolve(literals);
        const uint64_t end = twins.m_batch.m_nextResourceID.load();
        EXPECT_LT(begin, end);
        for (uint64_t resourceID = begin; resourceID < end; resourceID += 2)
            twins.deleteResource(resourceID);
        for (const uint64_t commitPoint : {uint64_t(0), begin, begin + GROUP, end, end + 1})
            twins.lookUp(literals, {commitPoint});
        ASSERT_FALSE(testing::Test::HasFailure());
    }
    twins.resolve(literals);
    twins.check();
}

TYPED_TEST(StringDatatypeBatchTest, resourcesAreReadFromThePoolWhateverTheirNumber) {
    DictionaryFixture<TypeParam> fixture;
    OwnedLiterals literals;
    for (size_t number = 0; number < 300; ++number)
        literals.push_back(
            {std::to_string(number) + std::string(number % 2 == 0 ? number * number : number, '\0'), D_XSD_STRING});
    literals.push_back({"", D_XSD_STRING});
    resolveAtOnce(fixture, literals);
    RandomNumbers random(7);
    for (size_t size = 0; size <= 200; ++size) {
        std::vector<BatchEntry> entries(size);
        for (BatchEntry& entry : entries)
            entry = {"left alone", 1 + random.below(static_cast<uint32_t>(literals.size())),
                     random.below(4) == 0 ? D_INVALID : D_XSD_STRING};
        const std::vector<BatchEntry> question = entries;
        fixture.m_datatype.getResources(entries);
        for (size_t index = 0; index < size; ++index) {
            ASSERT_EQ(question[index].m_resourceID, entries[index].m_resourceID);
            ASSERT_EQ(question[index].m_datatypeID, entries[index].m_datatypeID);
            const std::string_view form = entries[index].m_lexicalForm;
            if (question[index].m_datatypeID == D_INVALID)
                ASSERT_EQ("left alone", form);
            else {
                ASSERT_EQ(literals[entries[index].m_resourceID - 1].m_lexicalForm, form);
                ASSERT_EQ(0, form.data()[form.size()]);
                ASSERT_LT(reinterpret_cast<const uint8_t*>(form.data()) - fixture.m_dataPool.getData(),
                          static_cast<ptrdiff_t>(fixture.m_dataPool.getEnd()));
            }
        }
    }
}

TYPED_TEST(StringDatatypeBatchTest, anEntryWithoutResourceMayHaveAnyID) {
    DictionaryFixture<TypeParam> fixture;
    const uint64_t resourceID = fixture.resolve("text");
    std::vector<BatchEntry> entries{{{}, ~uint64_t(0), D_INVALID}, {{}, resourceID, D_XSD_STRING}, {{}, 0, D_INVALID}};
    fixture.m_datatype.getResources(entries);
    EXPECT_EQ("text", entries[1].m_lexicalForm);
    EXPECT_EQ("", entries[0].m_lexicalForm);
}
