#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/FingerprintBytes.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Everything that fits within a memory limit without fingerprints also fits with them. More may fit with them: while
// they take memory, regions grow in smaller steps, and leave more for the tables.

namespace {

constexpr size_t LITERALS_BEFORE_COMPACTION = 8000;
constexpr size_t LITERALS = 12000;

/// The results of a series of operations.
struct Outcome {
    BatchAnswers m_answers{};             // all of them, one after the other
    std::vector<std::string> m_events{};  // compactions, and dictionaries that are read
    std::vector<size_t> m_fingerprints{}; // their bytes after each operation
};

OwnedLiterals makeLiterals(const size_t begin, const size_t end) {
    OwnedLiterals literals;
    for (size_t number = begin; number < end; ++number)
        literals.push_back({"literal " + std::to_string(number % 3000) + "@en",
                            number % 3 == 0 ? uint8_t(D_RDF_PLAIN_LITERAL) : uint8_t(D_XSD_STRING)});
    return literals;
}

void append(BatchAnswers& answers, const BatchAnswers& more) {
    const size_t begin = answers.m_resourceIDs.size();
    answers.m_resourceIDs.insert(answers.m_resourceIDs.end(), more.m_resourceIDs.begin(), more.m_resourceIDs.end());
    for (const auto& [index, message] : more.m_failures)
        answers.m_failures.emplace_back(begin + index, message);
}

/// Runs single and batch insertions that make the tables grow, a compaction, and a copy that is read within the same
/// limit.
Outcome run(const size_t memoryLimit, const bool keepsFingerprints) {
    const DictionaryOptions options{
        .m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = NARROW, .m_keepFingerprints = keepsFingerprints};
    auto dictionary = std::make_unique<Dictionary>(options);
    Outcome outcome;
    const auto resolve = [&](const size_t begin, const size_t end) {
        DictionaryThread thread(*dictionary);
        for (size_t first = begin; first < end; first += 400) {
            const OwnedLiterals literals = makeLiterals(first, std::min(first + 400, end));
            if (first % 800 == 0)
                append(outcome.m_answers,
                       answerOneByOne(literals, [&](const std::string_view lexicalForm, const uint8_t datatypeID) {
                           return dictionary->resolveResource(thread, lexicalForm, datatypeID);
                       }));
            else
                append(outcome.m_answers, answerAtOnce(literals, [&](std::vector<BatchEntry>& entries,
                                                                     std::vector<BatchFailure>& failures) {
                           dictionary->resolveResources(thread, entries, failures);
                       }));
            outcome.m_fingerprints.push_back(getFingerprintBytes(*dictionary));
            EXPECT_LE(dictionary->getMemoryInUse(), memoryLimit);
        }
    };
    resolve(0, LITERALS_BEFORE_COMPACTION);
    try {
        const std::vector<uint64_t> newIDs =
            dictionary->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 3 != 0; });
        outcome.m_events.push_back("compacted " + std::to_string(newIDs.size()));
    } catch (const MemoryExhaustedException&) {
        outcome.m_events.emplace_back("not compacted");
    }
    outcome.m_fingerprints.push_back(getFingerprintBytes(*dictionary));
    try {
        dictionary = readFromMemory(writeToMemory(*dictionary), memoryLimit, options);
        outcome.m_events.push_back("read " + std::to_string(dictionary->getNextResourceID()));
    } catch (const MemoryExhaustedException&) {
        outcome.m_events.emplace_back("not read");
    }
    resolve(LITERALS_BEFORE_COMPACTION, LITERALS);
    EXPECT_NO_THROW(dictionary->verify());
    return outcome;
}

/// Expects that every ID is at most one more than the largest before it: new literals get IDs in the order of the
/// results, also within a batch, except for compactions and reading.
void expectIDsInOrder(const BatchAnswers& answers) {
    uint64_t nextResourceID = 1;
    for (size_t index = 0; index < LITERALS_BEFORE_COMPACTION; ++index) {
        ASSERT_LE(answers.m_resourceIDs[index], nextResourceID) << index;
        nextResourceID = std::max(nextResourceID, answers.m_resourceIDs[index] + 1);
    }
}

void expectTheSameUpToTheFirstFailure(const Outcome& without, const Outcome& with) {
    const size_t numberOfAnswers = without.m_answers.m_resourceIDs.size();
    const auto getFirstFailure = [numberOfAnswers](const Outcome& outcome) {
        return outcome.m_answers.m_failures.empty() ? numberOfAnswers : outcome.m_answers.m_failures.front().first;
    };
    const size_t numberOfSuccesses = getFirstFailure(without);
    ASSERT_LE(std::min(numberOfSuccesses, LITERALS_BEFORE_COMPACTION), getFirstFailure(with))
        << "fails with fingerprints, but not without";
    const auto expectTheSameIDs = [&](const size_t begin, const size_t end) {
        for (size_t index = begin; index < std::min(end, numberOfSuccesses); ++index)
            ASSERT_EQ(without.m_answers.m_resourceIDs[index], with.m_answers.m_resourceIDs[index]) << index;
    };
    expectTheSameIDs(0, LITERALS_BEFORE_COMPACTION);
    // Once something fits only with fingerprints, the two diverge.
    if (numberOfSuccesses < LITERALS_BEFORE_COMPACTION)
        return;
    for (size_t index = 0; index < without.m_events.size(); ++index) {
        if (without.m_events[index].starts_with("not ") && without.m_events[index] != with.m_events[index])
            return;
        ASSERT_EQ(without.m_events[index], with.m_events[index]);
    }
    ASSERT_LE(numberOfSuccesses, getFirstFailure(with)) << "fails with fingerprints, but not without";
    expectTheSameIDs(LITERALS_BEFORE_COMPACTION, LITERALS);
}

TEST(DictionaryFingerprintMemorySlowTest, whatFitsWithoutThemFitsWithThem) {
    size_t numberOfRunsThatGaveUp = 0;
    size_t numberOfRunsThatKept = 0;
    size_t numberOfRunsWithFailures = 0;
    size_t smallest = 0;
    for (smallest = 4096;; smallest += 4096)
        try {
            const Dictionary dictionary(
                {.m_memoryLimit = smallest, .m_maximumNumberOfResources = NARROW, .m_keepFingerprints = false});
            break;
        } catch (const MemoryExhaustedException&) {
            EXPECT_THROW(Dictionary({.m_memoryLimit = smallest, .m_maximumNumberOfResources = NARROW}),
                         MemoryExhaustedException)
                << smallest;
        }
    for (size_t memoryLimit = smallest; memoryLimit < smallest + 1200 * 1024; memoryLimit += 32768) {
        SCOPED_TRACE(testing::Message() << memoryLimit << " bytes");
        const Outcome without = run(memoryLimit, false);
        const Outcome with = run(memoryLimit, true);
        expectTheSameUpToTheFirstFailure(without, with);
        expectIDsInOrder(with.m_answers);
        EXPECT_EQ(0u, *std::max_element(without.m_fingerprints.begin(), without.m_fingerprints.end()));
        const auto [least, most] = std::minmax_element(with.m_fingerprints.begin(), with.m_fingerprints.end());
        numberOfRunsThatGaveUp += *most != 0 && *least == 0;
        numberOfRunsThatKept += *least != 0;
        numberOfRunsWithFailures += !with.m_answers.m_failures.empty();
        if (testing::Test::HasFailure())
            break;
    }
    EXPECT_LE(3u, numberOfRunsThatGaveUp);
    EXPECT_LE(3u, numberOfRunsThatKept);
    EXPECT_LE(3u, numberOfRunsWithFailures);
}

} // namespace
