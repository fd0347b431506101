#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/SlotLog.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

using namespace melnar;

// Which slots an operation holds, step by step in one thread.

namespace {

constexpr size_t SLOT = 77;
constexpr size_t GROUP = PreparedEntries::CAPACITY;

/// The order of entries and exits: (entry, datatype ID).
using Stays = std::vector<std::pair<bool, uint8_t>>;

template<class T>
class StringDatatypeSlotTest : public testing::Test {
protected:
    using Step = typename SlotLog<T>::Step;
    using Contents = typename SlotLog<T>::Contents;

    static Stays getStays(const std::vector<Step>& steps) {
        Stays stays;
        for (const Step& step : steps)
            stays.emplace_back(step.m_isEntry, step.m_datatypeID);
        return stays;
    }

    static Stays getOneStay(const uint8_t datatypeID) { return {{true, datatypeID}, {false, datatypeID}}; }

    /// Expects that an operation holds one slot at a time and none afterwards, and changes a table only while it holds
    /// the slot there; and that a batch holds a slot for one group of its entries.
    void expectOneSlotAtATime(const Contents& contentsBefore, const std::vector<Step>& steps) {
        ASSERT_EQ(0u, steps.size() % 2) << "a slot is still held";
        Contents contents = contentsBefore;
        for (size_t index = 0; index < steps.size(); index += 2) {
            const Step& entry = steps[index];
            const Step& exit = steps[index + 1];
            ASSERT_TRUE(entry.m_isEntry && !exit.m_isEntry && entry.m_datatypeID == exit.m_datatypeID)
                << "step " << index << ": one slot is left before the other one is taken";
            EXPECT_EQ(contents, entry.m_contents) << "something has changed while no slot was held";
            const size_t otherTable = entry.m_datatypeID == D_XSD_STRING ? 1 : 0;
            EXPECT_EQ(entry.m_contents.m_entries[otherTable], exit.m_contents.m_entries[otherTable]);
            EXPECT_EQ(entry.m_contents.m_buckets[otherTable], exit.m_contents.m_buckets[otherTable]);
            EXPECT_GE(GROUP, exit.m_nextResourceID - entry.m_nextResourceID) << "one group";
            contents = exit.m_contents;
        }
        EXPECT_EQ(contents, m_log->getContents());
    }

    size_t countEntries(const std::vector<Step>& steps, const uint8_t datatypeID) {
        size_t count = 0;
        for (const Step& step : steps)
            count += step.m_isEntry && step.m_datatypeID == datatypeID ? 1 : 0;
        return count;
    }

    /// Runs a batch, and expects the above and that it enters both tables at least once for each group.
    void expectGroupsOfABatch(const size_t numberOfEntries, const std::function<void()>& batch) {
        const Contents contentsBefore = m_log->getContents();
        m_log->takeSteps();
        batch();
        const std::vector<Step> steps = m_log->takeSteps();
        expectOneSlotAtATime(contentsBefore, steps);
        EXPECT_LE((numberOfEntries + GROUP - 1) / GROUP, countEntries(steps, D_XSD_STRING));
        EXPECT_LE((numberOfEntries + GROUP - 1) / GROUP, countEntries(steps, D_RDF_PLAIN_LITERAL));
    }

    void TearDown() override {
        m_log.reset();
        expectSound(m_fixture); // including that every slot is free
    }

    const ScopedThreadContextIndex m_index{SLOT};
    DictionaryFixture<T> m_fixture;
    std::unique_ptr<SlotLog<T>> m_log = std::make_unique<SlotLog<T>>(m_fixture);
};

/// Makes literals of both datatypes in turn.
OwnedLiterals makeMixture(const size_t count, const std::string& prefix) {
    OwnedLiterals literals;
    for (size_t index = 0; index < count; ++index)
        literals.push_back(
            {prefix + std::to_string(index) + "@en", index % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL});
    return literals;
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeSlotTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeSlotTest, aSingleOperationHoldsTheSlotOfItsTableOnce) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        const Stays oneStay = this->getOneStay(datatypeID);
        const uint64_t resourceID = this->m_fixture.resolve("new@en", datatypeID);
        EXPECT_EQ(oneStay, this->getStays(this->m_log->takeSteps()));
        this->m_fixture.resolve("new@en", datatypeID);
        EXPECT_EQ(oneStay, this->getStays(this->m_log->takeSteps())) << "a known string";
        EXPECT_EQ(resourceID, this->m_fixture.tryResolve("new@en", datatypeID));
        EXPECT_EQ(oneStay, this->getStays(this->m_log->takeSteps()));
        EXPECT_EQ(0u, this->m_fixture.tryResolve("unknown@en", datatypeID));
        EXPECT_EQ(oneStay, this->getStays(this->m_log->takeSteps()));
        this->m_fixture.restore(500 + datatypeID, "restored@en", datatypeID);
        EXPECT_EQ(oneStay, this->getStays(this->m_log->takeSteps()));
        this->m_fixture.m_datatype.deleteUncommittedResourceID(resourceID, datatypeID);
        EXPECT_EQ(oneStay, this->getStays(this->m_log->takeSteps()));
    }
}

