#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace melnar;

// The slots of offsets and datatype bytes belong to a dictionary, and each to the resource of its ID. The string
// datatype reads and writes only those of its own resources. The host decides when it fills them.

namespace {

constexpr uint8_t OTHER_DATATYPE_ID = 99;

/// Makes strings of several lengths, of both datatypes, some of which are prefixes of others.
OwnedLiterals makeLiterals(const size_t count, const std::string& prefix) {
    OwnedLiterals literals;
    for (size_t number = 0; number < count; ++number) {
        const std::string text = prefix + std::to_string(number / 4) + std::string(number % 4 * 50, 'x');
        if (number % 3 == 0)
            literals.push_back({text + "@en", D_RDF_PLAIN_LITERAL});
        else
            literals.push_back({text, D_XSD_STRING});
    }
    return literals;
}

template<class Fixture>
void expectFound(Fixture& fixture, const OwnedLiterals& literals, const std::vector<uint64_t>& resourceIDs) {
    EXPECT_EQ(BatchAnswers{resourceIDs}, lookUpOneByOne(fixture, literals, EVERYTHING));
    EXPECT_EQ(BatchAnswers{resourceIDs}, lookUpAtOnce(fixture, literals, EVERYTHING));
    EXPECT_EQ(BatchAnswers{resourceIDs}, resolveAtOnce(fixture, literals));
    EXPECT_EQ(BatchAnswers{resourceIDs}, resolveOneByOne(fixture, literals));
    for (size_t index = 0; index < literals.size(); ++index)
        ASSERT_EQ(literals[index].m_lexicalForm, fixture.getLexicalForm(resourceIDs[index]));
    expectSound(fixture);
}

template<class Fixture>
void expectAbsent(Fixture& fixture, const OwnedLiterals& literals) {
    const BatchAnswers none{std::vector<uint64_t>(literals.size(), 0)};
    EXPECT_EQ(none, lookUpOneByOne(fixture, literals, EVERYTHING));
    EXPECT_EQ(none, lookUpAtOnce(fixture, literals, EVERYTHING));
}

/// The slots of a dictionary's resources.
struct Slots {
    explicit Slots(const DictionaryParts& parts) {
        for (uint64_t resourceID = 0; resourceID < parts.m_resourceDataOffsets.getEnd(); ++resourceID)
            m_offsets.push_back(parts.m_resourceDataOffsets[resourceID]);
        for (uint64_t resourceID = 0; resourceID < parts.m_resourceFlags.getEnd(); ++resourceID)
            m_flags.push_back(parts.m_resourceFlags[resourceID].load());
    }

    /// Returns the IDs whose slots differ.
    std::vector<uint64_t> getDifferences(const Slots& later) const {
        std::vector<uint64_t> resourceIDs;
        for (uint64_t resourceID = 0; resourceID < m_offsets.size(); ++resourceID)
            if (m_offsets[resourceID] != later.m_offsets[resourceID] ||
                m_flags[resourceID] != later.m_flags[resourceID])
                resourceIDs.push_back(resourceID);
        return resourceIDs;
    }

    std::vector<uint64_t> m_offsets;
    std::vector<uint8_t> m_flags;
};

/// Makes a number of slots accessible and fills them with a pattern that no resource has.
void fillSlots(DictionaryParts& parts, const uint64_t end) {
    parts.m_resourceDataOffsets.ensureEndAtLeast(end);
    parts.m_resourceFlags.ensureEndAtLeast(end);
    for (uint64_t resourceID = 0; resourceID < parts.m_resourceDataOffsets.getEnd(); ++resourceID)
        parts.m_resourceDataOffsets[resourceID] = ~resourceID;
    for (uint64_t resourceID = 0; resourceID < parts.m_resourceFlags.getEnd(); ++resourceID)
        parts.m_resourceFlags[resourceID] = OTHER_DATATYPE_ID;
}

/// Returns the worst old value of a slot: an offset within the chunk of the previous ID.
uint64_t getLeftover(const DictionaryParts& parts, const uint64_t resourceID) {
    return parts.m_resourceDataOffsets[resourceID - 1] + 1;
}

std::vector<uint64_t> getIDsFrom(const uint64_t begin, const size_t count) {
    std::vector<uint64_t> resourceIDs(count);
    for (size_t index = 0; index < count; ++index)
        resourceIDs[index] = begin + index;
    return resourceIDs;
}

/// An existing dictionary, and one that gets its contents.
template<class T>
class StringDatatypeSharedSlotsTest : public testing::Test {
protected:
    static constexpr size_t COUNT = 2000;

    StringDatatypeSharedSlotsTest() { resolveAtOnce(m_source, m_literals); }

