#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"
#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

using namespace melnar;

// Two string datatypes, with and without fingerprints, that perform the same steps.

namespace {

constexpr size_t STEPS = 50;
constexpr uint32_t NUMBERS = 5000;

/// One of the two datatypes.
template<class T>
class Side : public DictionaryParts {
public:
    explicit Side(const bool keepsFingerprints) : m_keepsFingerprints(keepsFingerprints) {
        makeDatatype();
        m_datatype->initialize(0);
        if (m_keepsFingerprints)
            m_datatype->enableFingerprints();
    }

    BatchAnswers resolveOneByOne(const OwnedLiterals& literals) {
        return answerOneByOne(literals, [this](const std::string_view lexicalForm, const uint8_t datatypeID) {
            return m_datatype->resolveResource(nullptr, lexicalForm.data(), lexicalForm.size(), datatypeID);
        });
    }

    BatchAnswers resolveAtOnce(const OwnedLiterals& literals) {
        return answerAtOnce(literals, [this](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
            m_datatype->resolveResources(nullptr, entries, failures);
        });
    }

    BatchAnswers lookUpOneByOne(const OwnedLiterals& literals, const DictionaryCommitPoint commitPoint) const {
        return answerOneByOne(literals, [&](const std::string_view lexicalForm, const uint8_t datatypeID) {
            return m_datatype->tryResolveResource(commitPoint, lexicalForm.data(), lexicalForm.size(), datatypeID);
        });
    }

    BatchAnswers lookUpAtOnce(const OwnedLiterals& literals, const DictionaryCommitPoint commitPoint) const {
        return answerAtOnce(literals, [&](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
            m_datatype->tryResolveResources(commitPoint, entries, failures);
        });
    }

    uint64_t withdrawFrom(const uint64_t firstResourceID) {
        for (uint64_t resourceID = firstResourceID; resourceID < m_nextResourceID.load(); ++resourceID)
            if (const uint8_t datatypeID = m_resourceFlags[resourceID].load(); datatypeID != D_INVALID) {
                m_datatype->deleteUncommittedResourceID(resourceID, datatypeID);
                m_resourceFlags[resourceID] = D_INVALID;
            }
        return m_nextResourceID.load();
    }

    /// Withdraws resources that do not survive, and rebuilds the tables; text and IDs stay.
    uint64_t compact(const uint64_t divisor) {
        DictionaryCompactionState state(m_memoryManager);
        state.m_entries.initialize(m_nextResourceID.load());
        state.m_entries.ensureEndAtLeast(m_nextResourceID.load());
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
            for (uint64_t resourceID = 1; resourceID < m_nextResourceID.load(); ++resourceID)
                if (m_resourceFlags[resourceID].load() == datatypeID && resourceID % divisor != 0)
                    m_datatype->prepareCompact(resourceID, resourceID, state);
        for (uint64_t resourceID = divisor; resourceID < m_nextResourceID.load(); resourceID += divisor)
            m_resourceFlags[resourceID] = D_INVALID;
        m_datatype->finishCompact(state);
        return state.m_numberOfEntries;
    }

    /// Continues with a loaded datatype. Fingerprints may be enabled before the load, or after it.
    void saveAndLoad(const bool enablesBefore) {
        const std::string bytes = save(*m_datatype);
        makeDatatype();
        if (m_keepsFingerprints && enablesBefore)
            m_datatype->enableFingerprints();
        MemoryInputStream input(bytes);
        m_datatype->load(input);
        if (m_keepsFingerprints)
            m_datatype->enableFingerprints();
        EXPECT_EQ(m_keepsFingerprints, m_datatype->getFingerprintBytes() != 0);
    }

    void expectSound() {
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
            expectSoundAtRest(StringDatatypeTestPeer::getTable(*m_datatype, datatypeID));
    }