TYPED_TEST(StringDatatypeSlotTest, anInsertionThatGrowsTheTableKeepsItsSlot) {
    resolveAtOnce(this->m_fixture, makeMixture(1400, ""));
    ASSERT_EQ(1024u, getTable(this->m_fixture).getNumberOfBuckets());
    this->m_log->takeSteps();
    this->m_fixture.resolve("one more");
    const auto steps = this->m_log->takeSteps();
    EXPECT_EQ(this->getOneStay(D_XSD_STRING), this->getStays(steps));
    EXPECT_EQ(1024u, steps[0].m_contents.m_buckets[0]);
    EXPECT_EQ(2048u, steps[1].m_contents.m_buckets[0]);
    EXPECT_EQ(701u, steps[1].m_contents.m_entries[0]);
}

TYPED_TEST(StringDatatypeSlotTest, readingAndStatisticsTakeNoSlot) {
    const uint64_t stringID = this->m_fixture.resolve("string");
    const uint64_t literalID = this->m_fixture.resolve("literal@en", D_RDF_PLAIN_LITERAL);
    this->m_log->takeSteps();
    std::string lexicalForm;
    ResourceValue value;
    this->m_fixture.m_datatype.getResource(stringID, D_XSD_STRING, lexicalForm);
    this->m_fixture.m_datatype.getResource(literalID, D_RDF_PLAIN_LITERAL, value);
    std::vector<BatchEntry> entries{{{}, stringID, D_XSD_STRING}, {{}, literalID, D_RDF_PLAIN_LITERAL}};
    this->m_fixture.m_datatype.getResources(entries);
    EXPECT_EQ("literal@en", entries[1].m_lexicalForm);
    EXPECT_NE(nullptr, this->m_fixture.m_datatype.getComponentInfo());
    ComponentInfo details("details");
    this->m_fixture.m_datatype.addDetailedComponentInfo(details);
    EXPECT_EQ(Stays(), this->getStays(this->m_log->takeSteps()));
}

TYPED_TEST(StringDatatypeSlotTest, aLiteralThatIsRefusedTakesNoSlot) {
    for (const char* const lexicalForm : {"no tag", "a@b-"}) {
        EXPECT_THROW(this->m_fixture.resolve(lexicalForm, D_RDF_PLAIN_LITERAL), MelnarException);
        EXPECT_THROW(this->m_fixture.tryResolve(lexicalForm, D_RDF_PLAIN_LITERAL), MelnarException);
    }
    const OwnedLiterals literals(GROUP + 1, {"no tag", D_RDF_PLAIN_LITERAL});
    EXPECT_EQ(literals.size(), lookUpAtOnce(this->m_fixture, literals, EVERYTHING).m_failures.size());
    EXPECT_EQ(Stays(), this->getStays(this->m_log->takeSteps()));
}

TYPED_TEST(StringDatatypeSlotTest, aSingleOperationThatFailsLeavesItsSlot) {
    resolveAtOnce(this->m_fixture, makeMixture(1400, ""));
    const MemoryShortage shortage(this->m_fixture.m_memoryManager, 0);
    this->m_log->takeSteps();
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        EXPECT_THROW(this->m_fixture.resolve("one more@en", datatypeID), MemoryExhaustedException);
        EXPECT_EQ(this->getOneStay(datatypeID), this->getStays(this->m_log->takeSteps())) << "the table cannot grow";
    }
}

