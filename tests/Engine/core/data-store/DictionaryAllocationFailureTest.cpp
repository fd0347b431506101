#include "tests/Engine/core/data-store/DictionaryContents.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <new>
#include <string>

using namespace melnar;

// Each allocation of an operation fails once, until a run needs no more than are allowed.

namespace {

/// Calls `operation` with the first, the second, ... allocation failing, and `check(hasThrown)` after each call.
/// Returns how often it threw.
template<class Operation, class Check>
size_t failEachAllocation(const Operation& operation, const Check& check) {
    size_t thrown = 0;
    bool hasFailed = true;
    for (size_t allowed = 0; hasFailed; ++allowed) {
        SCOPED_TRACE(testing::Message() << allowed << " allocations");
        bool isThrown = false;
        {
            const AllocationFaults faults = AllocationFaults::failAfter(allowed);
            try {
                operation();
            } catch (const std::bad_alloc&) {
                isThrown = true;
            }
            hasFailed = faults.hasFailed();
        }
        EXPECT_TRUE(hasFailed || !isThrown);
        check(isThrown);
        thrown += isThrown;
        if (testing::Test::HasFailure())
            break;
    }
    return thrown;
}

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
    const auto compact = [this] {
        m_dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 2 == 0; });
    };
    const size_t thrown = failEachAllocation(compact, [this](const bool isThrown) {
        if (isThrown)
            expectUnchanged();
        else
            EXPECT_EQ(1501u, m_dictionary.getNextResourceID());
    });
    EXPECT_LT(1u, thrown);
    EXPECT_EQ(1501u, m_dictionary.getCommitPoint().m_resourceID);
    EXPECT_NO_THROW(m_dictionary.verify());
    for (uint64_t resourceID = 1; resourceID <= 1500; ++resourceID) {
        const size_t number = 2 * resourceID - 1; // its ID was larger by one
        const auto [datatypeID, lexicalForm] = GetParam().makeLiteral(number);
        EXPECT_EQ(resourceID, m_dictionary.tryResolveResource(m_dictionary.getCommitPoint(), lexicalForm, datatypeID));
    }
}

TEST_P(DictionaryAllocationFailureTest, writingLeavesTheDictionaryAndABeginOfTheFile) {
    std::unique_ptr<MemoryOutputStream> output;
    const auto write = [&] {
        output = nullptr;
        output = std::make_unique<MemoryOutputStream>();
        DictionaryFile::write(m_dictionary, *output);
    };
    const size_t thrown = failEachAllocation(write, [&](const bool isThrown) {
        if (output != nullptr) {
            EXPECT_TRUE(m_bytes.starts_with(output->getBytes()));
            EXPECT_EQ(isThrown, output->getBytes().size() < m_bytes.size());
        }
        expectUnchanged();
    });
    EXPECT_LT(3u, thrown);
}

TEST_P(DictionaryAllocationFailureTest, readingGivesAWholeDictionaryOrAddressSpaceBack) {
    std::unique_ptr<Dictionary> copy;
    SystemCallFaults reservations(SystemCallFaults::Call::MMAP);
    SystemCallFaults releases(SystemCallFaults::Call::MUNMAP);
    const auto read = [&] { copy = readFromMemory(m_bytes); };
    const size_t thrown = failEachAllocation(read, [&](const bool isThrown) {
        if (isThrown) {
            EXPECT_EQ(nullptr, copy);
            EXPECT_EQ(reservations.getNumberOfCalls(), releases.getNumberOfCalls());
        } else
            EXPECT_TRUE(m_bytes == writeToMemory(*copy));
    });
    EXPECT_LT(3u, thrown);
    EXPECT_NO_THROW(copy->verify());
    copy.reset();
    EXPECT_EQ(reservations.getNumberOfCalls(), releases.getNumberOfCalls());
}

TEST_P(DictionaryAllocationFailureTest, verifyingChangesNothing) {
    const size_t thrown =
        failEachAllocation([this] { m_dictionary.verify(); }, [this](const bool) { expectUnchanged(); });
    EXPECT_LT(1u, thrown);
}

TEST_P(DictionaryAllocationFailureTest, savingReplacesTheFileOrLeavesIt) {
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    const std::string oldBytes = writeToMemory(*makeSampleDictionary(NARROW));
    directory.addFile("strings.dict", oldBytes);
    size_t oldStayed = 0;
    const auto check = [&](const bool isThrown) {
        const std::string bytes = TemporaryDirectory::getContentsOf(path);
        EXPECT_TRUE(bytes == m_bytes || (isThrown && bytes == oldBytes));
        EXPECT_FALSE(std::filesystem::exists(path + ".saving"));
        expectUnchanged();
        oldStayed += bytes == oldBytes;
        directory.addFile("strings.dict", oldBytes);
    };
    const size_t thrown = failEachAllocation([&] { m_dictionary.save(path); }, check);
    EXPECT_LT(3u, thrown);
    EXPECT_LT(3u, oldStayed) << "only what comes after the rename has failed";
}

TEST_P(DictionaryAllocationFailureTest, openingLeavesTheFileAndNoAddressSpace) {
    const TemporaryDirectory directory;
    const std::string path = directory.addFile("strings.dict", m_bytes);
    std::unique_ptr<Dictionary> copy;
    SystemCallFaults reservations(SystemCallFaults::Call::MMAP);
    SystemCallFaults releases(SystemCallFaults::Call::MUNMAP);
    const size_t thrown =
        failEachAllocation([&] { copy = Dictionary::open(path, {.m_memoryLimit = TEST_MEMORY_LIMIT}); },
                           [&](const bool isThrown) {
                               if (isThrown)
                                   EXPECT_EQ(reservations.getNumberOfCalls(), releases.getNumberOfCalls());
                               else
                                   EXPECT_TRUE(m_bytes == writeToMemory(*copy));
                               EXPECT_TRUE(m_bytes == TemporaryDirectory::getContentsOf(path));
                           });
    EXPECT_LT(3u, thrown);
    EXPECT_NO_THROW(copy->verify());
}

INSTANTIATE_TEST_SUITE_P(Contents, DictionaryAllocationFailureTest, ALL_CONTENTS, nameContents);

} // namespace
