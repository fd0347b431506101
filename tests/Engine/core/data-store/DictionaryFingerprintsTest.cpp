#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/system/VirtualMemory.h"
#include "tests/Engine/core/data-store/FingerprintBytes.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

// Two dictionaries, with and without fingerprints, that perform the same steps.

namespace {

constexpr size_t STEPS = 60;
constexpr uint32_t NUMBERS = 6000;

/// One of the two dictionaries.
class Side {
public:
    Side(const uint64_t maximumNumberOfResources, const bool keepsFingerprints)
        : m_options{.m_memoryLimit = TEST_MEMORY_LIMIT,
                    .m_maximumNumberOfResources = maximumNumberOfResources,
                    .m_keepFingerprints = keepsFingerprints},
          m_dictionary(std::make_unique<Dictionary>(m_options)),
          m_thread(std::make_unique<DictionaryThread>(*m_dictionary)) {}

    Dictionary& get() { return *m_dictionary; }

    BatchAnswers resolveOneByOne(const OwnedLiterals& literals) {
        return answerOneByOne(literals, [this](const std::string_view lexicalForm, const uint8_t datatypeID) {
            return m_dictionary->resolveResource(*m_thread, lexicalForm, datatypeID);
        });
    }

    BatchAnswers resolveAtOnce(const OwnedLiterals& literals) {
        return answerAtOnce(literals, [this](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
            m_dictionary->resolveResources(*m_thread, entries, failures);
        });
    }

    BatchAnswers lookUpOneByOne(const OwnedLiterals& literals, const DictionaryCommitPoint commitPoint) {
        return answerOneByOne(literals, [&](const std::string_view lexicalForm, const uint8_t datatypeID) {
            return m_dictionary->tryResolveResource(commitPoint, lexicalForm, datatypeID);
        });
    }

    BatchAnswers lookUpAtOnce(const OwnedLiterals& literals, const DictionaryCommitPoint commitPoint) {
        return answerAtOnce(literals, [&](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
            m_dictionary->tryResolveResources(commitPoint, entries, failures);
        });
    }

    void saveAndOpen(const std::string& fileName) {
        m_thread.reset();
        m_dictionary->save(fileName);
        m_dictionary = Dictionary::open(fileName, m_options);
        m_thread = std::make_unique<DictionaryThread>(*m_dictionary);
    }

private:
    const DictionaryOptions m_options;
    std::unique_ptr<Dictionary> m_dictionary;
    std::unique_ptr<DictionaryThread> m_thread;
};

class TwinRun {
public:
    TwinRun(const uint32_t seed, const uint64_t maximumNumberOfResources)
        : m_random(seed), m_with(maximumNumberOfResources, true), m_without(maximumNumberOfResources, false) {}

    void takeStep() {
        const uint32_t choice = drawNumber() % 100;
        if (choice < 25)
            expectEqual([literals = drawLiterals()](Side& side) { return side.resolveOneByOne(literals); });
        else if (choice < 60)
            expectEqual([literals = drawLiterals()](Side& side) { return side.resolveAtOnce(literals); });
        else if (choice < 72)
            expectEqual([](Side& side) { return side.get().commit().m_resourceID; });
        else if (choice < 84)
            expectEqual([](Side& side) {
                side.get().rollback();
                return side.get().getNextResourceID();
            });
        else if (choice < 92)
            expectEqual([divisor = drawNumber() % 4 + 2](Side& side) {
                return side.get().compact(
                    [divisor](const uint64_t resourceID, const ResourceValue&) { return resourceID % divisor != 0; });
            });
        else {
            m_with.saveAndOpen(m_directory.getPathOf("with.dict"));
            m_without.saveAndOpen(m_directory.getPathOf("without.dict"));
        }
        m_commitPoints[drawNumber() % m_commitPoints.size()] = m_with.get().getCommitPoint();
    }

    void check() {
        const OwnedLiterals literals = drawLiterals();
        for (const DictionaryCommitPoint commitPoint : m_commitPoints) {
            expectEqual([&](Side& side) { return side.lookUpOneByOne(literals, commitPoint); });
            expectEqual([&](Side& side) { return side.lookUpAtOnce(literals, commitPoint); });
        }
        EXPECT_EQ(m_without.lookUpOneByOne(literals, m_commitPoints[0]),
                  m_with.lookUpAtOnce(literals, m_commitPoints[0]));
        EXPECT_TRUE(writeToMemory(m_with.get()) == writeToMemory(m_without.get())) << "saved bytes differ";
    }

