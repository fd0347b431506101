#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/support/StressDuration.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(256) << 20;
constexpr uint64_t WIDE = uint64_t(1) << 33;
constexpr uint64_t NARROW = 100000000;
constexpr size_t LITERALS = 4000;
constexpr size_t LARGEST_BATCH = 300;

std::string makePrefix(const uint64_t round) {
    return "http://example.org/round/" + std::to_string(round) + '/';
}

/// Makes literals, with IRIs and typed literals among them on request, for batches that several datatype objects serve.
OwnedLiterals makeLiterals(const uint64_t round, const bool hasTerms) {
    constexpr std::array<uint8_t, 4> DATATYPE_IDS{D_XSD_STRING, D_RDF_PLAIN_LITERAL, D_IRI, D_TYPED_LITERAL};
    OwnedLiterals literals;
    for (size_t number = 0; number < LITERALS; ++number) {
        const uint8_t datatypeID = DATATYPE_IDS[number % (hasTerms ? 4 : 2)];
        literals.push_back({makePrefix(round) + std::to_string(number) +
                                (datatypeID == D_RDF_PLAIN_LITERAL ? "@en"
                                 : datatypeID == D_TYPED_LITERAL   ? "^^x:y"
                                                                   : ""),
                            datatypeID});
    }
    return literals;
}

size_t getNumberOfBuckets(const Dictionary& dictionary) {
    return dictionary.getComponentInfo()->getSumOverNumericMetric(ComponentInfo::Metric::NUMBER_OF_BUCKETS,
                                                                  std::nullopt);
}

/// Resolves all literals in one thread, in batches of random sizes and in its own order.
void resolveAll(Dictionary& dictionary, const OwnedLiterals& literals, const unsigned seed,
                std::vector<uint64_t>& resourceIDs) {
    DictionaryThread thread(dictionary);
    std::minstd_rand random(seed);
    std::vector<BatchEntry> entries = makeBatch(literals);
    const size_t shift = random() % entries.size();
    std::rotate(entries.begin(), entries.begin() + static_cast<ptrdiff_t>(shift), entries.end());
    std::vector<BatchFailure> failures;
    for (size_t begin = 0; begin < entries.size();) {
        const size_t size = std::min(random() % LARGEST_BATCH + 1, entries.size() - begin);
        dictionary.resolveResources(thread, std::span(entries).subspan(begin, size), failures);
        begin += size;
    }
    EXPECT_TRUE(failures.empty());
    for (size_t place = 0; place < entries.size(); ++place)
        resourceIDs[(place + shift) % entries.size()] = entries[place].m_resourceID;
}

/// Reads the latest IDs: each has a complete literal of this round, or none yet. Returns how many were read.
size_t readNewest(const Dictionary& dictionary, const uint64_t commitPoint, const uint64_t round,
                  std::minstd_rand& random) {
    std::vector<BatchEntry> entries(LARGEST_BATCH);
    const uint64_t range = dictionary.getNextResourceID() + 20 - commitPoint;
    for (BatchEntry& entry : entries)
        entry.m_resourceID = commitPoint + random() % range;
    dictionary.getResources(entries);
    const std::string prefix = makePrefix(round);
    size_t numberOfRead = 0;
    for (const BatchEntry& entry : entries) {
        if (entry.m_datatypeID == D_INVALID) {
            EXPECT_EQ("", entry.m_lexicalForm);
            continue;
        }
        std::string form;
        dictionary.appendLexicalForm(entry, form);
        EXPECT_TRUE(form.starts_with(prefix)) << form;
        EXPECT_EQ(form.ends_with("@en"), entry.m_datatypeID == D_RDF_PLAIN_LITERAL);
        EXPECT_EQ(form.ends_with("^^x:y"), entry.m_datatypeID == D_TYPED_LITERAL);
        ++numberOfRead;
    }
    return numberOfRead;
}

