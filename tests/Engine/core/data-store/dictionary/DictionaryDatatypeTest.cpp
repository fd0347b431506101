#include "Engine/core/data-store/dictionary/DictionaryDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/data-store/dictionary/UntrustedBytes.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/VirtualSlots.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

namespace {

using Peer = StringDatatypeTestPeer;

static_assert(!std::is_copy_constructible_v<DictionaryDatatype> && !std::is_copy_assignable_v<DictionaryDatatype>);
static_assert(!std::is_convertible_v<DictionaryDatatype*, Unmovable*>, "that it cannot be moved is its own affair");
static_assert(std::is_abstract_v<DictionaryDatatype> && std::has_virtual_destructor_v<DictionaryDatatype>);
static_assert(std::is_empty_v<DictionaryDatatype::GetNextResourceID>);
static_assert(sizeof(DictionaryDatatype::GetTargetResourceID) == sizeof(uint64_t));
static_assert(std::is_trivially_copyable_v<DictionaryCommitPoint> && sizeof(DictionaryCommitPoint) == sizeof(uint64_t));

/// Returns the virtual slots of the operations as declared in a datatype class.
template<class Datatype>
void expectAgreedSlots() {
    EXPECT_EQ(2u, getVirtualSlot(&Datatype::initialize)) << "0 and 1 are the destructors'";
    EXPECT_EQ(3u, getVirtualSlot(&Datatype::initializeForSnapshot));
    EXPECT_EQ(4u, getVirtualSlot(&Datatype::getNumberOfMappableEntriesInCompaction));
    EXPECT_EQ(5u, getVirtualSlot(&Datatype::prepareCompact));
    EXPECT_EQ(6u, getVirtualSlot(&Datatype::finishCompact));
    EXPECT_EQ(7u, getVirtualSlot(&Datatype::deleteUncommittedResourceID));
    EXPECT_EQ(8u, getVirtualSlot(static_cast<void (Datatype::*)(uint64_t, uint8_t, ResourceValue&) const>(
                      &Datatype::getResource)));
    EXPECT_EQ(9u, getVirtualSlot(
                      static_cast<void (Datatype::*)(uint64_t, uint8_t, std::string&) const>(&Datatype::getResource)));
    EXPECT_EQ(10u,
              getVirtualSlot(static_cast<uint64_t (Datatype::*)(DictionaryCommitPoint, const ResourceValue&) const>(
                  &Datatype::tryResolveResource)));
    EXPECT_EQ(11u, getVirtualSlot(
                       static_cast<uint64_t (Datatype::*)(DictionaryCommitPoint, const char*, size_t, uint8_t) const>(
                           &Datatype::tryResolveResource)));
    EXPECT_EQ(12u, getVirtualSlot(static_cast<uint64_t (Datatype::*)(DictionaryThreadContext*, const ResourceValue&)>(
                       &Datatype::resolveResource)));
    EXPECT_EQ(
        13u, getVirtualSlot(static_cast<uint64_t (Datatype::*)(DictionaryThreadContext*, const char*, size_t, uint8_t)>(
                 &Datatype::resolveResource)));
    EXPECT_EQ(14u, getVirtualSlot(&Datatype::restoreResource));
    EXPECT_EQ(15u, getVirtualSlot(&Datatype::save));
    EXPECT_EQ(16u, getVirtualSlot(&Datatype::load));
    EXPECT_EQ(17u, getVirtualSlot(&Datatype::getComponentInfo));
    EXPECT_EQ(18u, getVirtualSlot(&Datatype::addDetailedComponentInfo)) << "from here on, those that came later";
    EXPECT_EQ(19u, getVirtualSlot(&Datatype::resolveResources));
    EXPECT_EQ(20u, getVirtualSlot(&Datatype::tryResolveResources));
    EXPECT_EQ(21u, getVirtualSlot(&Datatype::getResources));
    EXPECT_EQ(22u, getVirtualSlot(&Datatype::getChunkSize));
    EXPECT_EQ(23u, getVirtualSlot(&Datatype::loadUntrusted));
    EXPECT_EQ(24u, getVirtualSlot(&Datatype::enableFingerprints));
    EXPECT_EQ(25u, getVirtualSlot(&Datatype::getFingerprintBytes));
    EXPECT_EQ(26u, getVirtualSlot(&Datatype::limitCollisions));
    EXPECT_EQ(27u, getVirtualSlot(&Datatype::getTableProfiles));
    EXPECT_EQ(28u, getVirtualSlot(&Datatype::getAffix));
    EXPECT_EQ(29u, getVirtualSlot(&Datatype::appendLexicalForm));
    EXPECT_EQ(30u, getVirtualSlot(&Datatype::isInUse));
    EXPECT_EQ(31u, getVirtualSlot(&Datatype::findResources));
    EXPECT_EQ(32u, getVirtualSlot(&Datatype::createResources));
}

template<class T>
class DictionaryDatatypeTest : public testing::Test {};

} // namespace

