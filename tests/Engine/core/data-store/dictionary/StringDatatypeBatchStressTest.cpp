#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/ResourcesByForm.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/RepeatUntilDeadline.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <limits>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

constexpr uint32_t SHARED_LITERALS = 6000; // resolved by all threads, never deleted
constexpr size_t STEPS = 600;              // of all threads together

/// Returns the largest size: several groups, but at most two if many threads make the batches slow.
uint32_t getLargestBatch(const size_t numberOfThreads) {
    return (numberOfThreads <= 64 ? 5 : 2) * uint32_t(PreparedEntries::CAPACITY);
}

/// Makes a valid literal of either datatype; some are too long for a one-byte size header.
OwnedLiteral makeLiteral(const std::string& kind, const uint64_t number) {
    return {kind + std::string(number % 7 == 0 ? 150 : 0, '.') + std::to_string(number) + "@en",
            number % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL};
}

/// One datatype, used by batches and single operations of many threads, and their findings.
template<class T>
class BatchStressRun {
public:
    BatchStressRun(const size_t numberOfThreads, const uint32_t seed)
        : m_numberOfThreads(numberOfThreads), m_seed(seed), m_sharedIDs(SHARED_LITERALS) {}

    void run() {
        runTogether(m_numberOfThreads, [this](const size_t index) { Worker(*this, index).work(); });
    }

    /// Checks everything that must hold after any interleaving.
    void check() {
        expectSound(m_fixture);
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
            EXPECT_LT(1024u, getTable(m_fixture, datatypeID).getNumberOfBuckets())
                << "the run never resized: it tested nothing";
        EXPECT_LT(0u, m_batchesWithGrowth.load()) << "no batch saw a resize";
        OwnedLiterals literals;
        BatchAnswers expected;
        size_t sharedLiterals = 0;
        for (uint32_t number = 0; number < SHARED_LITERALS; ++number) {
            literals.push_back(makeLiteral("shared ", number));
            expected.m_resourceIDs.push_back(m_sharedIDs[number].load());
            sharedLiterals += expected.m_resourceIDs.back() != 0;
        }
        EXPECT_LT(2 * sharedLiterals, m_sharedAnswers.load()) << "the batches hardly overlapped";
        EXPECT_EQ(expected, lookUpAtOnce(m_fixture, literals, EVERYTHING));
        checkEveryResource(sharedLiterals);
    }

private:
    class Worker;

    /// Checks that each literal has its share of the assigned IDs, and none was lost.
    void checkEveryResource(const size_t sharedLiterals) {
        size_t sharedResources = 0;
        size_t ownResources = 0;
        for (const auto& [lexicalForm, resources] : countResourcesByForm(m_fixture))
            if (lexicalForm.starts_with("shared ")) {
                EXPECT_EQ(1u, resources) << lexicalForm;
                ++sharedResources;
            } else {
                EXPECT_GE(2u, resources) << lexicalForm;
                ownResources += resources;
            }
        EXPECT_EQ(sharedLiterals, sharedResources);
        EXPECT_EQ(m_ownResources.load(), ownResources);
    }

    const size_t m_numberOfThreads;
    const uint32_t m_seed;
    DictionaryFixture<T> m_fixture;
    std::vector<std::atomic<uint64_t>> m_sharedIDs; // 0 until a thread has got one
    std::atomic<size_t> m_sharedAnswers{0};
    std::atomic<size_t> m_ownResources{0};
    std::atomic<size_t> m_batchesWithGrowth{0};
};

/// The work of one thread.
template<class T>
class BatchStressRun<T>::Worker {
public:
    Worker(BatchStressRun& run, const size_t index)
        : m_run(run), m_fixture(run.m_fixture), m_datatype(run.m_fixture.m_datatype), m_index(index),
          m_largestBatch(getLargestBatch(run.m_numberOfThreads)), m_random(run.m_seed + static_cast<uint32_t>(index)) {
        if (index % 4 != 3)
            m_threadContext.emplace(m_fixture.m_dataPool);
    }

