#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/RunTogether.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr size_t NUMBER_OF_THREADS = 4;
constexpr uint32_t NUMBER_OF_TERMS = 6000;

/// Returns terms with new namespaces and datatypes all the time, so that their index grows while others read it.
std::pair<std::string, uint8_t> makeTerm(const uint32_t number) {
    if (number % 2 == 0)
        return {"http://example.org/" + std::to_string(number / 8) + "/" + std::to_string(number), D_IRI};
    return {std::to_string(number) + "^^http://example.org/type" + std::to_string(number / 4), D_TYPED_LITERAL};
}

/// All threads concurrently make the first terms of a family, its tables and its shared texts.
TEST(TermDatatypeStressTest, allThreadsGetOneIDForATermAndReadItBack) {
    for (const uint32_t seed : getTestSeeds(3)) {
        SCOPED_TRACE(describeSeed(seed));
        Dictionary dictionary({.m_memoryLimit = size_t(1) << 28, .m_maximumNumberOfResources = uint64_t(1) << 30});
        std::vector<std::vector<uint64_t>> resourceIDs(NUMBER_OF_THREADS, std::vector<uint64_t>(NUMBER_OF_TERMS, 0));
        runTogether(NUMBER_OF_THREADS, [&](const size_t threadIndex) {
            DictionaryThread thread(dictionary);
            std::minstd_rand random(seed + static_cast<uint32_t>(threadIndex));
            std::vector<std::pair<std::string, uint8_t>> terms;
            std::vector<BatchFailure> failures;
            uint32_t begin = 0;
            while (begin < NUMBER_OF_TERMS) {
                const uint32_t size =
                    std::min<uint32_t>(static_cast<uint32_t>(random() % 60) + 1, NUMBER_OF_TERMS - begin);
                terms.clear();
                for (uint32_t number = begin; number < begin + size; ++number)
                    terms.push_back(makeTerm(number));
                std::vector<BatchEntry> entries;
                for (const auto& [form, datatypeID] : terms)
                    entries.push_back({form, 0, datatypeID});
                if (size % 3 == 0)
                    for (BatchEntry& entry : entries)
                        entry.m_resourceID =
                            dictionary.resolveResource(thread, entry.m_lexicalForm, entry.m_datatypeID);
                else
                    dictionary.resolveResources(thread, entries, failures);
                for (uint32_t index = 0; index < size; ++index)
                    resourceIDs[threadIndex][begin + index] = entries[index].m_resourceID;
                dictionary.getResources(entries);
                for (uint32_t index = 0; index < size; ++index) {
                    std::string form;
                    dictionary.appendLexicalForm(entries[index], form);
                    ASSERT_EQ(terms[index].first, form);
                }
                begin += size;
            }
            ASSERT_TRUE(failures.empty());
        });
        for (size_t threadIndex = 1; threadIndex < NUMBER_OF_THREADS; ++threadIndex)
            ASSERT_EQ(resourceIDs[0], resourceIDs[threadIndex]);
        EXPECT_EQ(NUMBER_OF_TERMS + 1, dictionary.getNextResourceID());
        dictionary.verify();
        size_t numberOfShared = 0;
        for (uint64_t resourceID = 1; resourceID <= NUMBER_OF_TERMS; ++resourceID) {
            ResourceValue value;
            dictionary.getResource(resourceID, value);
            numberOfShared += value.m_auxiliaryDataSize != 0;
        }
        EXPECT_LE(NUMBER_OF_TERMS / 2, numberOfShared) << "the threads have hardly shared texts";
    }
}

/// The tables of families are made, with fingerprints, while strings use all memory and reclaim all fingerprints.
TEST(TermDatatypeStressTest, firstTermsComeWhileTheMemoryRunsOut) {
    constexpr size_t LIMIT = size_t(1) << 20;
    std::atomic<size_t> numberOfShortages = 0;
    std::atomic<size_t> numberOfTerms = 0;
    for (uint32_t round = 0; round < 40; ++round) {
        Dictionary dictionary({.m_memoryLimit = LIMIT, .m_maximumNumberOfResources = 100000});
        runTogether(NUMBER_OF_THREADS, [&](const size_t threadIndex) {
            DictionaryThread thread(dictionary);
            const bool makesStrings = threadIndex < NUMBER_OF_THREADS / 2;
            const std::string name = std::to_string(threadIndex) + '-';
            for (uint32_t number = 0; number < (makesStrings ? 20000u : 400u); ++number)
                try {
                    const std::string text = name + std::to_string(number);
                    if (makesStrings)
                        dictionary.resolveResource(thread, text, D_XSD_STRING);
                    else if (number % 100 == round % 100)
                        dictionary.resolveResource(thread, text, number < 200 ? D_IRI : D_BLANK_NODE);
                    else
                        static_cast<void>(dictionary.tryResolveResource({1}, text, D_IRI));
                    numberOfTerms += !makesStrings;
                } catch (const MemoryExhaustedException&) {
                    ++numberOfShortages;
                }
        });
        ASSERT_NO_THROW(dictionary.verify());
        ASSERT_GE(LIMIT, dictionary.getMemoryInUse());
    }
    EXPECT_LT(0u, numberOfShortages) << "the memory has never run out";
    EXPECT_LT(0u, numberOfTerms);
}

} // namespace