TYPED_TEST_SUITE(DictionaryDatatypeTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(DictionaryDatatypeTest, operationsHaveTheirAgreedSlots) {
    expectAgreedSlots<DictionaryDatatype>();
    expectAgreedSlots<StringDatatype<TypeParam>>();
}

TYPED_TEST(DictionaryDatatypeTest, fieldsFollowTheTableOfOperationsInTheirAgreedOrder) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_datatype.initialize(0x1234);
    std::array<uintptr_t, 6> words;
    static_assert(sizeof(DictionaryDatatype) == sizeof(words));
    std::memcpy(words.data(), reinterpret_cast<const uint8_t*>(&fixture.m_datatype), sizeof(words));
    EXPECT_EQ(0x1234u, words[1]);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&fixture.m_nextResourceID), words[2]);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&fixture.m_resourceDataOffsets), words[3]);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&fixture.m_resourceFlags), words[4]);
    EXPECT_EQ(reinterpret_cast<uintptr_t>(&fixture.m_dataPool), words[5]);
}

TYPED_TEST(DictionaryDatatypeTest, eachResourceGetsTheNextIDAndAChunkOfItsOwn) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ((std::pair<uint64_t, uint64_t>(1, 0)), Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10));
    EXPECT_EQ((std::pair<uint64_t, uint64_t>(2, 10)), Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 5));
    EXPECT_EQ(3u, fixture.m_nextResourceID.load());
    EXPECT_EQ(15u, fixture.m_dataPool.getEnd());
}

TYPED_TEST(DictionaryDatatypeTest, aChunkAloneTakesNoID) {
    DictionaryFixture<TypeParam> fixture;
    EXPECT_EQ(0u, Peer::newDataChunk(fixture.m_datatype, nullptr, 10));
    EXPECT_EQ(10u, Peer::newDataChunk(fixture.m_datatype, nullptr, 10));
    EXPECT_EQ(1u, fixture.m_nextResourceID.load());
    EXPECT_EQ(0u, fixture.m_resourceDataOffsets.getEnd());
}

TYPED_TEST(DictionaryDatatypeTest, aThreadContextServesChunksFromItsBlock) {
    DictionaryFixture<TypeParam> fixture;
    DictionaryThreadContext first(fixture.m_dataPool);
    DictionaryThreadContext second(fixture.m_dataPool);
    EXPECT_EQ((std::pair<uint64_t, uint64_t>(1, 0)), Peer::newResourceIDAndDataChunk(fixture.m_datatype, &first, 10));
    EXPECT_EQ((std::pair<uint64_t, uint64_t>(2, DataPool::BLOCK_SIZE)),
              Peer::newResourceIDAndDataChunk(fixture.m_datatype, &second, 10));
    EXPECT_EQ((std::pair<uint64_t, uint64_t>(3, 10)), Peer::newResourceIDAndDataChunk(fixture.m_datatype, &first, 10));
    EXPECT_EQ(20u, Peer::newDataChunk(fixture.m_datatype, &first, 1));
}

TYPED_TEST(DictionaryDatatypeTest, offsetAndDatatypeByteOfANewIDCanBeWritten) {
    DictionaryFixture<TypeParam> fixture;
    fixture.m_nextResourceID = 100000;
    const uint64_t resourceID = Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10).first;
    ASSERT_EQ(100000u, resourceID);
    fixture.m_resourceDataOffsets[resourceID] = 7;
    fixture.m_resourceFlags[resourceID] = 8;
    EXPECT_LT(resourceID, fixture.m_resourceDataOffsets.getEnd());
    EXPECT_LT(resourceID, fixture.m_resourceFlags.getEnd());
}

TYPED_TEST(DictionaryDatatypeTest, newIDsGrowTheRegionsInSteps) {
    DictionaryFixture<TypeParam> fixture;
    Peer::newResourceIDAndDataChunk(fixture.m_datatype, nullptr, 10);
    EXPECT_LT(5000u, fixture.m_resourceDataOffsets.getEnd()) << "more than one page at a time";
    EXPECT_LT(5000u, fixture.m_resourceFlags.getEnd());
}

TYPED_TEST(DictionaryDatatypeTest, aChunkIsWholeWhenHeaderBytesAndTerminatorLieInThePool) {
    DictionaryFixture<TypeParam> fixture;
    fixture.resolve("");
    fixture.resolve(std::string(126, 'x'));
    fixture.resolve(std::string(127, 'x'));
    fixture.resolve(std::string(20000, 'x'));
    EXPECT_EQ(2u, fixture.m_datatype.getChunkSize(1));
    EXPECT_EQ(128u, fixture.m_datatype.getChunkSize(2));
    EXPECT_EQ(130u, fixture.m_datatype.getChunkSize(3));
    EXPECT_EQ(20005u, fixture.m_datatype.getChunkSize(4)) << "the last byte of the pool is the terminator";
    fixture.m_dataPool.getData()[fixture.m_dataPool.getEnd() - 1] = 'x';
    EXPECT_EQ(0u, fixture.m_datatype.getChunkSize(4));
    for (const uint64_t offset :
         {uint64_t(1), fixture.m_dataPool.getEnd() - 1, fixture.m_dataPool.getEnd(), uint64_t(1) << 63, ~uint64_t(0)}) {
        fixture.m_resourceDataOffsets[1] = offset;
        EXPECT_EQ(0u, fixture.m_datatype.getChunkSize(1)) << offset;
    }
}

TYPED_TEST(DictionaryDatatypeTest, aDatatypeThatDoesNotCheckItsStreamLoadsIt) {
    SavedDatatype<TypeParam> saved;
    saved.m_initialSize = 77;
    const std::string bytes = saved.toStream();
    UntrustedBytes input(bytes);
    DictionaryFixture<TypeParam> fixture;
    fixture.m_datatype.DictionaryDatatype::loadUntrusted(input);
    EXPECT_EQ(bytes, save(fixture.m_datatype));
}