    void work() {
        const size_t steps = STEPS / m_run.m_numberOfThreads + 4;
        for (size_t step = 0; step < steps; ++step)
            switch (step < 2 ? step : m_random() % 8) { // every thread does the first two
            case 0:
            case 2:
                resolveShared();
                break;
            case 1:
                resolveDeleteAndResolveOwn(step);
                break;
            case 3:
            case 4:
                resolveSharedOneByOne();
                break;
            case 5:
                lookSharedUp();
                break;
            case 6:
                lookSharedUpBeforeACommitPoint();
                break;
            default:
                readShared();
            }
    }

private:
    DictionaryThreadContext* getContext() { return m_threadContext.has_value() ? &*m_threadContext : nullptr; }

    std::vector<uint32_t> drawNumbers() {
        std::vector<uint32_t> numbers(m_random() % m_largestBatch);
        for (uint32_t& number : numbers)
            number = static_cast<uint32_t>(m_random() % SHARED_LITERALS);
        return numbers;
    }

    static OwnedLiterals makeShared(const std::vector<uint32_t>& numbers) {
        OwnedLiterals literals;
        for (const uint32_t number : numbers)
            literals.push_back(makeLiteral("shared ", number));
        return literals;
    }

    BatchAnswers resolve(const OwnedLiterals& literals) {
        auto& table = getTable(m_fixture);
        const size_t numberOfBuckets = table.getNumberOfBuckets();
        BatchAnswers answers =
            answerAtOnce(literals, [this](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
                m_datatype.resolveResources(getContext(), entries, failures);
            });
        m_run.m_batchesWithGrowth += table.getNumberOfBuckets() != numberOfBuckets;
        return answers;
    }

    /// Expects that all threads get the same ID.
    void noteShared(const uint32_t number, const uint64_t resourceID) {
        ASSERT_NE(0u, resourceID);
        uint64_t known = 0;
        if (!m_run.m_sharedIDs[number].compare_exchange_strong(known, resourceID)) {
            ASSERT_EQ(known, resourceID);
        }
        ++m_run.m_sharedAnswers;
    }

    /// Resolves shared literals, with refused ones among them.
    void resolveShared() {
        std::vector<uint32_t> numbers = drawNumbers();
        OwnedLiterals literals = makeShared(numbers);
        constexpr uint32_t REFUSED = SHARED_LITERALS;
        for (size_t index = 30; index < literals.size(); index += 70) {
            literals.insert(literals.begin() + static_cast<ptrdiff_t>(index), {"no tag", D_RDF_PLAIN_LITERAL});
            numbers.insert(numbers.begin() + static_cast<ptrdiff_t>(index), REFUSED);
        }
        const BatchAnswers answers = resolve(literals);
        size_t failures = 0;
        for (size_t index = 0; index < numbers.size(); ++index)
            if (numbers[index] == REFUSED) {
                ASSERT_EQ(0u, answers.m_resourceIDs[index]);
                ASSERT_GT(answers.m_failures.size(), failures);
                ASSERT_EQ(index, answers.m_failures[failures++].first);
            } else
                noteShared(numbers[index], answers.m_resourceIDs[index]);
        ASSERT_EQ(failures, answers.m_failures.size());
    }

    void resolveSharedOneByOne() {
        for (uint32_t count = 0; count < 50; ++count) {
            const auto number = static_cast<uint32_t>(m_random() % SHARED_LITERALS);
            const auto [lexicalForm, datatypeID] = makeLiteral("shared ", number);
            noteShared(number,
                       m_datatype.resolveResource(getContext(), lexicalForm.data(), lexicalForm.size(), datatypeID));
        }
    }

