#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/data-store/dictionary/DictionaryThreadContext.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/ResourcesByForm.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/RepeatUntilDeadline.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr uint64_t SHARED_STRINGS = 3000; // resolved by all threads, never deleted
constexpr uint64_t FLEETING_STRINGS = 50; // deleted by every thread that has resolved them
constexpr size_t STEPS = 20000;           // of all threads together

uint8_t chooseDatatypeID(const uint64_t number) {
    return number % 2 == 0 ? D_XSD_STRING : D_RDF_PLAIN_LITERAL;
}

/// Makes a valid form of either datatype; some are too long for a one-byte size header.
std::string getForm(const char* const kind, const uint64_t number) {
    return kind + std::string(number % 7 == 0 ? 150 : 0, '.') + std::to_string(number) + "@en";
}

/// One datatype, used by many threads, and their findings.
template<class T>
class StressRun {
public:
    StressRun(const size_t numberOfThreads, const uint32_t seed)
        : m_numberOfThreads(numberOfThreads), m_seed(seed), m_sharedIDs(SHARED_STRINGS), m_ownStrings(0) {}

    void run() {
        runTogether(m_numberOfThreads, [this](const size_t index) { Worker(*this, index).work(); });
    }

    /// Checks everything that must hold after any interleaving.
    void check() {
        expectSound(m_fixture);
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
            EXPECT_LT(1024u, getTable(m_fixture, datatypeID).getNumberOfBuckets())
                << "the run never resized: it tested nothing";
        size_t sharedStrings = 0;
        for (uint64_t number = 0; number < SHARED_STRINGS; ++number) {
            const uint64_t resourceID = m_sharedIDs[number].load();
            sharedStrings += resourceID != 0 ? 1 : 0;
            EXPECT_EQ(resourceID, m_fixture.tryResolve(getForm("shared ", number), chooseDatatypeID(number)));
        }
        EXPECT_LT(SHARED_STRINGS / 2, sharedStrings);
        for (uint64_t number = 0; number < FLEETING_STRINGS; ++number)
            EXPECT_EQ(0u, m_fixture.tryResolve(getForm("fleeting ", number), chooseDatatypeID(number)));
        checkEveryResource(sharedStrings);
    }

private:
    class Worker;

    /// Checks that no string has more than its share of the assigned IDs, and none was lost.
    void checkEveryResource(const size_t sharedStrings) {
        size_t fleetingResources = 0;
        size_t sharedResources = 0;
        size_t ownResources = 0;
        for (const auto& [lexicalForm, resources] : countResourcesByForm(m_fixture)) {
            if (lexicalForm.starts_with("fleeting "))
                fleetingResources += resources;
            else if (lexicalForm.starts_with("shared ")) {
                EXPECT_EQ(1u, resources) << lexicalForm;
                sharedResources += resources;
            } else {
                EXPECT_EQ(2u, resources) << lexicalForm;
                ownResources += resources;
            }
        }
        EXPECT_EQ(sharedStrings, sharedResources);
        EXPECT_EQ(2 * m_ownStrings.load(), ownResources);
        EXPECT_LT(FLEETING_STRINGS, fleetingResources) << "hardly anything was deleted and resolved again";
    }

    const size_t m_numberOfThreads;
    const uint32_t m_seed;
    DictionaryFixture<T> m_fixture;
    std::vector<std::atomic<uint64_t>> m_sharedIDs; // 0 until a thread has got one
    std::atomic<uint64_t> m_ownStrings;
};

/// The work of one thread.
template<class T>
class StressRun<T>::Worker {
public:
    Worker(StressRun& run, const size_t index)
        : m_run(run), m_fixture(run.m_fixture), m_datatype(run.m_fixture.m_datatype), m_index(index),
          m_random(run.m_seed + static_cast<uint32_t>(index)) {
        if (index % 4 != 3)
            m_threadContext.emplace(m_fixture.m_dataPool);
    }

    void work() {
        const size_t steps = STEPS / m_run.m_numberOfThreads;
        for (size_t step = 0; step < steps; ++step)
            switch (m_random() % 10) {
            case 0:
            case 1:
            case 2:
                resolveShared(m_random() % SHARED_STRINGS);
                break;
            case 3:
            case 4:
                lookUpShared(m_random() % SHARED_STRINGS);
                break;
            case 5:
                readShared(m_random() % SHARED_STRINGS);
                break;
            case 6:
            case 7:
                resolveAndDeleteFleeting(m_random() % FLEETING_STRINGS);
                break;
            case 8:
                resolveDeleteAndResolveOwn(step);
                break;
            default:
                if (step % 16 == 0)
                    gatherStatistics();
                else
                    EXPECT_EQ(0u, tryResolve(getForm("absent ", step), chooseDatatypeID(step)));
            }
    }

private:
    uint64_t resolve(const std::string& lexicalForm, const uint8_t datatypeID) {
        return m_datatype.resolveResource(m_threadContext ? &*m_threadContext : nullptr, lexicalForm.data(),
                                          lexicalForm.size(), datatypeID);
    }

    uint64_t tryResolve(const std::string& lexicalForm, const uint8_t datatypeID,
                        const DictionaryCommitPoint commitPoint = EVERYTHING) {
        return m_fixture.tryResolve(lexicalForm, datatypeID, commitPoint);
    }

