#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/DictionaryContents.h"
#include "tests/Engine/core/data-store/MemoryCharges.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <iostream>
#include <map>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Literal = std::pair<uint8_t, std::string>;
using Resources = std::map<uint64_t, Literal>;

Resources getResources(const Dictionary& dictionary) {
    Resources resources;
    for (const auto& [resourceID, value] : dictionary)
        resources[resourceID] = {value.m_datatypeID, DictionaryModel::getForm(value)};
    return resources;
}

/// Returns the result of compacting `before`, by definition.
Resources getCompacted(const Resources& before, const Dictionary::SurvivesCompaction& survives,
                       std::vector<uint64_t>& newResourceIDs) {
    Resources compacted;
    for (const auto& [resourceID, literal] : before) {
        ResourceValue value;
        value.m_datatypeID = literal.first;
        value.m_data = reinterpret_cast<const uint8_t*>(literal.second.c_str());
        value.m_dataSize = literal.second.size() + 1;
        if (survives != nullptr && !survives(resourceID, value))
            continue;
        newResourceIDs[resourceID] = compacted.size() + 1;
        compacted[compacted.size() + 1] = literal;
    }
    return compacted;
}

class DictionaryCompactionTest : public testing::TestWithParam<DictionaryContents> {
protected:
    DictionaryCompactionTest()
        : m_dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT,
                        .m_maximumNumberOfResources = GetParam().m_maximumNumberOfResources}) {}

    static void resolveAll(Dictionary& dictionary, DictionaryThread& thread, const size_t begin, const size_t end) {
        for (size_t number = begin; number < end; ++number)
            GetParam().resolve(dictionary, thread, number);
    }

    /// Compacts, and checks everything that a compaction promises.
    void compactAndCheck(const Dictionary::SurvivesCompaction& survives) {
        const Resources before = getResources(m_dictionary);
        std::vector<uint64_t> expectedIDs(m_dictionary.getNextResourceID(), 0);
        const Resources expected = getCompacted(before, survives, expectedIDs);
        uint64_t expectedCommitPoint = 1;
        for (uint64_t resourceID = 1; resourceID < m_dictionary.getCommitPoint().m_resourceID; ++resourceID)
            expectedCommitPoint += expectedIDs[resourceID] != 0;

        EXPECT_EQ(expectedIDs, m_dictionary.compact(survives));
        EXPECT_EQ(expected, getResources(m_dictionary));
        EXPECT_EQ(expected.size() + 1, m_dictionary.getNextResourceID());
        EXPECT_EQ(expectedCommitPoint, m_dictionary.getCommitPoint().m_resourceID);
        EXPECT_EQ(0u, m_dictionary.getUnusedDataPoolBytes());
        EXPECT_NO_THROW(m_dictionary.verify());
        for (const auto& [resourceID, literal] : before)
            if (expectedIDs[resourceID] == 0) {
                ASSERT_EQ(0u,
                          m_dictionary.tryResolveResource(DictionaryCommitPoint::ALL, literal.second, literal.first));
            }
        checkLayout(expected);
    }

    /// Expects that every chunk starts where that of the previous ID ends.
    void checkLayout(const Resources& resources) {
        const ForgedDictionaryFile file(m_dictionary);
        uint64_t offset = 0;
        for (const auto& [resourceID, literal] : resources) {
            ASSERT_EQ(offset, file.get<uint64_t>(ForgedDictionaryFile::DATA_OFFSETS, (resourceID - 1) * 8));
            std::vector<BatchEntry> entry{{{}, resourceID}};
            m_dictionary.getResources(entry);
            const size_t storedSize = entry[0].m_lexicalForm.size() + 1;
            offset += storedSize + (storedSize <= 0x7F ? 1 : storedSize <= 0x3FFF ? 2 : 4);
            offset += literal.first >= D_IRI ? 1 : 0; // the number of the shared text, if any
        }
        EXPECT_EQ(offset, file.m_sections[ForgedDictionaryFile::DATA_POOL].size());
    }

    Dictionary m_dictionary;
};