    void lookSharedUp() {
        const std::vector<uint32_t> numbers = drawNumbers();
        std::vector<uint64_t> knownBefore;
        for (const uint32_t number : numbers)
            knownBefore.push_back(m_run.m_sharedIDs[number].load());
        const BatchAnswers answers = lookUpAtOnce(m_fixture, makeShared(numbers), EVERYTHING);
        ASSERT_TRUE(answers.m_failures.empty());
        for (size_t index = 0; index < numbers.size(); ++index)
            if (knownBefore[index] != 0)
                ASSERT_EQ(knownBefore[index], answers.m_resourceIDs[index]);
            else if (answers.m_resourceIDs[index] != 0)
                noteShared(numbers[index], answers.m_resourceIDs[index]);
    }

    void lookSharedUpBeforeACommitPoint() {
        const std::vector<uint32_t> numbers = drawNumbers();
        std::vector<uint64_t> knownBefore;
        for (const uint32_t number : numbers)
            knownBefore.push_back(m_run.m_sharedIDs[number].load());
        const DictionaryCommitPoint commitPoint{m_random() % m_fixture.m_nextResourceID.load()};
        const BatchAnswers answers = lookUpAtOnce(m_fixture, makeShared(numbers), commitPoint);
        for (size_t index = 0; index < numbers.size(); ++index) {
            ASSERT_TRUE(answers.m_resourceIDs[index] == 0 || answers.m_resourceIDs[index] < commitPoint.m_resourceID);
            if (knownBefore[index] != 0) {
                ASSERT_EQ(knownBefore[index] < commitPoint.m_resourceID ? knownBefore[index] : 0,
                          answers.m_resourceIDs[index]);
            }
        }
    }

    void readShared() {
        std::vector<uint32_t> numbers;
        std::vector<BatchEntry> entries;
        for (const uint32_t number : drawNumbers()) {
            const uint64_t resourceID = m_run.m_sharedIDs[number].load();
            numbers.push_back(number);
            entries.push_back({{}, resourceID, resourceID == 0 ? D_INVALID : D_XSD_STRING});
        }
        m_datatype.getResources(entries);
        for (size_t index = 0; index < entries.size(); ++index)
            ASSERT_EQ(entries[index].m_resourceID == 0 ? "" : makeLiteral("shared ", numbers[index]).m_lexicalForm,
                      entries[index].m_lexicalForm);
    }

    /// Resolves, deletes and resolves again literals that no other thread uses.
    void resolveDeleteAndResolveOwn(const size_t step) {
        OwnedLiterals literals;
        const size_t size = 1 + m_random() % m_largestBatch;
        for (size_t number = 0; number < size; ++number)
            literals.push_back(
                makeLiteral("own " + std::to_string(m_index) + " " + std::to_string(step) + " ", number));
        const BatchAnswers first = resolve(literals);
        ASSERT_TRUE(first.m_failures.empty());
        for (size_t index = 1; index < size; ++index)
            ASSERT_LT(first.m_resourceIDs[index - 1], first.m_resourceIDs[index]) << "in the order of the entries";
        BatchAnswers expected = first;
        for (size_t index = 0; index < size; index += 2) {
            m_datatype.deleteUncommittedResourceID(first.m_resourceIDs[index], literals[index].m_datatypeID);
            expected.m_resourceIDs[index] = 0;
        }
        ASSERT_EQ(expected, lookUpAtOnce(m_fixture, literals, EVERYTHING));
        const BatchAnswers second = resolve(literals);
        for (size_t index = 0; index < size; ++index)
            if (index % 2 == 0)
                ASSERT_LT(first.m_resourceIDs[size - 1], second.m_resourceIDs[index]);
            else
                ASSERT_EQ(first.m_resourceIDs[index], second.m_resourceIDs[index]);
        ASSERT_EQ(second, lookUpAtOnce(m_fixture, literals, EVERYTHING));
        m_run.m_ownResources += size + (size + 1) / 2;
    }

    BatchStressRun& m_run;
    DictionaryFixture<T>& m_fixture;
    StringDatatype<T>& m_datatype;
    const size_t m_index;
    const uint32_t m_largestBatch;
    std::minstd_rand m_random;
    std::optional<DictionaryThreadContext> m_threadContext;
};