    void resolveShared(const uint64_t number) {
        const uint64_t resourceID = resolve(getForm("shared ", number), chooseDatatypeID(number));
        uint64_t agreedID = 0;
        m_run.m_sharedIDs[number].compare_exchange_strong(agreedID, resourceID);
        EXPECT_TRUE(agreedID == 0 || agreedID == resourceID) << "all threads agree";
    }

    void lookUpShared(const uint64_t number) {
        const std::string lexicalForm = getForm("shared ", number);
        const uint64_t agreedID = m_run.m_sharedIDs[number].load();
        const DictionaryCommitPoint commitPoint{1 + m_random() % m_fixture.m_nextResourceID.load()};
        const uint64_t resourceID = tryResolve(lexicalForm, chooseDatatypeID(number), commitPoint);
        if (agreedID != 0)
            EXPECT_EQ(agreedID < commitPoint.m_resourceID ? agreedID : 0, resourceID);
        else if (resourceID != 0) {
            EXPECT_LT(resourceID, commitPoint.m_resourceID);
            EXPECT_EQ(lexicalForm, m_fixture.getLexicalForm(resourceID)) << "seen before its creator reported it";
        }
    }

    void readShared(const uint64_t number) {
        const uint64_t resourceID = m_run.m_sharedIDs[number].load();
        if (resourceID == 0)
            return;
        const std::string lexicalForm = getForm("shared ", number);
        ResourceValue value;
        m_datatype.getResource(resourceID, chooseDatatypeID(number), value);
        ASSERT_EQ(lexicalForm.size() + 1, value.m_dataSize);
        EXPECT_EQ(lexicalForm, reinterpret_cast<const char*>(value.m_data));
        EXPECT_EQ(chooseDatatypeID(number), m_fixture.m_resourceFlags[resourceID].load(std::memory_order_acquire));
        EXPECT_EQ(resourceID, m_datatype.resolveResource(nullptr, StringValue(lexicalForm, chooseDatatypeID(number))));
    }

    void resolveAndDeleteFleeting(const uint64_t number) {
        const std::string lexicalForm = getForm("fleeting ", number);
        const uint64_t resourceID = resolve(lexicalForm, chooseDatatypeID(number));
        EXPECT_EQ(lexicalForm, m_fixture.getLexicalForm(resourceID));
        m_datatype.deleteUncommittedResourceID(resourceID, chooseDatatypeID(number));
    }

    /// Resolves, deletes and resolves again a string that no other thread uses.
    void resolveDeleteAndResolveOwn(const size_t step) {
        const uint8_t datatypeID = chooseDatatypeID(step);
        const std::string lexicalForm = getForm(("own " + std::to_string(m_index) + " ").c_str(), step);
        const uint64_t firstID = resolve(lexicalForm, datatypeID);
        EXPECT_EQ(firstID, tryResolve(lexicalForm, datatypeID));
        m_datatype.deleteUncommittedResourceID(firstID, datatypeID);
        EXPECT_EQ(0u, tryResolve(lexicalForm, datatypeID));
        const uint64_t secondID = resolve(lexicalForm, datatypeID);
        EXPECT_LT(firstID, secondID);
        EXPECT_EQ(secondID, resolve(lexicalForm, datatypeID));
        EXPECT_EQ(0u, tryResolve(lexicalForm, datatypeID, {secondID}));
        ++m_run.m_ownStrings;
    }

    void gatherStatistics() {
        const std::unique_ptr<ComponentInfo> component = m_datatype.getComponentInfo();
        using Metric = ComponentInfo::Metric;
        const auto getSum = [&component](const Metric metric) {
            return component->getSumOverNumericMetric(metric, std::nullopt);
        };
        EXPECT_LE(2048u, getSum(Metric::NUMBER_OF_BUCKETS));
        EXPECT_LE(2048 * sizeof(T), getSum(Metric::MEMORY_CONSUMED));
        EXPECT_GT(100000u, getSum(Metric::NUMBER_OF_USED_BUCKETS)) << "a difference has wrapped around";
    }

    StressRun& m_run;
    DictionaryFixture<T>& m_fixture;
    StringDatatype<T>& m_datatype;
    const size_t m_index;
    std::minstd_rand m_random;
    std::optional<DictionaryThreadContext> m_threadContext;
};

template<class T>
class StringDatatypeStressTest : public testing::Test {
protected:
    static void stress(const size_t numberOfThreads) {
        SCOPED_TRACE(testing::Message() << numberOfThreads << " threads");
        repeatUntilDeadline([numberOfThreads](const uint32_t seed) {
            StressRun<T> run(numberOfThreads, seed * 1000); // each thread adds its number
            run.run();
            run.check();
        });
    }
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeStressTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeStressTest, oneThreadFindsEverythingConsistent) {
    TestFixture::stress(1);
}

TYPED_TEST(StringDatatypeStressTest, twoThreadsAgreeOnEverything) {
    TestFixture::stress(2);
}

TYPED_TEST(StringDatatypeStressTest, eightThreadsAgreeOnEverything) {
    TestFixture::stress(8);
}

TYPED_TEST(StringDatatypeStressTest, sixtyFourThreadsAgreeOnEverything) {
    TestFixture::stress(64);
}

TYPED_TEST(StringDatatypeStressTest, moreThreadsThanSlotsAgreeOnEverything) {
    TestFixture::stress(300);
}