TYPED_TEST(StringDatatypeSlotTest, aStringWithoutRoomLeavesItsSlot) {
    this->m_fixture.resolve("text");
    const MemoryShortage shortage(this->m_fixture.m_memoryManager, 0);
    this->m_log->takeSteps();
    EXPECT_THROW(this->m_fixture.resolve(std::string(size_t(1) << 20, 'x')), MemoryExhaustedException);
    EXPECT_EQ(this->getOneStay(D_XSD_STRING), this->getStays(this->m_log->takeSteps()));
}

TYPED_TEST(StringDatatypeSlotTest, aBatchLeavesOneSlotBeforeItTakesTheOther) {
    const OwnedLiterals literals = makeMixture(3 * GROUP + 10, "");
    this->expectGroupsOfABatch(literals.size(), [&] { lookUpAtOnce(this->m_fixture, literals, EVERYTHING); });
    this->expectGroupsOfABatch(literals.size(), [&] { resolveAtOnce(this->m_fixture, literals); });
    this->expectGroupsOfABatch(literals.size(), [&] { resolveAtOnce(this->m_fixture, literals); });
    this->expectGroupsOfABatch(literals.size(), [&] { lookUpAtOnce(this->m_fixture, literals, EVERYTHING); });
    EXPECT_EQ(literals.size() + 1, this->m_fixture.m_nextResourceID.load());
    OwnedLiterals known = literals;
    const OwnedLiterals others = makeMixture(8 * GROUP, "other ");
    known.insert(known.end(), others.begin(), others.end());
    this->expectGroupsOfABatch(known.size(), [&] { resolveAtOnce(this->m_fixture, known); });
    EXPECT_LT(1024u, getTable(this->m_fixture).getNumberOfBuckets()) << "no batch has grown a table";
}

TYPED_TEST(StringDatatypeSlotTest, theHalvesOfABatchHoldNoSlotBetweenThem) {
    const OwnedLiterals literals = makeMixture(GROUP, "");
    std::vector<BatchEntry> entries = makeBatch(literals);
    std::vector<uint64_t> hashes(entries.size());
    std::vector<BatchFailure> failures;
    this->expectGroupsOfABatch(entries.size(),
                               [&] { this->m_fixture.m_datatype.findResources(entries, hashes.data()); });
    this->expectGroupsOfABatch(
        entries.size(), [&] { this->m_fixture.m_datatype.createResources(nullptr, entries, hashes.data(), failures); });
    EXPECT_EQ(entries.size() + 1, this->m_fixture.m_nextResourceID.load());
}

/// There are 400 KiB of text; a group may have 64.
TYPED_TEST(StringDatatypeSlotTest, longTextsOfASecondHalfAreCreatedInSeveralStays) {
    OwnedLiterals literals;
    for (size_t number = 0; number < 100; ++number)
        literals.push_back({std::to_string(number) + std::string(4096, 'x'), D_XSD_STRING});
    std::vector<BatchEntry> entries = makeBatch(literals);
    std::vector<uint64_t> hashes(entries.size());
    std::vector<BatchFailure> failures;
    this->m_fixture.m_datatype.findResources(entries, hashes.data());
    const auto contentsBefore = this->m_log->getContents();
    this->m_log->takeSteps();
    this->m_fixture.m_datatype.createResources(nullptr, entries, hashes.data(), failures);
    const auto steps = this->m_log->takeSteps();
    this->expectOneSlotAtATime(contentsBefore, steps);
    EXPECT_EQ(7u, this->countEntries(steps, D_XSD_STRING)) << "15 texts a stay";
    EXPECT_EQ(entries.size() + 1, this->m_fixture.m_nextResourceID.load());
}

TYPED_TEST(StringDatatypeSlotTest, aBatchOfOneDatatypeEntersOneTable) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        OwnedLiterals literals = makeMixture(2 * GROUP, "");
        for (OwnedLiteral& literal : literals)
            literal.m_datatypeID = datatypeID;
        const auto contentsBefore = this->m_log->getContents();
        resolveAtOnce(this->m_fixture, literals);
        lookUpAtOnce(this->m_fixture, literals, EVERYTHING);
        const auto steps = this->m_log->takeSteps();
        this->expectOneSlotAtATime(contentsBefore, steps);
        EXPECT_EQ(steps.size(), 2 * this->countEntries(steps, datatypeID)) << "the other table is not entered";
        EXPECT_LE(4u, this->countEntries(steps, datatypeID));
    }
}