TEST_P(DictionaryCompactionTest, anEmptyDictionaryStaysEmpty) {
    EXPECT_EQ(std::vector<uint64_t>{0}, m_dictionary.compact());
    EXPECT_EQ(1u, m_dictionary.getNextResourceID());
    compactAndCheck([](uint64_t, const ResourceValue&) { return true; });
    DictionaryThread thread(m_dictionary);
    EXPECT_EQ(1u, m_dictionary.resolveResource(thread, "first", D_XSD_STRING));
}

TEST_P(DictionaryCompactionTest, keepsEverythingThatExistsByDefault) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 3000);
    m_dictionary.commit();
    compactAndCheck(nullptr);
    EXPECT_EQ(3001u, m_dictionary.getNextResourceID());
    EXPECT_EQ(3001u, m_dictionary.getCommitPoint().m_resourceID);
}

TEST_P(DictionaryCompactionTest, withdrawnResourcesLeaveNoGap) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 500);
    m_dictionary.commit();
    resolveAll(m_dictionary, thread, 500, 2000);
    m_dictionary.rollback();
    resolveAll(m_dictionary, thread, 1800, 2500);
    m_dictionary.commit();
    resolveAll(m_dictionary, thread, 2400, 2600); // not committed, and some already known
    EXPECT_GT(m_dictionary.getUnusedDataPoolBytes(), 1000u);
    compactAndCheck(nullptr);
    EXPECT_EQ(500u + 800 + 1, m_dictionary.getNextResourceID());
    EXPECT_EQ(500u + 700 + 1, m_dictionary.getCommitPoint().m_resourceID);
}

TEST_P(DictionaryCompactionTest, thePredicateDecides) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 4000);
    m_dictionary.commit();
    resolveAll(m_dictionary, thread, 4000, 4500);
    compactAndCheck([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 7 != 3; });
    compactAndCheck([](uint64_t, const ResourceValue& value) { return value.m_datatypeID == D_XSD_STRING; });
    EXPECT_EQ(0u, m_dictionary.getNumberOfResources(D_RDF_PLAIN_LITERAL));
    compactAndCheck([](uint64_t, const ResourceValue& value) { return value.m_dataSize < 1000; });
    compactAndCheck([](uint64_t, const ResourceValue&) { return false; });
    EXPECT_EQ(1u, m_dictionary.getNextResourceID());
    EXPECT_EQ(1u, m_dictionary.getCommitPoint().m_resourceID);
}

TEST_P(DictionaryCompactionTest, thePredicateSeesEachResourceThatExistsOnceInOrder) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 10);
    m_dictionary.commit();
    resolveAll(m_dictionary, thread, 10, 20);
    m_dictionary.rollback();
    resolveAll(m_dictionary, thread, 20, 30);
    std::vector<uint64_t> seen;
    m_dictionary.compact([&](const uint64_t resourceID, const ResourceValue& value) {
        seen.push_back(resourceID);
        EXPECT_EQ(GetParam().makeLiteral(resourceID - 1).second, DictionaryModel::getForm(value));
        return true;
    });
    EXPECT_EQ((std::vector<uint64_t>{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30}), seen);
}

TEST_P(DictionaryCompactionTest, memoryIsGivenBack) {
    DictionaryThread thread(m_dictionary);
    const size_t emptyBytes = m_dictionary.getMemoryInUse();
    resolveAll(m_dictionary, thread, 0, 20000);
    const size_t fullBytes = m_dictionary.getMemoryInUse();
    EXPECT_GT(fullBytes, emptyBytes + (size_t(1) << 20));
    m_dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID <= 10; });
    EXPECT_EQ(0u, m_dictionary.getUnusedDataPoolBytes());
    // Ten offsets, ten datatype bytes and their texts: a page each, or two for the texts. For each family a table with
    // its fingerprints, and texts, records and index of the shared texts.
    const size_t pages = 8 + (GetParam().m_hasTerms ? 5 * 6 : 0);
    EXPECT_LE(m_dictionary.getMemoryInUse(), emptyBytes + pages * 4096);
}