    /// Fills a dictionary like a host that gets offsets, datatype bytes and text of its resources from elsewhere.
    void fill(DictionaryParts& target) const {
        const uint64_t end = m_source.m_nextResourceID.load();
        target.m_nextResourceID = end;
        target.m_resourceDataOffsets.ensureEndAtLeast(end);
        target.m_resourceFlags.ensureEndAtLeast(end);
        for (uint64_t resourceID = 0; resourceID < end; ++resourceID) {
            target.m_resourceDataOffsets[resourceID] = m_source.m_resourceDataOffsets[resourceID];
            target.m_resourceFlags[resourceID] = m_source.getDatatypeID(resourceID);
        }
        target.m_resourceDataOffsets.ensureEndAtLeast(end + 1);
        target.m_resourceDataOffsets[end] = getLeftover(m_source, end);
        const size_t poolBytes = m_source.m_dataPool.getEnd();
        ASSERT_EQ(0u, target.m_dataPool.newDataChunk(nullptr, poolBytes));
        std::memcpy(target.m_dataPool.getData(), m_source.m_dataPool.getData(), poolBytes);
    }

    /// Adds the records of a compaction that changes nothing.
    void addRecords(DictionaryCompactionState& state) {
        state.m_entries.initialize(COUNT);
        state.m_entries.ensureEndAtLeast(COUNT);
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
            for (uint64_t resourceID = 1; resourceID <= COUNT; ++resourceID)
                if (m_source.getDatatypeID(resourceID) == datatypeID)
                    m_source.m_datatype.prepareCompact(resourceID, resourceID, state);
    }

    void expectFilled(UninitializedDictionaryFixture<T>& target) {
        expectAbsent(target, makeLiterals(COUNT, "absent "));
        expectFound(target, m_literals, m_resourceIDs);
        const OwnedLiterals further = makeLiterals(COUNT, "further ");
        EXPECT_EQ(BatchAnswers{getIDsFrom(COUNT + 1, COUNT)}, resolveAtOnce(target, further));
        expectFound(target, further, getIDsFrom(COUNT + 1, COUNT));
        expectFound(target, m_literals, m_resourceIDs);
    }

