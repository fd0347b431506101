#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/Engine/core/platform/collections/RandomNumbers.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

using namespace melnar;

namespace {

using TablePeer = ParallelHashTableTestPeer;

constexpr size_t BUCKETS = 1024;
constexpr size_t GROUP = PreparedEntries::CAPACITY;

/// Batch operations with long probes that pass many entries.
template<class T>
class StringDatatypeBatchProbeTest : public testing::Test {
protected:
    /// Expects that a batch finds what single lookups find.
    void expectLookUps(const OwnedLiterals& literals, const DictionaryCommitPoint commitPoint) {
        EXPECT_EQ(lookUpOneByOne(m_fixture, literals, commitPoint), lookUpAtOnce(m_fixture, literals, commitPoint))
            << "as of " << commitPoint.m_resourceID;
    }

    void deleteResource(const uint64_t resourceID) {
        m_fixture.m_datatype.deleteUncommittedResourceID(resourceID, m_fixture.getDatatypeID(resourceID));
    }

    DictionaryFixture<T> m_fixture;
};

OwnedLiterals toLiterals(const std::vector<std::string>& lexicalForms, const uint8_t datatypeID = D_XSD_STRING) {
    OwnedLiterals literals;
    for (const std::string& lexicalForm : lexicalForms)
        literals.push_back({lexicalForm, datatypeID});
    return literals;
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeBatchProbeTest, DatatypeWidths, DatatypeWidthNames);

// The probes of a full group of absent strings compare each string of the chain.
TYPED_TEST(StringDatatypeBatchProbeTest, chainsOfAnyLengthArePassed) {
    const std::vector<std::string> forms = getFormsWithHome(BUCKETS - 10, BUCKETS, 40 + GROUP);
    for (size_t length = 0; length <= 40; ++length) {
        SCOPED_TRACE(length);
        const OwnedLiterals missing = toLiterals(
            {forms.begin() + static_cast<ptrdiff_t>(length), forms.begin() + static_cast<ptrdiff_t>(length + GROUP)});
        EXPECT_EQ((BatchAnswers{std::vector<uint64_t>(GROUP, 0)}), lookUpAtOnce(this->m_fixture, missing, EVERYTHING));
        OwnedLiterals mixed;
        for (size_t index = 0; index < GROUP; ++index)
            mixed.push_back({index % 2 == 0 ? forms[index / 2 % (length + 1)] : forms[length + index], D_XSD_STRING});
        this->expectLookUps(mixed, EVERYTHING);
        this->expectLookUps(toLiterals(forms), {length / 2});
        this->m_fixture.resolve(forms[length]);
    }
}

TYPED_TEST(StringDatatypeBatchProbeTest, aBatchOfOneHomeIsCreatedAndFound) {
    constexpr size_t COUNT = 300;
    const OwnedLiterals literals = toLiterals(getFormsWithHome(BUCKETS - 100, BUCKETS, COUNT));
    BatchAnswers expected{std::vector<uint64_t>(COUNT)};
    for (size_t index = 0; index < COUNT; ++index)
        expected.m_resourceIDs[index] = index + 1;
    EXPECT_EQ(expected, resolveAtOnce(this->m_fixture, literals));
    const auto& buckets = TablePeer::getBuckets(getTable(this->m_fixture));
    for (size_t index = 0; index < COUNT; ++index)
        ASSERT_EQ(index + 1, buckets[(BUCKETS - 100 + index) % BUCKETS].load()) << "each behind the one before it";
    EXPECT_EQ(expected, resolveAtOnce(this->m_fixture, literals));
    EXPECT_EQ(expected, lookUpAtOnce(this->m_fixture, literals, EVERYTHING));
    OwnedLiterals shuffled = literals;
    RandomNumbers random(1);
    random.shuffle(shuffled);
    this->expectLookUps(shuffled, EVERYTHING);
    EXPECT_EQ(COUNT + 1, this->m_fixture.m_nextResourceID.load());
    expectSoundAtRest(getTable(this->m_fixture));
}

TYPED_TEST(StringDatatypeBatchProbeTest, bothTablesHaveChainsOfTheirOwn) {
    const std::vector<std::string> forms = getFormsWithHome(BUCKETS - 3, BUCKETS, 2 * GROUP, "@en");
    OwnedLiterals literals;
    for (size_t index = 0; index < forms.size(); ++index) {
        literals.push_back({forms[index], D_XSD_STRING});
        literals.push_back({forms[forms.size() - 1 - index], D_RDF_PLAIN_LITERAL});
    }
    BatchAnswers expected{std::vector<uint64_t>(literals.size())};
    for (size_t index = 0; index < literals.size(); ++index)
        expected.m_resourceIDs[index] = index + 1;
    EXPECT_EQ(expected, resolveAtOnce(this->m_fixture, literals));
    EXPECT_EQ(expected, lookUpAtOnce(this->m_fixture, literals, EVERYTHING));
    EXPECT_EQ(expected, resolveOneByOne(this->m_fixture, literals));
    expectSound(this->m_fixture);
}

TYPED_TEST(StringDatatypeBatchProbeTest, tombstonesArePassedAndNotUsedAgain) {
    constexpr size_t COUNT = 90;
    const OwnedLiterals literals = toLiterals(getFormsWithHome(BUCKETS - 20, BUCKETS, COUNT));
    resolveAtOnce(this->m_fixture, literals);
    for (uint64_t resourceID = 1; resourceID <= COUNT; ++resourceID)
        if (resourceID % 3 != 0)
            this->deleteResource(resourceID);
    this->expectLookUps(literals, EVERYTHING);
    this->expectLookUps(literals, {COUNT / 2});
    const BatchAnswers answers = resolveAtOnce(this->m_fixture, literals);
    uint64_t next = COUNT + 1;
    for (size_t index = 0; index < COUNT; ++index)
        EXPECT_EQ((index + 1) % 3 == 0 ? index + 1 : next++, answers.m_resourceIDs[index]);
    const auto& table = getTable(this->m_fixture);
    EXPECT_EQ(COUNT * 2 / 3, table.getNumberOfDeletedBuckets());
    for (size_t index = 0; index < COUNT; ++index)
        if ((index + 1) % 3 != 0) {
            EXPECT_EQ(table.getPolicy().BUCKET_DELETED + 0,
                      TablePeer::getBuckets(table)[(BUCKETS - 20 + index) % BUCKETS].load());
        }
    this->expectLookUps(literals, EVERYTHING);
    this->expectLookUps(literals, {COUNT + 10});
    expectSoundAtRest(getTable(this->m_fixture));
}

TYPED_TEST(StringDatatypeBatchProbeTest, everyCommitPointCoversTheIDsBelowIt) {
    const std::vector<std::string> forms = getFormsWithHome(BUCKETS - 2, BUCKETS, 30);
    RandomNumbers random(2);
    std::vector<uint64_t> resourceIDs;
    for (uint64_t index = 0; index < forms.size(); ++index)
        resourceIDs.push_back(10 + 7 * index);
    random.shuffle(resourceIDs);
    for (size_t index = 0; index < forms.size(); ++index)
        this->m_fixture.restore(resourceIDs[index], forms[index]);
    const OwnedLiterals literals = toLiterals(forms);
    for (uint64_t commitPoint = 0; commitPoint < 10 + 7 * (forms.size() + 1); ++commitPoint) {
        const BatchAnswers answers = lookUpAtOnce(this->m_fixture, literals, DictionaryCommitPoint{commitPoint});
        for (size_t index = 0; index < forms.size(); ++index)
            ASSERT_EQ(resourceIDs[index] < commitPoint ? resourceIDs[index] : 0, answers.m_resourceIDs[index]);
    }
    EXPECT_EQ((BatchAnswers{resourceIDs}), lookUpAtOnce(this->m_fixture, literals, EVERYTHING));
    EXPECT_EQ((BatchAnswers{resourceIDs}), resolveAtOnce(this->m_fixture, literals)) << "resolving sees everything";
}

// The chain contains the same string twice, withdrawn and again; and many strings have the same length.
TYPED_TEST(StringDatatypeBatchProbeTest, randomChangesAtFewHomesKeepBatchesAndSinglesAlike) {
    OwnedLiterals pool;
    for (const size_t home : {size_t(0), size_t(1), BUCKETS - 2, BUCKETS - 1})
        for (const std::string& form : getFormsWithHome(home, BUCKETS, 40, "@en"))
            for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
                pool.push_back({form, datatypeID});
    RandomNumbers random(3);
    DictionaryFixture<TypeParam> single;
    for (size_t round = 0; round < 60; ++round) {
        SCOPED_TRACE(round);
        OwnedLiterals literals;
        for (size_t count = random.below(3 * GROUP); count != 0; --count)
            literals.push_back(pool[random.below(static_cast<uint32_t>(pool.size()))]);
        EXPECT_EQ(resolveOneByOne(single, literals), resolveAtOnce(this->m_fixture, literals));
        const auto next = static_cast<uint32_t>(single.m_nextResourceID.load());
        for (size_t count = random.below(20); count != 0; --count) {
            const uint64_t resourceID = 1 + random.below(next - 1);
            const uint8_t datatypeID = single.getDatatypeID(resourceID);
            single.m_datatype.deleteUncommittedResourceID(resourceID, datatypeID);
            this->deleteResource(resourceID);
        }
        for (const uint64_t commitPoint : {uint64_t(random.below(next + 2)), uint64_t(next)})
            EXPECT_EQ(lookUpOneByOne(single, pool, DictionaryCommitPoint{commitPoint}),
                      lookUpAtOnce(this->m_fixture, pool, DictionaryCommitPoint{commitPoint}));
        ASSERT_FALSE(testing::Test::HasFailure());
    }
    EXPECT_LT(pool.size() + 100, single.m_nextResourceID.load()) << "hardly anything was deleted and resolved again";
    expectSound(this->m_fixture);
}