TEST_P(DictionaryCompactionTest, bytesLostToSeveralThreadsAreZeroAfterwards) {
    std::vector<std::thread> threads;
    for (size_t threadIndex = 0; threadIndex < 4; ++threadIndex)
        threads.emplace_back([this, threadIndex] {
            DictionaryThread thread(m_dictionary);
            resolveAll(m_dictionary, thread, threadIndex * 2000, threadIndex * 2000 + 3000);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_GT(m_dictionary.getUnusedDataPoolBytes(), 0u);
    compactAndCheck(nullptr);
    EXPECT_EQ(9001u, m_dictionary.getNextResourceID());
}

TEST_P(DictionaryCompactionTest, registeredThreadsContinueAfterwards) {
    DictionaryThread first(m_dictionary);
    DictionaryThread second(m_dictionary);
    for (size_t round = 0; round < 5; ++round) {
        resolveAll(m_dictionary, first, round * 1000, round * 1000 + 600);
        resolveAll(m_dictionary, second, round * 1000 + 400, round * 1000 + 1000);
        compactAndCheck([round](const uint64_t resourceID, const ResourceValue&) { return resourceID % 5 != round; });
        // Neither thread writes to memory that is no longer its own.
        const Resources before = getResources(m_dictionary);
        m_dictionary.resolveResource(first, "of the first, round " + std::to_string(round), D_XSD_STRING);
        m_dictionary.resolveResource(second, "of the second, round " + std::to_string(round), D_XSD_STRING);
        Resources after = getResources(m_dictionary);
        EXPECT_EQ(before.size() + 2, after.size());
        after.erase(m_dictionary.getNextResourceID() - 1);
        after.erase(m_dictionary.getNextResourceID() - 2);
        EXPECT_EQ(before, after);
    }
    EXPECT_NO_THROW(m_dictionary.verify());
}

TEST_P(DictionaryCompactionTest, literalsThatWentAwayComeBackUnderNewIDs) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 100);
    m_dictionary.commit();
    m_dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID > 50; });
    const Literal literal = GetParam().makeLiteral(0);
    EXPECT_EQ(51u, m_dictionary.resolveResource(thread, literal.second, literal.first));
    EXPECT_EQ(0u, m_dictionary.tryResolveResource(m_dictionary.getCommitPoint(), literal.second, literal.first));
    m_dictionary.rollback();
    EXPECT_EQ(0u, m_dictionary.tryResolveResource({100}, literal.second, literal.first));
    EXPECT_EQ(52u, m_dictionary.resolveResource(thread, literal.second, literal.first));
}

TEST_P(DictionaryCompactionTest, aCompactedDictionaryIsSavedAndOpened) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 5000);
    m_dictionary.commit();
    m_dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 2 == 0; });
    const std::string bytes = writeToMemory(m_dictionary);
    const std::unique_ptr<Dictionary> copy = readFromMemory(bytes);
    EXPECT_EQ(getResources(m_dictionary), getResources(*copy));
    EXPECT_EQ(m_dictionary.getCommitPoint().m_resourceID, copy->getCommitPoint().m_resourceID);
    EXPECT_NO_THROW(copy->verify());
    EXPECT_EQ(bytes, writeToMemory(*copy));
}

TEST_P(DictionaryCompactionTest, aSecondCompactionChangesNothingButTheGeneration) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 3000);
    // So many survive that every table keeps its size: in one that shrinks, entries are moved, not reinserted.
    m_dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 10 != 1; });
    ForgedDictionaryFile once(m_dictionary);
    m_dictionary.compact();
    once.set<uint64_t>(once.m_sections.size() - 1, ForgedDictionaryFile::GENERATION, 2);
    EXPECT_TRUE(once.getBytes() == writeToMemory(m_dictionary));
}

/// The state of a dictionary that a failed compaction must not change.
struct Snapshot {
    explicit Snapshot(const Dictionary& dictionary)
        : m_bytes(writeToMemory(dictionary)), m_memoryInUse(dictionary.getMemoryInUse()) {}

    bool operator==(const Snapshot&) const = default;

    std::string m_bytes;
    size_t m_memoryInUse;
};