template<class T>
class StringDatatypeBatchStressTest : public testing::Test {
protected:
    static void stress(const size_t numberOfThreads) {
        SCOPED_TRACE(testing::Message() << numberOfThreads << " threads");
        repeatUntilDeadline([numberOfThreads](const uint32_t seed) {
            BatchStressRun<T> run(numberOfThreads, seed * 1000); // each thread adds its number
            run.run();
            run.check();
        });
    }
};

constexpr size_t LITERALS_FOR_MEMORY = 850; // those of one datatype exceed its first table

/// Threads resolve the same literals, each in its own batches and order, with `pages` pages of memory to share. Returns
/// how often they were refused.
template<class T>
size_t resolveWithin(const size_t pages, const size_t numberOfThreads) {
    SCOPED_TRACE(testing::Message() << pages << " pages for " << numberOfThreads << " threads");
    DictionaryFixture<T> fixture;
    OwnedLiterals literals;
    for (size_t number = 0; number < LITERALS_FOR_MEMORY; ++number)
        literals.push_back(
            {"literal " + std::to_string(number) + "@en", number % 8 == 0 ? D_RDF_PLAIN_LITERAL : D_XSD_STRING});
    std::vector<std::vector<uint64_t>> idsByThread(numberOfThreads, std::vector<uint64_t>(literals.size()));
    std::atomic<size_t> refusals(0);
    std::atomic<size_t> otherFailures(0);
    MemoryShortage shortage(fixture.m_memoryManager, pages * getVMPageSize());
    runTogether(numberOfThreads, [&](const size_t index) {
        DictionaryThreadContext threadContext(fixture.m_dataPool);
        std::vector<BatchEntry> entries = makeBatch(literals);
        const size_t shift = index * 37 % literals.size();
        std::rotate(entries.begin(), entries.begin() + static_cast<ptrdiff_t>(shift), entries.end());
        const size_t batchSize = 50 + 100 * index;
        for (size_t begin = 0; begin < entries.size(); begin += batchSize) {
            const std::span<BatchEntry> batch =
                std::span(entries).subspan(begin, std::min(batchSize, entries.size() - begin));
            std::vector<BatchFailure> failures;
            fixture.m_datatype.resolveResources(&threadContext, batch, failures);
            for (const BatchFailure& failure : failures) {
                try {
                    failure.throwException();
                } catch (const MemoryExhaustedException&) {
                    ++refusals;
                } catch (...) {
                    ++otherFailures;
                }
            }
        }
        for (size_t place = 0; place < entries.size(); ++place)
            idsByThread[index][(place + shift) % entries.size()] = entries[place].m_resourceID;
    });
    shortage.end();
    EXPECT_EQ(0u, otherFailures.load());

    BatchAnswers agreed{std::vector<uint64_t>(literals.size())};
    std::set<uint64_t> distinctIDs;
    for (const std::vector<uint64_t>& resourceIDs : idsByThread)
        for (size_t number = 0; number < literals.size(); ++number)
            if (resourceIDs[number] != 0) {
                if (agreed.m_resourceIDs[number] == 0)
                    agreed.m_resourceIDs[number] = resourceIDs[number];
                EXPECT_EQ(agreed.m_resourceIDs[number], resourceIDs[number]) << number;
                distinctIDs.insert(resourceIDs[number]);
            }
    EXPECT_EQ(fixture.m_nextResourceID.load(), 1 + distinctIDs.size()) << "a refused literal used an ID up";
    EXPECT_EQ(agreed, lookUpAtOnce(fixture, literals, EVERYTHING));
    const BatchAnswers all = resolveAtOnce(fixture, literals);
    EXPECT_TRUE(all.m_failures.empty());
    for (size_t number = 0; number < literals.size(); ++number) {
        EXPECT_TRUE(agreed.m_resourceIDs[number] == 0 || agreed.m_resourceIDs[number] == all.m_resourceIDs[number]);
        EXPECT_EQ(literals[number].m_lexicalForm, fixture.getLexicalForm(all.m_resourceIDs[number]));
    }
    EXPECT_EQ(literals.size() + 1, fixture.m_nextResourceID.load());
    expectSound(fixture);
    return refusals.load();
}

