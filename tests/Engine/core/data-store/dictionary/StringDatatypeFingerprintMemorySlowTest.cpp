#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

constexpr size_t STRINGS = 3600;

template<class T>
class StringDatatypeFingerprintMemorySlowTest : public testing::Test {};

/// The results of resolving some literals.
struct Outcome {
    BatchAnswers m_answers{};
    std::vector<size_t> m_fingerprintBytes{}; // after each hundred
};

/// Resolves short strings of both datatypes, in hundreds, one by one or in a batch, with a limited number of bytes for
/// tables and fingerprints: offsets, datatype bytes and pool already have their memory.
template<class T>
Outcome resolveWithin(const size_t bytesLeft, const bool keepsFingerprints, const size_t firstBatch) {
    DictionaryParts parts;
    parts.m_resourceDataOffsets.ensureEndAtLeast(STRINGS + 2);
    parts.m_resourceFlags.ensureEndAtLeast(STRINGS + 2);
    StringDatatype<T> datatype(parts.m_memoryManager, parts.m_nextResourceID, parts.m_resourceDataOffsets,
                               parts.m_resourceFlags, parts.m_dataPool);
    datatype.initialize(0);
    datatype.resolveResource(nullptr, "", 0, D_XSD_STRING);
    const MemoryShortage shortage(parts.m_memoryManager, bytesLeft);
    const size_t poolBytes = parts.m_dataPool.getCommittedBytes();
    if (keepsFingerprints)
        datatype.enableFingerprints();

    Outcome outcome;
    for (size_t begin = 0; begin < STRINGS; begin += 100) {
        OwnedLiterals literals;
        for (size_t number = begin; number < begin + 100; ++number)
            literals.push_back(number % 4 == 0 ? OwnedLiteral{std::to_string(number) + "@en", D_RDF_PLAIN_LITERAL}
                                               : OwnedLiteral{std::to_string(number), D_XSD_STRING});
        const BatchAnswers answers =
            begin / 100 % 2 == firstBatch
                ? answerAtOnce(literals,
                               [&](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
                                   datatype.resolveResources(nullptr, entries, failures);
                               })
                : answerOneByOne(literals, [&](const std::string_view lexicalForm, const uint8_t datatypeID) {
                      return datatype.resolveResource(nullptr, lexicalForm.data(), lexicalForm.size(), datatypeID);
                  });
        for (const auto& [index, message] : answers.m_failures)
            outcome.m_answers.m_failures.emplace_back(begin + index, message);
        for (const uint64_t resourceID : answers.m_resourceIDs)
            outcome.m_answers.m_resourceIDs.push_back(resourceID);
        outcome.m_fingerprintBytes.push_back(datatype.getFingerprintBytes());
    }
    EXPECT_EQ(poolBytes, parts.m_dataPool.getCommittedBytes()) << "the pool has grown, too";
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        expectSoundAtRest(StringDatatypeTestPeer::getTable(datatype, datatypeID));
    return outcome;
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeFingerprintMemorySlowTest, DatatypeWidths, DatatypeWidthNames);

/// So a string whose creation needs the memory of fingerprints gets its ID before later ones of its batch.
TYPED_TEST(StringDatatypeFingerprintMemorySlowTest, theSameStringsFailWithTheSameMessagesAndTheOthersHaveTheSameIDs) {
    size_t numberOfRunsThatGaveUp = 0;
    size_t numberOfRunsThatKept = 0;
    size_t numberOfRunsWithFailures = 0;
    size_t numberOfRunsWithout = 0;
    for (size_t pages = 0; pages <= 40; ++pages)
        for (const size_t firstBatch : {size_t(0), size_t(1)}) {
            SCOPED_TRACE(testing::Message() << pages << " pages");
            const size_t bytesLeft = pages * getVMPageSize();
            const Outcome without = resolveWithin<TypeParam>(bytesLeft, false, firstBatch);
            const Outcome with = resolveWithin<TypeParam>(bytesLeft, true, firstBatch);
            ASSERT_EQ(without.m_answers, with.m_answers);
            ASSERT_EQ(0u, *std::max_element(without.m_fingerprintBytes.begin(), without.m_fingerprintBytes.end()));
            const auto [least, most] =
                std::minmax_element(with.m_fingerprintBytes.begin(), with.m_fingerprintBytes.end());
            numberOfRunsWithout += *most == 0;
            numberOfRunsThatGaveUp += !std::is_sorted(with.m_fingerprintBytes.begin(), with.m_fingerprintBytes.end());
            numberOfRunsThatKept += *least != 0;
            numberOfRunsWithFailures += !with.m_answers.m_failures.empty();
        }
    EXPECT_LE(1u, numberOfRunsWithout);
    EXPECT_LE(3u, numberOfRunsThatGaveUp);
    EXPECT_LE(3u, numberOfRunsThatKept);
    EXPECT_LE(3u, numberOfRunsWithFailures);
}