TEST_P(DictionaryCompactionTest, aPredicateThatThrowsLeavesEverythingAsItWas) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 300);
    m_dictionary.commit();
    resolveAll(m_dictionary, thread, 300, 400);
    const Snapshot before(m_dictionary);
    for (uint64_t last = 1; last <= 400; last += 57) {
        const auto survives = [last](const uint64_t resourceID, const ResourceValue&) {
            if (resourceID == last)
                throw std::runtime_error("no more");
            return true;
        };
        EXPECT_THROW(m_dictionary.compact(survives), std::runtime_error);
        EXPECT_TRUE(before == Snapshot(m_dictionary));
    }
    resolveAll(m_dictionary, thread, 400, 500);
    EXPECT_NO_THROW(m_dictionary.verify());
}

/// The limits cover all memory that a compaction needs, page by page.
TEST_P(DictionaryCompactionTest, memoryThatRunsOutAtAnyPageLeavesEverythingAsItWas) {
    std::string bytes;
    {
        DictionaryThread thread(m_dictionary);
        resolveAll(m_dictionary, thread, 0, 1500);
        m_dictionary.commit();
        resolveAll(m_dictionary, thread, 1500, 2500);
        bytes = writeToMemory(m_dictionary);
    }
    const DictionaryOptions options{.m_keepFingerprints = false};
    const size_t needed = readFromMemory(bytes, TEST_MEMORY_LIMIT, options)->getMemoryInUse();
    size_t refused = 0;
    for (size_t memoryLimit = needed;; memoryLimit += 4096) {
        const std::unique_ptr<Dictionary> dictionary = readFromMemory(bytes, memoryLimit, options);
        const Snapshot before(*dictionary);
        try {
            dictionary->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 4 != 0; });
            EXPECT_EQ(1876u, dictionary->getNextResourceID());
            EXPECT_EQ(1126u, dictionary->getCommitPoint().m_resourceID);
            EXPECT_NO_THROW(dictionary->verify());
            break;
        } catch (const MemoryExhaustedException&) {
            ++refused;
        }
        ASSERT_TRUE(before == Snapshot(*dictionary)) << memoryLimit;
        ASSERT_NO_THROW(dictionary->verify());
    }
    EXPECT_GT(refused, 30u);
}

TEST_P(DictionaryCompactionTest, everyRefusalOfTheSystemLeavesEverythingAsItWas) {
    DictionaryThread thread(m_dictionary);
    resolveAll(m_dictionary, thread, 0, 1000);
    m_dictionary.rollback();
    resolveAll(m_dictionary, thread, 500, 2000);
    const std::string bytes = writeToMemory(m_dictionary);
    const FailureCounts counts = failEach(
        ofCalls({SystemCallFaults::Call::MMAP, SystemCallFaults::Call::MPROTECT}, {ENOMEM}), [&](FailureRound& round) {
            const std::unique_ptr<Dictionary> dictionary = readFromMemory(bytes);
            const Snapshot before(*dictionary);
            if (!round.attempt([&] { dictionary->compact(); })) {
                EXPECT_TRUE(before == Snapshot(*dictionary));
                dictionary->compact();
            }
            EXPECT_EQ(1501u, dictionary->getNextResourceID());
            EXPECT_NO_THROW(dictionary->verify());
            expectChargesAddUp(*dictionary);
        });
    EXPECT_LE(8u, counts.m_throws);
    std::cout << "Compacting, calls: " << counts << '\n';
    // A compaction that only releases memory does not fail.
    const FailureCounts countsOfReleases = failEach(
        ofCalls({SystemCallFaults::Call::MUNMAP, SystemCallFaults::Call::MADVISE}, {ENOMEM}), [&](FailureRound& round) {
            const std::unique_ptr<Dictionary> dictionary = readFromMemory(bytes);
            EXPECT_TRUE(round.attempt([&] { dictionary->compact(); }));
            EXPECT_EQ(1501u, dictionary->getNextResourceID());
            EXPECT_NO_THROW(dictionary->verify());
            expectChargesAddUp(*dictionary);
        });
    EXPECT_LT(2u, countsOfReleases.m_tolerated);
    std::cout << "Compacting, releases: " << countsOfReleases << '\n';
    EXPECT_NO_THROW(m_dictionary.compact());
    EXPECT_NO_THROW(m_dictionary.verify());
}

INSTANTIATE_TEST_SUITE_P(Contents, DictionaryCompactionTest, ALL_CONTENTS, nameContents);

} // namespace
