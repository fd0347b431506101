#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <span>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Literal = DictionaryModel::Literal;

constexpr size_t STEPS = 120;

/// A dictionary and its model, which perform the same steps.
class ModelRun {
public:
    ModelRun(const uint32_t seed, const uint64_t maximumNumberOfResources)
        : m_random(seed),
          m_dictionary(std::make_unique<Dictionary>(DictionaryOptions{
              .m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources})),
          m_thread(std::make_unique<DictionaryThread>(*m_dictionary)) {}

    void takeStep() {
        const uint32_t choice = drawNumber() % 100;
        if (choice < 50)
            resolve(drawNumber() % 4 + 1, drawNumber() % 12 == 0 ? 20000 : 600);
        else if (choice < 65) {
            m_model.commit();
            EXPECT_EQ(m_model.m_commitPoint, m_dictionary->commit().m_resourceID);
        } else if (choice < 80) {
            m_model.rollback();
            m_dictionary->rollback();
        } else if (choice < 88)
            compact();
        else
            saveAndOpen(choice % 2 == 0);
    }

    /// Expects that dictionary and model agree.
    void check() {
        ASSERT_NO_FATAL_FAILURE(m_model.expectSameResources(*m_dictionary));
        std::vector<uint64_t> commitPoints = {0, m_model.m_commitPoint, m_model.m_nextResourceID, ~uint64_t(0)};
        if (!m_model.m_earlierCommitPoints.empty())
            commitPoints.push_back(m_model.m_earlierCommitPoints[drawNumber() % m_model.m_earlierCommitPoints.size()]);
        std::vector<Literal> literals;
        for (size_t count = 0; count < 200; ++count) {
            const Literal& literal = literals.emplace_back(DictionaryModel::makeLiteral(drawNumber() % 700));
            for (const uint64_t commitPoint : commitPoints)
                ASSERT_EQ(m_model.find(literal, commitPoint), find(literal, commitPoint)) << literal.m_lexicalForm;
        }
        checkBatches(literals, commitPoints);
        for (size_t count = 0; count < 20; ++count) {
            const uint64_t resourceID = drawNumber() % (m_model.m_nextResourceID + 1);
            std::string lexicalForm;
            const auto literal = m_model.m_literals.find(resourceID);
            if (literal == m_model.m_literals.end())
                ASSERT_THROW(m_dictionary->getResource(resourceID, lexicalForm), MelnarException) << resourceID;
            else {
                const uint8_t datatypeID = m_dictionary->getResource(resourceID, lexicalForm);
                ASSERT_EQ(literal->second, (Literal{datatypeID, lexicalForm}));
            }
        }
        if (drawNumber() % 8 == 0) {
            ASSERT_NO_THROW(m_dictionary->verify());
        }
    }

    size_t m_resolved = 0;
    size_t m_lookedUpMeanwhile = 0;

private:
    uint32_t drawNumber() { return static_cast<uint32_t>(m_random()); }

    uint64_t find(const Literal& literal, const uint64_t commitPoint) const {
        return m_dictionary->tryResolveResource({commitPoint}, literal.m_lexicalForm, literal.m_datatypeID);
    }

    /// Resolves literals below a number in several threads, mostly the same ones, while another one looks up.
    void resolve(const size_t numberOfThreads, const uint32_t numberOfLiterals) {
        std::vector<std::vector<Literal>> literals(numberOfThreads);
        for (std::vector<Literal>& ofThread : literals)
            for (size_t count = numberOfLiterals / 5; count != 0; --count)
                ofThread.push_back(DictionaryModel::makeLiteral(drawNumber() % numberOfLiterals));
        std::vector<std::vector<uint64_t>> resourceIDs(numberOfThreads);
        std::vector<size_t> batchSizes(numberOfThreads); // 1 means one by one
        for (size_t& batchSize : batchSizes)
            batchSize = drawNumber() % 3 == 0 ? 1 : drawNumber() % 300 + 1;
        const auto run = [&](const size_t threadIndex, DictionaryThread& thread) {
            if (batchSizes[threadIndex] == 1)
                for (const Literal& literal : literals[threadIndex])
                    resourceIDs[threadIndex].push_back(
                        m_dictionary->resolveResource(thread, literal.m_lexicalForm, literal.m_datatypeID));
            else
                resourceIDs[threadIndex] = resolveInBatches(thread, literals[threadIndex], batchSizes[threadIndex]);
        };
        std::atomic<bool> isDone(false);
        const uint32_t readerSeed = drawNumber();
        std::thread reader([&] {
            std::minstd_rand random(readerSeed);
            while (!isDone.load()) {
                const Literal literal = DictionaryModel::makeLiteral(static_cast<uint32_t>(random() % 700));
                ASSERT_EQ(m_model.find(literal, m_model.m_commitPoint), find(literal, m_model.m_commitPoint))
                    << "looked up while others resolve: " << literal.m_lexicalForm;
                ++m_lookedUpMeanwhile;
            }
        });
        std::vector<std::thread> threads;
        for (size_t threadIndex = 1; threadIndex < numberOfThreads; ++threadIndex)
            threads.emplace_back([&, threadIndex] {
                DictionaryThread thread(*m_dictionary);
                run(threadIndex, thread);
            });
        run(0, *m_thread);
        for (std::thread& thread : threads)
            thread.join();
        isDone.store(true);
        reader.join();

        const uint64_t firstNewID = m_model.m_nextResourceID;
        for (size_t threadIndex = 0; threadIndex < numberOfThreads; ++threadIndex)
            for (size_t index = 0; index < literals[threadIndex].size(); ++index) {
                const Literal literal = literals[threadIndex][index].getStored();
                const uint64_t resourceID = resourceIDs[threadIndex][index];
                const auto [known, isNew] = m_model.m_resourceIDs.try_emplace(literal, resourceID);
                ASSERT_EQ(known->second, resourceID) << "all callers get one ID for " << literal.m_lexicalForm;
                if (isNew) {
                    ASSERT_GE(resourceID, firstNewID) << "an ID is not given out again";
                    ASSERT_TRUE(m_model.m_literals.emplace(resourceID, literal).second) << "an ID is given out once";
                    ++m_model.m_nextResourceID;
                }
                ++m_resolved;
            }
    }

