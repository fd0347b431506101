#include "tools/melnar-dict/saved/FolderDictionary.h"

#include "Engine/core/data-store/Dictionary.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/saved/DictionaryFolder.h"
#include "tests/tools/melnar-dict/saved/SampleTerms.h"
#include "tools/melnar-dict/saved/WholeEntries.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <set>
#include <string>

namespace {

using Call = SystemCallFaults::Call;

constexpr size_t MEMORY_LIMIT = size_t(64) << 20;

/// The samples as a folder.
class FolderDictionaryTest : public testing::Test {
protected:
    using Terms = std::map<uint64_t, std::string>; // forms with datatype IDs

    FolderDictionaryTest() {
        DictionaryFolder::add(*makeDictionaryOfTerms(), m_folder);
        m_terms = getTerms(*open());
    }

    std::unique_ptr<SavedDictionary> open() const { return SavedDictionary::open(m_folder, MEMORY_LIMIT); }

    static std::string toText(const BatchEntry& entry) {
        return std::to_string(entry.m_datatypeID) + std::string(entry.m_lexicalForm);
    }

    static Terms getTerms(const SavedDictionary& dictionary) {
        Terms terms;
        dictionary.forEachPart([&terms](const SavedDictionary::Part& part) {
            forEachWholeEntry(part, [&terms](const BatchEntry& entry) {
                EXPECT_TRUE(terms.emplace(entry.m_resourceID, toText(entry)).second);
            });
        });
        return terms;
    }

    /// Reads all terms by their IDs in one batch.
    Terms readTerms(const SavedDictionary& dictionary) const {
        std::vector<BatchEntry> entries;
        for (const auto& [id, text] : m_terms)
            entries.push_back({{}, id, 0});
        dictionary.getResources(entries);
        Terms terms;
        std::string form;
        for (BatchEntry& entry : entries) {
            EXPECT_EQ(entry.m_affixNumber == 0, dictionary.getAffix(entry).empty());
            makeWhole(dictionary, entry, form);
            terms.emplace(entry.m_resourceID, toText(entry));
        }
        return terms;
    }

    const TemporaryDirectory m_directory;
    const std::string m_folder = m_directory.getPathOf("f");
    Terms m_terms;
};

TEST_F(FolderDictionaryTest, partsHaveTheIdsOfTheWhole) {
    EXPECT_EQ(makeSampleTerms().size(), m_terms.size());
    const auto dictionary = open();
    EXPECT_EQ(m_terms.rbegin()->first, dictionary->getLargestResourceID());
    EXPECT_EQ(m_terms, readTerms(*dictionary));
    std::set<uint64_t> firstIDs;
    dictionary->forEachPart([&](const SavedDictionary::Part& part) {
        EXPECT_TRUE(firstIDs.insert(part.m_firstID).second);
        dictionary->verify(part);
    });
    EXPECT_EQ(1u, firstIDs.count(ShardLayout::getShard(m_terms.begin()->first) + 1));
}

TEST_F(FolderDictionaryTest, aFileHasOnePartWithItsOwnIds) {
    makeDictionaryOfTerms()->save(m_directory.getPathOf("d"));
    const auto dictionary = SavedDictionary::open(m_directory.getPathOf("d"), MEMORY_LIMIT);
    const Terms terms = getTerms(*dictionary);
    EXPECT_EQ(makeSampleTerms().size(), terms.rbegin()->first);
    EXPECT_EQ(terms.size(), dictionary->getLargestResourceID());
    EXPECT_NO_THROW(dictionary->requireWholeState());
}

TEST_F(FolderDictionaryTest, whatWasOpenedStaysReadableWhenAWriterReplacesIt) {
    const auto dictionary = open();
    Dictionary more({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 10000});
    {
        DictionaryThread thread(more);
        for (int number = 0; number < 2000; ++number) // some in each shard, so all files are replaced
            more.resolveResource(thread, std::to_string(number), D_XSD_STRING);
    }
    DictionaryFolder::add(more, m_folder);
    EXPECT_EQ(m_terms, readTerms(*dictionary));
    std::vector<BatchEntry> entries{{"text", 0, D_XSD_STRING}, {"17", 0, D_XSD_STRING}, {"1999", 0, D_XSD_STRING}};
    std::vector<BatchFailure> failures;
    dictionary->tryResolveResources(entries, failures);
    EXPECT_TRUE(m_terms.contains(entries[0].m_resourceID));
    EXPECT_EQ(0u, entries[1].m_resourceID) << "the history that was read does not cover it";
    EXPECT_EQ(0u, entries[2].m_resourceID);
    open()->tryResolveResources(entries, failures);
    EXPECT_NE(0u, entries[1].m_resourceID);
}

TEST_F(FolderDictionaryTest, onlyAWholeStateCanBeNamed) {
    EXPECT_NO_THROW(open()->requireWholeState());
    Dictionary more({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 10});
    {
        DictionaryThread thread(more);
        more.resolveResource(thread, "more", D_XSD_STRING);
    }
    DictionaryFolder::add(more, m_folder, ShardedDictionary::State::INTERMEDIATE);
    EXPECT_EQ(ExitCode::FAILURE, catchException<ToolFailure>([&] { open()->requireWholeState(); }).getExitCode());
    DictionaryFolder::add(more, m_folder);
    EXPECT_NO_THROW(open()->requireWholeState());
}

TEST_F(FolderDictionaryTest, aShardThatCouldNotBeReadIsReadOnTheNextRequest) {
    for (const Call call : {Call::OPEN, Call::READ, Call::MMAP, Call::MPROTECT}) {
        const FailureCounts counts = failEach(ofCalls({call}, {EIO}), [this](FailureRound& round) {
            const auto dictionary = open();
            round.attempt([&] { EXPECT_EQ(m_terms, readTerms(*dictionary)); });
            EXPECT_EQ(m_terms, readTerms(*dictionary));
        });
        EXPECT_LT(1u, counts.m_failures);
    }
}

TEST_F(FolderDictionaryTest, anAllocationThatFailsLeavesTheDictionaryUsable) {
    const FailureCounts counts = failEach(ofAllocations(), [this](FailureRound& round) {
        const auto dictionary = open();
        BatchEntry entry{{}, m_terms.begin()->first, 0};
        round.attempt([&] { dictionary->getResources({&entry, 1}); });
        EXPECT_EQ(m_terms, readTerms(*dictionary));
    });
    EXPECT_LT(2u, counts.m_throws);
}

} // namespace
