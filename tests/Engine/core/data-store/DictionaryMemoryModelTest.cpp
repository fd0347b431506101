#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

// A dictionary at its memory limit performs the same steps as its model: many of them fail, and none of the failures
// changes anything.

namespace {

using Literal = DictionaryModel::Literal;

constexpr size_t STEPS = 200;
constexpr uint32_t LITERALS = 20000; // more than fit
constexpr uint32_t LARGEST_BATCH = 500;

class TightRun {
public:
    TightRun(const uint32_t seed, const size_t memoryLimit, const uint64_t maximumNumberOfResources)
        : m_memoryLimit(memoryLimit), m_random(seed),
          m_dictionary(std::make_unique<Dictionary>(
              DictionaryOptions{.m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = maximumNumberOfResources})),
          m_thread(std::make_unique<DictionaryThread>(*m_dictionary)) {}

    void takeStep() {
        const uint32_t choice = drawNumber() % 100;
        if (choice < 30)
            resolveOneByOne();
        else if (choice < 65)
            resolveBatch();
        else if (choice < 75) {
            m_model.commit();
            EXPECT_EQ(m_model.m_commitPoint, m_dictionary->commit().m_resourceID);
        } else if (choice < 80) {
            m_model.rollback();
            m_dictionary->rollback();
        } else if (choice < 86)
            compact();
        else
            writeAndRead();
    }

    /// Expects that dictionary and model agree.
    void check() {
        ASSERT_LE(m_dictionary->getMemoryInUse(), m_memoryLimit);
        ASSERT_NO_FATAL_FAILURE(m_model.expectSameResources(*m_dictionary));
        ASSERT_NO_THROW(m_dictionary->verify());
        for (size_t count = 0; count < 50; ++count) {
            const Literal literal = drawLiteral();
            for (const uint64_t commitPoint : {m_model.m_commitPoint, ~uint64_t(0)})
                ASSERT_EQ(m_model.find(literal, commitPoint),
                          m_dictionary->tryResolveResource({commitPoint}, literal.m_lexicalForm, literal.m_datatypeID))
                    << literal.m_lexicalForm;
        }
    }

    size_t m_created = 0;
    size_t m_refused = 0;
    size_t m_compactions = 0;
    size_t m_refusedCompactions = 0;
    size_t m_reads = 0;

private:
    uint32_t drawNumber() { return static_cast<uint32_t>(m_random()); }
    Literal drawLiteral() { return DictionaryModel::makeLiteral(drawNumber() % LITERALS); }

    /// Adds a result to the model.
    void expectAnswer(const Literal& literal, const uint64_t resourceID) {
        const Literal stored = literal.getStored();
        const auto [known, isNew] = m_model.m_resourceIDs.try_emplace(stored, resourceID);
        ASSERT_EQ(known->second, resourceID) << literal.m_lexicalForm;
        if (!isNew)
            return;
        ASSERT_EQ(m_model.m_nextResourceID, resourceID) << "what failed before has used up no ID";
        m_model.m_literals.emplace(resourceID, stored);
        ++m_model.m_nextResourceID;
        ++m_created;
    }

    void resolveOneByOne() {
        for (size_t count = drawNumber() % LARGEST_BATCH; count != 0; --count) {
            const Literal literal = drawLiteral();
            try {
                ASSERT_NO_FATAL_FAILURE(expectAnswer(
                    literal, m_dictionary->resolveResource(*m_thread, literal.m_lexicalForm, literal.m_datatypeID)));
            } catch (const MemoryExhaustedException&) {
                ++m_refused;
            }
        }
    }

    void resolveBatch() {
        std::vector<Literal> literals(drawNumber() % LARGEST_BATCH + 1);
        std::generate(literals.begin(), literals.end(), [this] { return drawLiteral(); });
        std::vector<BatchEntry> entries;
        std::vector<bool> wasThere;
        for (const Literal& literal : literals) {
            entries.push_back({literal.m_lexicalForm, ~uint64_t(0), literal.m_datatypeID});
            wasThere.push_back(m_model.find(literal, ~uint64_t(0)) != 0);
        }
        std::vector<BatchFailure> failures;
        m_dictionary->resolveResources(*m_thread, entries, failures);
        auto failure = failures.begin();
        for (size_t index = 0; index < entries.size(); ++index)
            if (failure == failures.end() || failure->m_entryIndex != index)
                ASSERT_NO_FATAL_FAILURE(expectAnswer(literals[index], entries[index].m_resourceID));
            else {
                ASSERT_EQ(0u, entries[index].m_resourceID);
                ASSERT_FALSE(wasThere[index]) << "a known literal is found in any case";
                ASSERT_EQ(FailureKind::MEMORY, failure->m_kind);
                ASSERT_THROW(failure->throwException(), MemoryExhaustedException);
                ++failure;
                ++m_refused;
            }
        ASSERT_EQ(failures.end(), failure);
    }

    /// Compacts. A compaction needs less memory if fewer resources survive.
    void compact() {
        for (uint64_t divisor = drawNumber() % 8 + 1;; divisor *= 4) {
            const auto survives = [divisor](const uint64_t resourceID) { return resourceID % divisor == 0; };
            std::vector<uint64_t> newResourceIDs;
            try {
                newResourceIDs = m_dictionary->compact(
                    [&](const uint64_t resourceID, const ResourceValue&) { return survives(resourceID); });
            } catch (const MemoryExhaustedException&) {
                ++m_refusedCompactions;
                ASSERT_NO_FATAL_FAILURE(check());
                continue;
            }
            EXPECT_EQ(m_model.compact(survives), newResourceIDs);
            ++m_compactions;
            return;
        }
    }

    /// Continues with a copy that is read within the same limit, if there is room for it.
    void writeAndRead() {
        std::unique_ptr<Dictionary> copy;
        try {
            copy = readFromMemory(writeToMemory(*m_dictionary), m_memoryLimit);
        } catch (const MemoryExhaustedException&) {
            return;
        }
        m_thread.reset();
        m_dictionary = std::move(copy);
        m_thread = std::make_unique<DictionaryThread>(*m_dictionary);
        ++m_reads;
    }

    const size_t m_memoryLimit;
    std::mt19937 m_random;
    DictionaryModel m_model;
    std::unique_ptr<Dictionary> m_dictionary;
    std::unique_ptr<DictionaryThread> m_thread;
};

void runAtTheLimit(const size_t memoryLimit, const uint64_t maximumNumberOfResources) {
    for (const uint32_t seed : getTestSeeds(2)) {
        SCOPED_TRACE(describeSeed(seed));
        TightRun run(seed, memoryLimit, maximumNumberOfResources);
        for (size_t step = 0; step < STEPS; ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            run.takeStep();
            run.check();
            if (testing::Test::HasFailure())
                return;
        }
        EXPECT_LT(2000u, run.m_created) << "the memory was enough for hardly anything";
        EXPECT_LT(2000u, run.m_refused) << "the memory was enough for nearly everything";
        EXPECT_LT(3u, run.m_compactions);
        EXPECT_LT(5u, run.m_refusedCompactions);
        EXPECT_LT(5u, run.m_reads);
    }
}

TEST(DictionaryMemoryModelTest, narrowDictionaryAndModelAgreeAfterEveryFailure) {
    runAtTheLimit(size_t(128) << 10, NARROW);
}

TEST(DictionaryMemoryModelTest, wideDictionaryAndModelAgreeAfterEveryFailure) {
    runAtTheLimit(size_t(160) << 10, WIDE);
}

} // namespace
