#include "tests/Engine/core/data-store/DictionaryContents.h"
#include "tests/Engine/core/data-store/MemoryCharges.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <memory>
#include <string>

using namespace melnar;

// Each allocation of an operation fails in turn.

namespace {

class DictionaryAllocationFailureTest : public testing::TestWithParam<DictionaryContents> {
protected:
    DictionaryAllocationFailureTest()
        : m_dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT,
                        .m_maximumNumberOfResources = GetParam().m_maximumNumberOfResources}),
          m_thread(m_dictionary) {
        for (size_t number = 0; number < 3000; ++number)
            GetParam().resolve(m_dictionary, m_thread, number);
        m_dictionary.commit();
        m_dictionary.resolveResource(m_thread, "not committed", D_XSD_STRING);
        m_bytes = writeToMemory(m_dictionary);
        m_memoryInUse = m_dictionary.getMemoryInUse();
    }

    void expectUnchanged() const {
        EXPECT_EQ(m_memoryInUse, m_dictionary.getMemoryInUse()) << "a charge has leaked";
        EXPECT_TRUE(m_bytes == writeToMemory(m_dictionary));
    }

    Dictionary m_dictionary;
    DictionaryThread m_thread;
    std::string m_bytes;
    size_t m_memoryInUse = 0;
};

TEST_P(DictionaryAllocationFailureTest, compactingChangesAllOrNothing) {
    const FailureCounts counts = failEach(ofAllocations(), [this](FailureRound& round) {
        const std::unique_ptr<Dictionary> dictionary = readFromMemory(m_bytes);
        const size_t memoryInUse = dictionary->getMemoryInUse();
        const bool isCompact = round.attempt([&] {
            dictionary->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 2 == 0; });
        });
        if (!isCompact) {
            EXPECT_EQ(memoryInUse, dictionary->getMemoryInUse());
            EXPECT_TRUE(m_bytes == writeToMemory(*dictionary));
            dictionary->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 2 == 0; });
        }
        expectChargesAddUp(*dictionary);
        EXPECT_EQ(1501u, dictionary->getNextResourceID());
        EXPECT_EQ(1501u, dictionary->getCommitPoint().m_resourceID);
        EXPECT_NO_THROW(dictionary->verify());
        for (uint64_t resourceID = 1; resourceID <= 1500; ++resourceID) {
            const size_t number = 2 * resourceID - 1; // its ID was larger by one
            const auto [datatypeID, lexicalForm] = GetParam().makeLiteral(number);
            ASSERT_EQ(resourceID,
                      dictionary->tryResolveResource(dictionary->getCommitPoint(), lexicalForm, datatypeID));
        }
    });
    EXPECT_LT(2u, counts.m_throws);
    std::cout << "Compacting, allocations: " << counts << '\n';
}

TEST_P(DictionaryAllocationFailureTest, writingLeavesTheDictionaryAndABeginOfTheFile) {
    const FailureCounts counts = failEach(ofAllocations(), [this](FailureRound& round) {
        MemoryOutputStream output;
        const bool isWritten = round.attempt([&] { DictionaryFile::write(m_dictionary, output); });
        EXPECT_TRUE(m_bytes.starts_with(output.getBytes()));
        EXPECT_EQ(isWritten, output.getBytes().size() == m_bytes.size());
        expectUnchanged();
    });
    EXPECT_LT(6u, counts.m_throws);
    std::cout << "Writing, allocations: " << counts << '\n';
}

TEST_P(DictionaryAllocationFailureTest, readingGivesAWholeDictionaryOrAddressSpaceBack) {
    const FailureCounts counts = failEach(ofAllocations(), [this](FailureRound& round) {
        std::unique_ptr<Dictionary> copy;
        if (round.attempt([&] { copy = readFromMemory(m_bytes); })) {
            EXPECT_TRUE(m_bytes == writeToMemory(*copy));
            EXPECT_NO_THROW(copy->verify());
        } else
            EXPECT_EQ(nullptr, copy);
    });
    EXPECT_LT(6u, counts.m_throws);
    std::cout << "Reading, allocations: " << counts << '\n';
}

TEST_P(DictionaryAllocationFailureTest, verifyingChangesNothing) {
    constexpr size_t STEP = 5; // each resource takes the same steps
    const FailureCounts counts = failEach(
        ofAllocations(),
        [this](FailureRound& round) {
            round.attempt([this] { m_dictionary.verify(); });
            expectUnchanged();
        },
        STEP);
    EXPECT_LT(2u, counts.m_throws);
}

TEST_P(DictionaryAllocationFailureTest, savingReplacesTheFileOrLeavesIt) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    const std::string oldBytes = writeToMemory(*makeSampleDictionary(NARROW));
    size_t oldStayed = 0;
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        directory.addFile("strings.dict", oldBytes);
        const bool isSaved = round.attempt([&] { m_dictionary.save(path); });
        const std::string bytes = TemporaryDirectory::getContentsOf(path);
        EXPECT_TRUE(bytes == m_bytes || (!isSaved && bytes == oldBytes));
        oldStayed += bytes == oldBytes;
        EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
        expectUnchanged();
        m_dictionary.save(path);
        EXPECT_TRUE(m_bytes == TemporaryDirectory::getContentsOf(path));
    });
    EXPECT_LT(6u, counts.m_throws);
    EXPECT_LT(6u, oldStayed) << "only what comes after the rename has failed";
    std::cout << "Saving, allocations: " << counts << '\n';
}

TEST_P(DictionaryAllocationFailureTest, openingLeavesTheFileAndNoAddressSpace) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("strings.dict", m_bytes);
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        std::unique_ptr<Dictionary> copy;
        if (round.attempt([&] { copy = Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT}); })) {
            EXPECT_TRUE(m_bytes == writeToMemory(*copy));
            EXPECT_NO_THROW(copy->verify());
        }
        EXPECT_TRUE(m_bytes == TemporaryDirectory::getContentsOf(path));
    });
    EXPECT_LT(6u, counts.m_throws);
    std::cout << "Opening, allocations: " << counts << '\n';
}

INSTANTIATE_TEST_SUITE_P(Contents, DictionaryAllocationFailureTest, ALL_CONTENTS, nameContents);

} // namespace