/// Threads insert one string repeatedly, in the middle of a batch, while there is no memory for it, until there is.
template<class T>
void contendForOneBucket(const size_t numberOfThreads) {
    SCOPED_TRACE(testing::Message() << numberOfThreads << " threads");
    DictionaryFixture<T> fixture;
    fixture.resolve("a");
    fixture.resolve("b");
    const std::string contended(100, 'x'); // short, so that the time to hash it does not hide the contention
    ASSERT_NO_FATAL_FAILURE(fillPool(fixture, contended.size()));
    const size_t buckets = getTable(fixture).getNumberOfBuckets();
    const uint64_t nextResourceID = fixture.m_nextResourceID.load();
    const OwnedLiterals literals{{"a", D_XSD_STRING}, {contended, D_XSD_STRING}, {"b", D_XSD_STRING}};
    MemoryShortage shortage(fixture.m_memoryManager, 0);
    std::atomic<size_t> refusals(0);
    std::vector<BatchAnswers> answers(numberOfThreads);
    {
        std::vector<std::jthread> threads;
        for (size_t index = 0; index < numberOfThreads; ++index)
            threads.emplace_back([&, index] {
                for (;;) {
                    answers[index] = resolveAtOnce(fixture, literals);
                    if (answers[index].m_failures.empty())
                        break;
                    ASSERT_EQ((std::vector<uint64_t>{1, 0, 2}), answers[index].m_resourceIDs);
                    ++refusals;
                }
            });
        while (refusals.load() < 3 * numberOfThreads && !testing::Test::HasFailure())
            EXPECT_EQ((BatchAnswers{{1, 0, 2}}), lookUpAtOnce(fixture, literals, EVERYTHING));
        shortage.end();
    }
    for (const BatchAnswers& ofThread : answers)
        EXPECT_EQ((BatchAnswers{{1, nextResourceID, 2}}), ofThread);
    EXPECT_EQ(nextResourceID + 1, fixture.m_nextResourceID.load());
    EXPECT_EQ(contended, fixture.getLexicalForm(nextResourceID));
    EXPECT_EQ(buckets, getTable(fixture).getNumberOfBuckets()) << "threads waited for a resize, not for the bucket";
    expectSound(fixture);
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeBatchStressTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeBatchStressTest, twoThreadsAgreeOnEverything) {
    TestFixture::stress(2);
}

TYPED_TEST(StringDatatypeBatchStressTest, eightThreadsAgreeOnEverything) {
    TestFixture::stress(8);
}

TYPED_TEST(StringDatatypeBatchStressTest, sixtyFourThreadsAgreeOnEverything) {
    TestFixture::stress(64);
}

TYPED_TEST(StringDatatypeBatchStressTest, moreThreadsThanSlotsAgreeOnEverything) {
    TestFixture::stress(300);
}

// Two threads meet every growth; eight, which take long because they are often refused, every third one.
TYPED_TEST(StringDatatypeBatchStressTest, memoryThatEndsAtAnyGrowthHarmsNothing) {
    for (const auto& [numberOfThreads, step] : {std::pair(size_t(2), size_t(1)), std::pair(size_t(8), size_t(3))}) {
        size_t pages = 0;
        while (resolveWithin<TypeParam>(pages, numberOfThreads) != 0) {
            ASSERT_FALSE(testing::Test::HasFailure());
            pages += step;
        }
        EXPECT_LT(5u, pages) << "hardly any growth has failed";
    }
}

TYPED_TEST(StringDatatypeBatchStressTest, insertionsThatFailLeaveTheirBucketToThoseThatWaitForIt) {
    repeatUntilDeadline([](uint32_t) {
        for (const size_t numberOfThreads : {size_t(2), size_t(8), size_t(64)})
            contendForOneBucket<TypeParam>(numberOfThreads);
    });
}