    const OwnedLiterals m_literals = makeLiterals(COUNT, "");
    const std::vector<uint64_t> m_resourceIDs = getIDsFrom(1, COUNT);
    DictionaryFixture<T> m_source;
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeSharedSlotsTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeSharedSlotsTest, aLoadedTableServesSlotsThatAreFilledBeforeOrAfter) {
    const std::string bytes = save(this->m_source.m_datatype);
    for (const bool isFilledBefore : {true, false}) {
        SCOPED_TRACE(isFilledBefore);
        UninitializedDictionaryFixture<TypeParam> target;
        if (isFilledBefore)
            this->fill(target);
        MemoryInputStream input(bytes);
        target.m_datatype.load(input);
        if (!isFilledBefore)
            this->fill(target);
        this->expectFilled(target);
    }
}

TYPED_TEST(StringDatatypeSharedSlotsTest, anInitializedTableServesSlotsThatAreFilledBeforeOrAfter) {
    for (const bool isSnapshot : {true, false})
        for (const bool isFilledBefore : {true, false}) {
            SCOPED_TRACE(testing::Message() << "snapshot " << isSnapshot << ", filled before " << isFilledBefore);
            UninitializedDictionaryFixture<TypeParam> target;
            if (isFilledBefore)
                this->fill(target);
            if (isSnapshot) {
                target.m_datatype.initializeForSnapshot(std::vector<uint64_t>(256, this->COUNT));
            } else
                target.m_datatype.initialize(0);
            if (!isFilledBefore)
                this->fill(target);
            expectAbsent(target, this->m_literals); // text in the pool does not make a resource
            if (isSnapshot) {
                DictionaryCompactionState state(target.m_memoryManager);
                this->addRecords(state);
                target.m_datatype.finishCompact(state);
            } else
                for (uint64_t resourceID = 1; resourceID <= this->COUNT; ++resourceID) {
                    const auto& [lexicalForm, datatypeID] = this->m_literals[resourceID - 1];
                    EXPECT_EQ(resourceID, target.restore(resourceID, lexicalForm, datatypeID));
                }
            this->expectFilled(target);
        }
}

/// Offsets and bytes of the previous dictionary stay in the slots and, if they are not overwritten, in the pool.
TYPED_TEST(StringDatatypeSharedSlotsTest, idsAndBytesThatAreUsedAgainBelongToTheNewStrings) {
    DictionaryFixture<TypeParam>& fixture = this->m_source;
    for (size_t life = 0; life < 4; ++life) {
        SCOPED_TRACE(life);
        const OwnedLiterals literals = makeLiterals(this->COUNT / (life + 1), std::string(life * 17, 'l'));
        fixture.m_datatype.initialize(0);
        fixture.m_nextResourceID = 1;
        fixture.m_dataPool.initialize(DictionaryParts::POOL_CAPACITY);
        DictionaryFixture<TypeParam> likeness;
        resolveAtOnce(likeness, literals);
        for (uint64_t resourceID = 2; resourceID <= literals.size() + 1; ++resourceID)
            fixture.m_resourceDataOffsets[resourceID] = getLeftover(likeness, resourceID);
        if (life % 2 == 0)
            EXPECT_EQ(BatchAnswers{getIDsFrom(1, literals.size())}, resolveAtOnce(fixture, literals));
        else
            EXPECT_EQ(BatchAnswers{getIDsFrom(1, literals.size())}, resolveOneByOne(fixture, literals));
        expectAbsent(fixture, makeLiterals(literals.size(), "absent "));
        expectFound(fixture, literals, getIDsFrom(1, literals.size()));
        EXPECT_EQ(getLeftover(likeness, literals.size() + 1), fixture.m_resourceDataOffsets[literals.size() + 1]);
    }
}

TYPED_TEST(StringDatatypeSharedSlotsTest, idsThatAreWithdrawnCanBeUsedAgain) {
    DictionaryFixture<TypeParam>& fixture = this->m_source;
    constexpr size_t KEPT = 500;
    const OwnedLiterals kept(this->m_literals.begin(), this->m_literals.begin() + KEPT);
    for (size_t life = 0; life < 3; ++life) {
        SCOPED_TRACE(life);
        const uint64_t end = fixture.m_nextResourceID.load();
        for (uint64_t resourceID = KEPT + 1; resourceID < end; ++resourceID) {
            fixture.m_datatype.deleteUncommittedResourceID(resourceID, fixture.getDatatypeID(resourceID));
            fixture.m_resourceFlags[resourceID] = D_INVALID;
        }
        fixture.m_nextResourceID = KEPT + 1; // the slots keep the old offsets
        const OwnedLiterals literals = makeLiterals(700, "life " + std::to_string(life));
        EXPECT_EQ(BatchAnswers{getIDsFrom(KEPT + 1, 700)}, resolveAtOnce(fixture, literals));
        expectFound(fixture, literals, getIDsFrom(KEPT + 1, 700));
        expectFound(fixture, kept, getIDsFrom(1, KEPT));
        expectAbsent(fixture, makeLiterals(700, "life " + std::to_string(life + 1)));
    }
}

/// Between any two strings there are resources of another datatype, which stores any values in its slots and changes
/// them.
TYPED_TEST(StringDatatypeSharedSlotsTest, anotherDatatypeMayKeepAnythingInItsSlots) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_resourceDataOffsets.ensureEndAtLeast(3 * this->COUNT);
    fixture.m_resourceFlags.ensureEndAtLeast(3 * this->COUNT);
    std::mt19937_64 random(1);
    std::map<uint64_t, uint64_t> others;
    const auto changeOthers = [&] {
        for (auto& [resourceID, content] : others) {
            // Any values, and possible offsets: just before and after the adjacent chunks.
            const uint64_t kinds[] = {0,
                                      ~uint64_t(0),
                                      random(),
                                      random() % fixture.m_dataPool.getEnd(),
                                      fixture.m_resourceDataOffsets[resourceID - 1],
                                      fixture.m_resourceDataOffsets[resourceID - 1] + 1 + random() % 8};
            content = kinds[random() % std::size(kinds)];
            fixture.m_resourceDataOffsets[resourceID] = content;
        }
    };
    std::vector<uint64_t> resourceIDs;
    for (const auto& [lexicalForm, datatypeID] : this->m_literals) {
        resourceIDs.push_back(fixture.resolve(lexicalForm, datatypeID));
        const uint64_t otherID = fixture.m_nextResourceID.fetch_add(1);
        others[otherID] = 0;
        fixture.m_resourceFlags[otherID] = OTHER_DATATYPE_ID;
        if (others.size() % 100 == 0)
            changeOthers(); // so tables also grow in between
    }
    for (size_t round = 0; round < 5; ++round) {
        changeOthers();
        expectFound(fixture, this->m_literals, resourceIDs);
        expectAbsent(fixture, makeLiterals(this->COUNT, "absent "));
        for (const auto& [resourceID, content] : others) {
            ASSERT_EQ(content, fixture.m_resourceDataOffsets[resourceID]);
            ASSERT_EQ(OTHER_DATATYPE_ID, fixture.getDatatypeID(resourceID));
        }
    }
}