TYPED_TEST(StringDatatypeSlotTest, aBatchThatFailsInPartsLeavesItsSlots) {
    OwnedLiterals literals = makeMixture(12 * GROUP, "of so much text that the memory ends soon, number ");
    for (size_t index = 0; index < literals.size(); index += 7)
        literals[index] = {"no tag", D_RDF_PLAIN_LITERAL};
    const MemoryShortage shortage(this->m_fixture.m_memoryManager, 16 * getVMPageSize());
    this->expectGroupsOfABatch(literals.size(), [&] {
        EXPECT_LT(literals.size() / 7 + 1, resolveAtOnce(this->m_fixture, literals).m_failures.size())
            << "the memory was enough for everything";
    });
    EXPECT_LT(2 * GROUP, this->m_fixture.m_nextResourceID.load()) << "the memory was enough for nothing";
}

TYPED_TEST(StringDatatypeSlotTest, aBatchThatThrowsLeavesItsSlots) {
    resolveAtOnce(this->m_fixture, makeMixture(24000, "")); // so the tables need not grow
    this->m_log->takeSteps();
    size_t rounds = 0;
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        OwnedLiterals literals =
            makeMixture(2 * GROUP, "a string that no small buffer holds " + std::to_string(++rounds));
        for (const size_t index : {size_t(3), GROUP - 1, GROUP + 4})
            literals[index] = {"no tag", D_RDF_PLAIN_LITERAL};
        std::vector<BatchEntry> entries = makeBatch(literals);
        std::vector<BatchFailure> failures;
        const auto contentsBefore = this->m_log->getContents();
        round.attempt([&] { this->m_fixture.m_datatype.resolveResources(nullptr, entries, failures); });
        const auto steps = this->m_log->takeSteps();
        EXPECT_FALSE(steps.empty());
        this->expectOneSlotAtATime(contentsBefore, steps);
    });
    EXPECT_LT(4u, counts.m_throws);
}

/// A compaction keeps four strings and three plain literals out of many: each table is cleared, filled and shrunk
/// within one stay.
TYPED_TEST(StringDatatypeSlotTest, finishingACompactionHoldsEachSlotFromClearingToShrinking) {
    resolveAtOnce(this->m_fixture, makeMixture(6000, ""));
    DictionaryCompactionState state(this->m_fixture.m_memoryManager);
    state.m_entries.initialize(7);
    state.m_entries.ensureEndAtLeast(7);
    uint64_t newResourceID = 0;
    for (const uint64_t resourceID : {1U, 3U, 4001U, 5999U, 2U, 400U, 6000U}) // strings first
        this->m_fixture.m_datatype.prepareCompact(resourceID, ++newResourceID, state);
    const auto contentsBefore = this->m_log->getContents();
    ASSERT_EQ((std::array<size_t, 2>{3000, 3000}), contentsBefore.m_entries);
    ASSERT_EQ((std::array<size_t, 2>{8192, 8192}), contentsBefore.m_buckets);
    this->m_log->takeSteps();

    this->m_fixture.m_datatype.finishCompact(state);
    const auto steps = this->m_log->takeSteps();
    ASSERT_EQ(
        (Stays{{true, D_XSD_STRING}, {false, D_XSD_STRING}, {true, D_RDF_PLAIN_LITERAL}, {false, D_RDF_PLAIN_LITERAL}}),
        this->getStays(steps));
    EXPECT_EQ(contentsBefore, steps[0].m_contents) << "nothing is cleared yet";
    EXPECT_EQ((std::array<size_t, 2>{4, 3000}), steps[1].m_contents.m_entries);
    EXPECT_EQ((std::array<size_t, 2>{1024, 8192}), steps[1].m_contents.m_buckets);
    EXPECT_EQ(steps[1].m_contents, steps[2].m_contents);
    EXPECT_EQ((std::array<size_t, 2>{4, 3}), steps[3].m_contents.m_entries);
    EXPECT_EQ((std::array<size_t, 2>{1024, 1024}), steps[3].m_contents.m_buckets);
    EXPECT_EQ(steps[3].m_contents, this->m_log->getContents()) << "nothing happens after the slot is left";
    EXPECT_EQ(4u, this->m_fixture.tryResolve("5998@en"));
    EXPECT_EQ(5u, this->m_fixture.tryResolve("1@en", D_RDF_PLAIN_LITERAL));
}