/// In each round, all threads resolve the same new literals in batches, while others look up and read in batches. Then,
/// alone, every second round is committed and the others are rolled back.
void resolveLookUpCommitAndRollBack(const uint64_t maximumNumberOfResources, const size_t numberOfThreads,
                                    const bool hasTerms) {
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources});
    const size_t bucketsBefore = getNumberOfBuckets(dictionary);
    const auto deadline = getStressDeadline();
    std::minstd_rand random(1);
    OwnedLiterals committed;
    std::vector<uint64_t> committedIDs;
    size_t numberOfRead = 0;
    uint64_t round = 0;
    do {
        const OwnedLiterals literals = makeLiterals(round, hasTerms);
        const DictionaryCommitPoint commitPoint = dictionary.getCommitPoint();
        const uint64_t firstNewID = dictionary.getNextResourceID();
        std::vector<std::vector<uint64_t>> ids(numberOfThreads, std::vector<uint64_t>(LITERALS));
        std::vector<std::thread> threads;
        std::atomic<size_t> resolvingThreads(numberOfThreads);
        std::atomic<bool> wasRead(false); // a round does not end before, however late the reader starts
        for (size_t threadIndex = 0; threadIndex < numberOfThreads; ++threadIndex)
            threads.emplace_back([&, threadIndex] {
                resolveAll(dictionary, literals, static_cast<unsigned>(1 + threadIndex + round), ids[threadIndex]);
                while (!wasRead.load())
                    std::this_thread::yield();
                --resolvingThreads;
            });
        do { // an unregistered reader shares slot 0 with one of the writers
            std::vector<BatchFailure> failures;
            std::vector<BatchEntry> entries = makeBatch(literals);
            dictionary.tryResolveResources(commitPoint, entries, failures);
            for (const BatchEntry& entry : entries)
                EXPECT_EQ(0u, entry.m_resourceID) << "a lookup sees what is not committed";
            entries = makeBatch(committed);
            dictionary.tryResolveResources(commitPoint, entries, failures);
            for (size_t index = 0; index < entries.size(); ++index)
                EXPECT_EQ(committedIDs[index], entries[index].m_resourceID);
            EXPECT_TRUE(failures.empty());
            const size_t numberOfNewest = readNewest(dictionary, firstNewID, round, random);
            if (resolvingThreads.load() != 0)
                numberOfRead += numberOfNewest;
            wasRead.store(true);
        } while (resolvingThreads.load() != 0);
        for (std::thread& thread : threads)
            thread.join();
        for (size_t threadIndex = 1; threadIndex < numberOfThreads; ++threadIndex)
            ASSERT_EQ(ids[0], ids[threadIndex]) << "all threads agree, round " << round;
        ASSERT_EQ((round + 1) * LITERALS + 1, dictionary.getNextResourceID()) << "one ID a literal";
        std::vector<BatchEntry> entries(LITERALS);
        for (size_t number = 0; number < LITERALS; ++number)
            entries[number].m_resourceID = ids[0][number];
        dictionary.getResources(entries);
        for (size_t number = 0; number < LITERALS; ++number) {
            std::string form;
            dictionary.appendLexicalForm(entries[number], form);
            ASSERT_EQ(literals[number].m_lexicalForm, form);
        }
        if (round % 2 == 0) {
            dictionary.commit();
            if (committed.size() < 2 * LITERALS) {
                committed.insert(committed.end(), literals.begin(), literals.end());
                committedIDs.insert(committedIDs.end(), ids[0].begin(), ids[0].end());
            }
        } else
            dictionary.rollback();
        ++round;
    } while (isBefore(deadline) || round < 4);
    dictionary.verify();
    EXPECT_GT(numberOfRead, 0u) << "no thread read while others resolved";
    EXPECT_GT(getNumberOfBuckets(dictionary), bucketsBefore) << "the run never resized: it tested nothing";
}

TEST(DictionaryBatchStressTest, narrowBucketsTwoThreads) {
    resolveLookUpCommitAndRollBack(NARROW, 2, false);
}

TEST(DictionaryBatchStressTest, wideBucketsEightThreads) {
    resolveLookUpCommitAndRollBack(WIDE, 8, false);
}

TEST(DictionaryBatchStressTest, mixedBatchesEightThreads) {
    resolveLookUpCommitAndRollBack(NARROW, 8, true);
}

} // namespace