    const bool m_keepsFingerprints;
    std::unique_ptr<StringDatatype<T>> m_datatype;

private:
    void makeDatatype() {
        m_datatype = std::make_unique<StringDatatype<T>>(m_memoryManager, m_nextResourceID, m_resourceDataOffsets,
                                                         m_resourceFlags, m_dataPool);
    }
};

template<class T>
class StringDatatypeFingerprintsSlowTest : public testing::Test {};

/// Draws literals of both datatypes, some twice, some with an empty tag, some malformed.
OwnedLiterals drawLiterals(std::mt19937& random) {
    OwnedLiterals literals;
    for (size_t count = random() % 600; count != 0; --count) {
        const std::string number = std::to_string(random() % NUMBERS);
        const auto kind = random() % 12;
        if (kind == 0)
            literals.push_back({number + "@", D_RDF_PLAIN_LITERAL});
        else if (kind == 1)
            literals.push_back({number, D_RDF_PLAIN_LITERAL});
        else if (kind == 2)
            literals.push_back({number + "@e n", D_RDF_PLAIN_LITERAL});
        else if (kind < 7)
            literals.push_back({number + "@en", D_RDF_PLAIN_LITERAL});
        else
            literals.push_back({number, D_XSD_STRING});
        if (random() % 10 == 0)
            literals.push_back(literals[random() % literals.size()]);
    }
    return literals;
}

template<class T>
class TwinRun {
public:
    explicit TwinRun(const uint32_t seed) : m_random(seed) {}

    void takeStep() {
        const auto choice = m_random() % 100;
        if (choice < 30)
            expectEqual([literals = drawLiterals(m_random)](Side<T>& side) { return side.resolveOneByOne(literals); });
        else if (choice < 65)
            expectEqual([literals = drawLiterals(m_random)](Side<T>& side) { return side.resolveAtOnce(literals); });
        else if (choice < 80) {
            const uint64_t end = m_with.m_nextResourceID.load();
            const uint64_t first = end - m_random() % std::min<uint64_t>(end, 300);
            expectEqual([first](Side<T>& side) { return side.withdrawFrom(first); });
        } else if (choice < 88)
            expectEqual([divisor = m_random() % 5 + 2](Side<T>& side) { return side.compact(divisor); });
        else {
            const bool enablesBefore = m_random() % 2 == 0;
            m_with.saveAndLoad(enablesBefore);
            m_without.saveAndLoad(enablesBefore);
        }
    }

    void check() {
        const OwnedLiterals literals = drawLiterals(m_random);
        const uint64_t end = m_with.m_nextResourceID.load();
        for (const uint64_t commitPoint : {uint64_t(1), end / 2, uint64_t(m_random() % end), end, ~uint64_t(0)}) {
            expectEqual([&](const Side<T>& side) { return side.lookUpOneByOne(literals, {commitPoint}); });
            expectEqual([&](const Side<T>& side) { return side.lookUpAtOnce(literals, {commitPoint}); });
        }
        m_with.expectSound();
        m_without.expectSound();
        EXPECT_TRUE(save(*m_with.m_datatype) == save(*m_without.m_datatype)) << "saved bytes differ";
    }

    void expectThatBothWaysHappened() const {
        EXPECT_LT(0u, m_with.m_datatype->getFingerprintBytes());
        EXPECT_EQ(0u, m_without.m_datatype->getFingerprintBytes());
        EXPECT_LT(2000u, m_with.m_nextResourceID.load());
        EXPECT_LT(100u, m_numberOfFailures);
    }

private:
    template<class Step>
    void expectEqual(const Step step) {
        const auto withFingerprints = step(m_with);
        EXPECT_EQ(step(m_without), withFingerprints);
        if constexpr (requires { withFingerprints.m_failures; })
            m_numberOfFailures += withFingerprints.m_failures.size();
    }

    std::mt19937 m_random;
    Side<T> m_with{true};
    Side<T> m_without{false};
    size_t m_numberOfFailures = 0;
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeFingerprintsSlowTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeFingerprintsSlowTest, datatypesWithAndWithoutThemAnswerAlike) {
    for (const uint32_t seed : getTestSeeds(3)) {
        SCOPED_TRACE(describeSeed(seed));
        TwinRun<TypeParam> run(seed);
        for (size_t step = 0; step < STEPS && !testing::Test::HasFailure(); ++step) {
            SCOPED_TRACE("step " + std::to_string(step));
            run.takeStep();
            run.check();
        }
        run.expectThatBothWaysHappened();
    }
}