    void expectThatBothWaysHappened() {
        EXPECT_LT(0u, getFingerprintBytes(m_with.get()));
        EXPECT_EQ(0u, getFingerprintBytes(m_without.get()));
        EXPECT_LT(2000u, m_with.get().getNextResourceID());
        EXPECT_LT(100u, m_numberOfFailures);
    }

private:
    uint32_t drawNumber() { return static_cast<uint32_t>(m_random()); }

    /// Draws literals of both datatypes, some twice, some with an empty tag, some malformed, some of an unknown
    /// datatype.
    OwnedLiterals drawLiterals() {
        OwnedLiterals literals;
        for (size_t count = drawNumber() % 700; count != 0; --count) {
            const std::string number = std::to_string(drawNumber() % NUMBERS);
            switch (drawNumber() % 12) {
            case 0:
                literals.push_back({number + "@", D_RDF_PLAIN_LITERAL});
                break;
            case 1:
                literals.push_back({number, D_RDF_PLAIN_LITERAL});
                break;
            case 2:
                literals.push_back({number + "@e n", D_RDF_PLAIN_LITERAL});
                break;
            case 3:
                literals.push_back({number, 77});
                break;
            case 4:
            case 5:
            case 6:
            case 7:
                literals.push_back({number + "@en", D_RDF_PLAIN_LITERAL});
                break;
            default:
                literals.push_back({number, D_XSD_STRING});
            }
            if (drawNumber() % 10 == 0)
                literals.push_back(literals[drawNumber() % literals.size()]);
        }
        return literals;
    }

    template<class Step>
    void expectEqual(const Step step) {
        const auto withFingerprints = step(m_with);
        EXPECT_EQ(step(m_without), withFingerprints);
        if constexpr (requires { withFingerprints.m_failures; })
            m_numberOfFailures += withFingerprints.m_failures.size();
    }

    const TemporaryDirectory m_directory;
    std::mt19937 m_random;
    Side m_with;
    Side m_without;
    std::array<DictionaryCommitPoint, 3> m_commitPoints{{{1}, {1}, DictionaryCommitPoint::ALL}};
    size_t m_numberOfFailures = 0;
};

void runTwins(const uint64_t maximumNumberOfResources) {
    for (const uint32_t seed : getTestSeeds(2)) {
        SCOPED_TRACE(describeSeed(seed));
        TwinRun run(seed, maximumNumberOfResources);
        for (size_t step = 0; step < STEPS && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            run.takeStep();
            run.check();
        }
        run.expectThatBothWaysHappened();
    }
}

TEST(DictionaryFingerprintsSlowTest, narrowDictionariesWithAndWithoutThemAnswerAlike) {
    runTwins(NARROW);
}

TEST(DictionaryFingerprintsSlowTest, wideDictionariesWithAndWithoutThemAnswerAlike) {
    runTwins(WIDE);
}

TEST(DictionaryFingerprintsTest, statisticsShowTheirMemoryBesideThatOfTheTables) {
    const size_t bytesPerTable = std::max(size_t(1024), getVMPageSize());
    for (const bool keepsFingerprints : {true, false}) {
        Side side(NARROW, keepsFingerprints);
        const size_t numberOfTables = 2;
        EXPECT_EQ(keepsFingerprints ? numberOfTables * bytesPerTable : 0, getFingerprintBytes(side.get()));
        EXPECT_EQ(side.get().getMemoryInUse(), side.get().getComponentInfo()->getSumOverNumericMetric(
                                                   ComponentInfo::Metric::MEMORY_CONSUMED, std::nullopt));
        OwnedLiterals literals;
        for (size_t number = 0; number < 20000; ++number)
            literals.push_back({std::to_string(number), D_XSD_STRING});
        side.resolveAtOnce(literals);
        EXPECT_EQ(keepsFingerprints ? 32768 + bytesPerTable : 0, getFingerprintBytes(side.get()));
        const std::unique_ptr<ComponentInfo> root = side.get().getComponentInfo();
        EXPECT_EQ(side.get().getMemoryInUse(),
                  root->getSumOverNumericMetric(ComponentInfo::Metric::MEMORY_CONSUMED, std::nullopt));
        std::vector<std::string> names;
        for (const std::unique_ptr<ComponentInfo>& child : root->getChildren())
            names.push_back(child->getName());
        ASSERT_LE(5u, names.size());
        EXPECT_EQ("Datatype bytes", names[2]);
        EXPECT_EQ("Fingerprints", names[3]);
        EXPECT_EQ("StringDatatype", names[4]);
        EXPECT_EQ(2u, root->getChildren()[4]->getChildren().size());
    }
}

} // namespace
