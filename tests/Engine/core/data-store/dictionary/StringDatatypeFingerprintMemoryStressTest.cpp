#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <numeric>
#include <set>
#include <string>
#include <vector>

// Threads that insert near the memory limit take the memory of fingerprints from each other.

namespace {

constexpr size_t STRINGS = 1800; // more than one growth of a table
constexpr size_t THREADS = 4;
constexpr size_t BATCH = 90;

template<class T>
class StringDatatypeFingerprintMemoryStressTest : public testing::Test {};

using ResourceIDs = std::vector<uint64_t>;

OwnedLiteral makeLiteral(const size_t number) {
    return {"string " + std::to_string(number) + "@en",
            number % 8 == 0 ? uint8_t(D_RDF_PLAIN_LITERAL) : uint8_t(D_XSD_STRING)};
}

/// Resolves all strings, each thread in its own order, by single operations and batches in turn. Returns how many were
/// refused.
template<class T>
size_t resolveAll(DictionaryFixture<T>& fixture, const size_t thread, ResourceIDs& resourceIDs) {
    size_t refusals = 0;
    for (size_t step = 0; step < STRINGS; step += BATCH) {
        const size_t begin = (thread * 5 * BATCH + step) % STRINGS;
        OwnedLiterals literals;
        for (size_t number = begin; number < begin + BATCH; ++number)
            literals.push_back(makeLiteral(number));
        const BatchAnswers answers =
            (step / BATCH + thread) % 2 == 0 ? resolveAtOnce(fixture, literals) : resolveOneByOne(fixture, literals);
        for (size_t index = 0; index < BATCH; ++index)
            resourceIDs[begin + index] = answers.m_resourceIDs[index];
        for (const auto& [index, message] : answers.m_failures)
            EXPECT_NE(std::string::npos, message.find("MemoryExhaustedException")) << message;
        refusals += answers.m_failures.size();
        // Existing strings are found, whatever happens to the fingerprints.
        for (const size_t index : {size_t(0), BATCH / 2, BATCH - 1})
            if (answers.m_resourceIDs[index] != 0) {
                EXPECT_EQ(answers.m_resourceIDs[index],
                          fixture.tryResolve(literals[index].m_lexicalForm, literals[index].m_datatypeID));
            }
    }
    return refusals;
}

/// The results of a run.
struct Outcome {
    size_t m_refusals;
    bool m_hasFingerprints; // of both tables, at the end
};

/// Lets threads share some memory for tables, text and fingerprints.
template<class T>
Outcome resolveWithin(const size_t pages) {
    SCOPED_TRACE(testing::Message() << pages << " pages");
    DictionaryFixture<T> fixture;
    fixture.m_datatype.enableFingerprints();
    fixture.m_resourceDataOffsets.ensureEndAtLeast(STRINGS + 1);
    fixture.m_resourceFlags.ensureEndAtLeast(STRINGS + 1);
    EXPECT_LT(0u, fixture.m_datatype.getFingerprintBytes());
    std::vector<ResourceIDs> idsByThread(THREADS, ResourceIDs(STRINGS));
    std::vector<size_t> refusals(THREADS);
    MemoryShortage shortage(fixture.m_memoryManager, pages * getVMPageSize());
    runTogether(THREADS,
                [&](const size_t thread) { refusals[thread] = resolveAll(fixture, thread, idsByThread[thread]); });
    const size_t fingerprintBytes = fixture.m_datatype.getFingerprintBytes();
    shortage.end();
    expectSound(fixture);

    ResourceIDs agreedIDs(STRINGS);
    std::set<uint64_t> distinctIDs;
    for (size_t number = 0; number < STRINGS; ++number) {
        for (const ResourceIDs& resourceIDs : idsByThread) {
            if (agreedIDs[number] == 0)
                agreedIDs[number] = resourceIDs[number];
            EXPECT_TRUE(resourceIDs[number] == 0 || resourceIDs[number] == agreedIDs[number]) << number;
        }
        const auto [lexicalForm, datatypeID] = makeLiteral(number);
        EXPECT_EQ(agreedIDs[number], fixture.tryResolve(lexicalForm, datatypeID));
        if (agreedIDs[number] != 0) {
            distinctIDs.insert(agreedIDs[number]);
            EXPECT_EQ(lexicalForm, fixture.getLexicalForm(agreedIDs[number]));
        }
    }
    EXPECT_EQ(fixture.m_nextResourceID.load(), 1 + distinctIDs.size()) << "a refused string used an ID up";
    for (size_t number = 0; number < STRINGS; ++number) {
        const auto [lexicalForm, datatypeID] = makeLiteral(number);
        const uint64_t resourceID = fixture.resolve(lexicalForm, datatypeID);
        EXPECT_TRUE(agreedIDs[number] == 0 || agreedIDs[number] == resourceID);
    }
    EXPECT_EQ(STRINGS + 1, fixture.m_nextResourceID.load());
    expectSound(fixture);
    return {std::accumulate(refusals.begin(), refusals.end(), size_t(0)), fingerprintBytes != 0};
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeFingerprintMemoryStressTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeFingerprintMemoryStressTest, everyStringGetsOneIDWhileFingerprintsAreReleased) {
    size_t runsWithRefusals = 0;
    size_t runsThatGaveUp = 0;
    size_t runsThatEndedWithFingerprints = 0;
    for (const size_t pages : {size_t(3), size_t(14), size_t(40)}) {
        const Outcome outcome = resolveWithin<TypeParam>(pages);
        runsWithRefusals += outcome.m_refusals != 0;
        runsThatGaveUp += !outcome.m_hasFingerprints;
        runsThatEndedWithFingerprints += outcome.m_hasFingerprints;
    }
    EXPECT_LE(1u, runsWithRefusals);
    EXPECT_LE(1u, runsThatGaveUp);
    EXPECT_LE(1u, runsThatEndedWithFingerprints);
}