    std::vector<uint64_t> resolveInBatches(DictionaryThread& thread, const std::vector<Literal>& literals,
                                           const size_t batchSize) {
        std::vector<BatchEntry> entries = makeBatch(literals);
        std::vector<BatchFailure> failures;
        std::vector<uint64_t> resourceIDs;
        for (size_t begin = 0; begin < entries.size(); begin += batchSize) {
            const std::span<BatchEntry> batch =
                std::span(entries).subspan(begin, std::min(batchSize, entries.size() - begin));
            m_dictionary->resolveResources(thread, batch, failures);
            for (const BatchEntry& entry : batch)
                resourceIDs.push_back(entry.m_resourceID);
        }
        EXPECT_TRUE(failures.empty());
        return resourceIDs;
    }

    static std::vector<BatchEntry> makeBatch(const std::vector<Literal>& literals) {
        std::vector<BatchEntry> entries;
        for (const Literal& literal : literals)
            entries.push_back({literal.m_lexicalForm, ~uint64_t(0), literal.m_datatypeID});
        return entries;
    }

    /// Expects that batches of lookups and reads agree with the model, too.
    void checkBatches(const std::vector<Literal>& literals, const std::vector<uint64_t>& commitPoints) {
        std::vector<BatchFailure> failures;
        for (const uint64_t commitPoint : commitPoints) {
            std::vector<BatchEntry> entries = makeBatch(literals);
            m_dictionary->tryResolveResources({commitPoint}, entries, failures);
            for (size_t index = 0; index < entries.size(); ++index)
                ASSERT_EQ(m_model.find(literals[index], commitPoint), entries[index].m_resourceID)
                    << literals[index].m_lexicalForm;
        }
        ASSERT_TRUE(failures.empty());
        std::vector<BatchEntry> entries(drawNumber() % 200);
        for (BatchEntry& entry : entries)
            entry.m_resourceID = drawNumber() % (m_model.m_nextResourceID + 2);
        m_dictionary->getResources(entries);
        for (const BatchEntry& entry : entries) {
            const auto literal = m_model.m_literals.find(entry.m_resourceID);
            const Literal expected = literal == m_model.m_literals.end() ? Literal{D_INVALID, ""} : literal->second;
            Literal found = {entry.m_datatypeID, ""};
            m_dictionary->appendLexicalForm(entry, found.m_lexicalForm);
            ASSERT_EQ(expected, found) << entry.m_resourceID;
        }
    }

    void compact() {
        const uint32_t divisor = drawNumber() % 5;
        const uint32_t remainder = drawNumber();
        const auto survives = [=](const uint64_t resourceID) {
            return divisor == 0 || resourceID % (divisor + 1) != remainder % (divisor + 1);
        };
        const std::vector<uint64_t> expectedIDs = m_model.compact(survives);
        const std::vector<uint64_t> newResourceIDs =
            divisor == 0 ? m_dictionary->compact()
                         : m_dictionary->compact(
                               [&](const uint64_t resourceID, const ResourceValue&) { return survives(resourceID); });
        EXPECT_EQ(expectedIDs, newResourceIDs);
        EXPECT_EQ(0u, m_dictionary->getUnusedDataPoolBytes());
    }

    void saveAndOpen(const bool isOnDisk) {
        std::unique_ptr<Dictionary> copy;
        if (isOnDisk) {
            m_dictionary->save(m_directory.getPathOf("model.dict"));
            copy = Dictionary::open(m_directory.getPathOf("model.dict"), {.m_memoryLimit = TEST_MEMORY_LIMIT});
        } else
            copy = readFromMemory(writeToMemory(*m_dictionary));
        m_thread.reset();
        m_dictionary = std::move(copy);
        m_thread = std::make_unique<DictionaryThread>(*m_dictionary);
    }

    const TemporaryDirectory m_directory;
    std::mt19937 m_random;
    DictionaryModel m_model;
    std::unique_ptr<Dictionary> m_dictionary;
    std::unique_ptr<DictionaryThread> m_thread; // of the thread that performs the steps
};

void runModel(const uint64_t maximumNumberOfResources, const uint32_t numberOfSeeds) {
    for (const uint32_t seed : getTestSeeds(numberOfSeeds)) {
        SCOPED_TRACE(describeSeed(seed));
        ModelRun run(seed, maximumNumberOfResources);
        for (size_t step = 0; step < STEPS; ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            run.takeStep();
            run.check();
            if (testing::Test::HasFailure())
                return;
        }
        EXPECT_GT(run.m_resolved, 1000u) << "the run hardly resolved anything";
        EXPECT_GT(run.m_lookedUpMeanwhile, 0u) << "no thread looked up while others resolved";
    }
}

TEST(DictionaryModelTest, narrowDictionaryAndModelAgreeAfterEveryStep) {
    runModel(uint64_t(1) << 30, 3);
}

TEST(DictionaryModelTest, wideDictionaryAndModelAgreeAfterEveryStep) {
    runModel(uint64_t(1) << 33, 3);
}

} // namespace