TYPED_TEST(StringDatatypeSharedSlotsTest, creatingWritesTheNewIDsSlotsOnly) {
    for (const bool isBatch : {false, true}) {
        DictionaryFixture<TypeParam> fixture;
        fillSlots(fixture, 3 * this->COUNT);
        fixture.m_nextResourceID = 100;
        for (size_t index = 1; index <= this->COUNT; ++index) // the chunks will have the same offsets as in the source
            fixture.m_resourceDataOffsets[100 + index] = getLeftover(this->m_source, 1 + index);
        const Slots before(fixture);
        if (isBatch)
            resolveAtOnce(fixture, this->m_literals);
        else
            resolveOneByOne(fixture, this->m_literals);
        const Slots after(fixture);
        EXPECT_EQ(getIDsFrom(100, this->COUNT), before.getDifferences(after));
        ASSERT_LT(1024u, getTable(fixture).getNumberOfBuckets()) << "no table has grown";
        // Lookups of all kinds, and failures, write no slots.
        resolveAtOnce(fixture, this->m_literals);
        resolveOneByOne(fixture, this->m_literals);
        lookUpAtOnce(fixture, makeLiterals(this->COUNT, "absent "), EVERYTHING);
        lookUpOneByOne(fixture, this->m_literals, EVERYTHING);
        EXPECT_THROW(fixture.resolve("no tag", D_RDF_PLAIN_LITERAL), MelnarException);
        fixture.m_datatype.deleteUncommittedResourceID(100, fixture.getDatatypeID(100));
        EXPECT_EQ(std::vector<uint64_t>(), after.getDifferences(Slots(fixture)));
    }
}

TYPED_TEST(StringDatatypeSharedSlotsTest, restoringWritesTheTargetIDsSlotsOnly) {
    DictionaryFixture<TypeParam> fixture;
    fillSlots(fixture, 3 * this->COUNT);
    for (const uint64_t resourceID : {uint64_t(700), uint64_t(1), uint64_t(750), uint64_t(5000), uint64_t(690)}) {
        fixture.m_resourceDataOffsets[resourceID + 1] = fixture.m_dataPool.getEnd() + 1;
        const Slots before(fixture);
        fixture.restore(resourceID, "restored " + std::to_string(resourceID) + "@en", 5 + resourceID % 2);
        EXPECT_EQ(std::vector<uint64_t>{resourceID}, before.getDifferences(Slots(fixture)));
    }
}

TYPED_TEST(StringDatatypeSharedSlotsTest, compactingWritesTheRecordsIDsSlotsOnly) {
    DictionaryFixture<TypeParam>& fixture = this->m_source;
    DictionaryCompactionState state(fixture.m_memoryManager);
    state.m_entries.initialize(this->COUNT);
    state.m_entries.ensureEndAtLeast(this->COUNT);
    std::vector<uint64_t> newResourceIDs;
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        for (uint64_t resourceID = 1; resourceID <= this->COUNT; resourceID += 5)
            if (fixture.getDatatypeID(resourceID) == datatypeID) {
                newResourceIDs.push_back(resourceID * 2 + 1);
                fixture.m_datatype.prepareCompact(resourceID, newResourceIDs.back(), state);
            }
    std::sort(newResourceIDs.begin(), newResourceIDs.end());
    fillSlots(fixture, 3 * this->COUNT);
    for (size_t index = 0; index < state.m_numberOfEntries; ++index)
        fixture.m_resourceDataOffsets[state.m_entries[index].resourceID + 1] = state.m_entries[index].dataOffset + 1;
    const Slots before(fixture);
    fixture.m_datatype.finishCompact(state);
    EXPECT_EQ(newResourceIDs, before.getDifferences(Slots(fixture)));
    EXPECT_EQ(newResourceIDs[1], fixture.tryResolve(this->m_literals[newResourceIDs[1] / 2 - 1].m_lexicalForm,
                                                    this->m_literals[newResourceIDs[1] / 2 - 1].m_datatypeID));
}

TYPED_TEST(StringDatatypeSharedSlotsTest, aRecordsSizeAndFlagAreNotRead) {
    std::vector<std::string> streams;
    std::vector<Slots> slots;
    for (const bool isForged : {false, true}) {
        UninitializedDictionaryFixture<TypeParam> target;
        target.m_datatype.initializeForSnapshot(std::vector<uint64_t>(256, this->COUNT));
        this->fill(target);
        DictionaryCompactionState state(target.m_memoryManager);
        this->addRecords(state);
        std::mt19937_64 random(2);
        if (isForged)
            for (size_t index = 0; index < state.m_numberOfEntries; ++index) {
                CompactionEntry& entry = state.m_entries[index];
                entry.dictionaryFlag = index % 3 != 0;
                entry.dataSize = index % 2 == 0 ? random() : random() % 8;
            }
        target.m_datatype.finishCompact(state);
        streams.push_back(save(target.m_datatype));
        slots.emplace_back(target);
        expectFound(target, this->m_literals, this->m_resourceIDs);
        expectAbsent(target, makeLiterals(this->COUNT, "absent "));
    }
    EXPECT_EQ(streams[0], streams[1]);
    EXPECT_EQ(std::vector<uint64_t>(), slots[0].getDifferences(slots[1]));
}
