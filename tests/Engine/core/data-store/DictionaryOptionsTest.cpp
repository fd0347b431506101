#include "Engine/core/data-store/DictionaryOptions.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <gtest/gtest.h>

#include <fstream>
#include <string>

namespace {

constexpr DictionaryOptions WITHOUT_GROWTH{.m_canGrow = false};

/// Returns the bytes of address space that the process has reserved.
size_t getAddressSpace() {
    size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * getVMPageSize();
}

/// Every claim holds for both bucket widths.
class DictionaryOptionsTest : public testing::TestWithParam<uint64_t> {};

TEST_P(DictionaryOptionsTest, aDictionaryThatCannotGrowIsReadLikeAnyOther) {
    const std::string bytes = writeToMemory(*makeSampleDictionary(GetParam()));
    const auto dictionary = readFromMemory(bytes, TEST_MEMORY_LIMIT, WITHOUT_GROWTH);
    EXPECT_NO_THROW(dictionary->verify());
    EXPECT_EQ(GetParam(), dictionary->getMaximumNumberOfResources());
    EXPECT_EQ(2u, dictionary->tryResolveResource({7}, "abc@en", D_RDF_PLAIN_LITERAL));
    std::string form;
    dictionary->getResource(6, form);
    EXPECT_EQ("def", form);
    EXPECT_EQ(bytes, writeToMemory(*dictionary));
    dictionary->compact();
    EXPECT_NO_THROW(dictionary->verify());
    EXPECT_EQ(5u, dictionary->getNextResourceID());
    const auto opened = readFromMemory(writeToMemory(*dictionary));
    DictionaryThread thread(*opened);
    EXPECT_EQ(5u, opened->resolveResource(thread, "new", D_XSD_STRING)) << "it is only this object that cannot grow";
}

TEST_P(DictionaryOptionsTest, aDictionaryThatCannotGrowRefusesNewLiterals) {
    const std::string bytes = writeToMemory(*makeSampleDictionary(GetParam()));
    const auto dictionary = readFromMemory(bytes, TEST_MEMORY_LIMIT, WITHOUT_GROWTH);
    {
        DictionaryThread thread(*dictionary);
        EXPECT_EQ(6u, dictionary->resolveResource(thread, "def", D_XSD_STRING));
        EXPECT_THROW(dictionary->resolveResource(thread, "new", D_XSD_STRING), MelnarException);
        std::vector<BatchEntry> entries{{"new", 0, D_XSD_STRING}, {"abc", 0, D_XSD_STRING}};
        std::vector<BatchFailure> failures;
        dictionary->resolveResources(thread, entries, failures);
        ASSERT_EQ(1u, failures.size());
        EXPECT_EQ(0u, failures[0].m_entryIndex);
        EXPECT_EQ(FailureKind::FULL, failures[0].m_kind);
        EXPECT_EQ(1u, entries[1].m_resourceID);
    }
    EXPECT_EQ(7u, dictionary->getNextResourceID());
    EXPECT_NO_THROW(dictionary->verify());
}

TEST_P(DictionaryOptionsTest, anEmptyDictionaryThatCannotGrowStaysEmpty) {
    Dictionary dictionary(
        {.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam(), .m_canGrow = false});
    const auto opened = readFromMemory(writeToMemory(dictionary), TEST_MEMORY_LIMIT, WITHOUT_GROWTH);
    for (Dictionary* const each : {&dictionary, opened.get()}) {
        DictionaryThread thread(*each);
        EXPECT_THROW(each->resolveResource(thread, "new", D_XSD_STRING), MelnarException);
        EXPECT_EQ(1u, each->getNextResourceID());
        EXPECT_NO_THROW(each->verify());
    }
}

TEST_P(DictionaryOptionsTest, addressSpaceIsReservedForGrowthAlone) {
    constexpr size_t MEMORY_LIMIT = size_t(16) << 30;
    const std::string bytes = writeToMemory(*makeSampleDictionary(GetParam()));
    const size_t before = getAddressSpace();
    {
        const auto dictionary = readFromMemory(bytes, MEMORY_LIMIT);
        EXPECT_GT(getAddressSpace() - before, MEMORY_LIMIT) << "the measure does not measure";
    }
    const auto dictionary = readFromMemory(bytes, MEMORY_LIMIT, WITHOUT_GROWTH);
    EXPECT_LT(getAddressSpace(), before + (size_t(16) << 20)) << "with some room for other allocations";
    EXPECT_EQ(MEMORY_LIMIT, dictionary->getMemoryLimit());
}

TEST_P(DictionaryOptionsTest, sizesThatLieReserveNothingBeyondTheLimits) {
    ForgedDictionaryFile file(*makeSampleDictionary(GetParam()));
    file.set<uint64_t>(ForgedDictionaryFile::HEADER, ForgedDictionaryFile::DATA_POOL_BYTES, uint64_t(1) << 62);
    EXPECT_THROW(readFromMemory(file.getBytes(), TEST_MEMORY_LIMIT, WITHOUT_GROWTH), MemoryExhaustedException);
}

INSTANTIATE_TEST_SUITE_P(BucketWidths, DictionaryOptionsTest, testing::Values(NARROW, WIDE),
                         [](const testing::TestParamInfo<uint64_t>& parameterInfo) {
                             return parameterInfo.index == 0 ? "narrow" : "wide";
                         });

} // namespace

namespace {

TEST(DictionaryOptionsDefaultTest, theMaximumIsWhatTheMemoryLimitHasRoomFor) {
    EXPECT_EQ((uint64_t(1) << 20) / 16, Dictionary({.m_memoryLimit = size_t(1) << 20}).getMaximumNumberOfResources());
    const Dictionary unlimited({});
    EXPECT_EQ(Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS, unlimited.getMaximumNumberOfResources());
    EXPECT_EQ(DictionaryOptions::NO_MEMORY_LIMIT, unlimited.getMemoryLimit());
    EXPECT_EQ(
        0u,
        Dictionary({.m_memoryLimit = size_t(1) << 20, .m_maximumNumberOfResources = 0}).getMaximumNumberOfResources());
}

TEST(DictionaryOptionsDefaultTest, theMaximumIsNeverWhatKeepsSmallTermsOut) {
    Dictionary dictionary({.m_memoryLimit = size_t(1) << 20, .m_keepFingerprints = false});
    DictionaryThread thread(dictionary);
    FailureKind kind = FailureKind::OTHER;
    try {
        for (uint64_t number = 0;; ++number) // the smallest chunks: at most three bytes
            dictionary.resolveResource(
                thread, {reinterpret_cast<const char*>(&number), number < 256 ? 1ul : 2ul + (number >> 16)},
                D_XSD_STRING);
    } catch (const MelnarException& exception) {
        kind = exception.getKind();
    }
    EXPECT_EQ(FailureKind::MEMORY, kind);
    EXPECT_LT(1000u, dictionary.getNextResourceID());
}

} // namespace
