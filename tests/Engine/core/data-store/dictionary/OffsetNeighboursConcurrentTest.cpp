#include "Engine/core/data-store/dictionary/OffsetNeighbours.h"

#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/LeftOverOffsets.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/support/RunTogether.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <string>
#include <vector>

namespace {

template<class T>
class LeftOverOffsetsConcurrentTest : public testing::Test {};

} // namespace

TYPED_TEST_SUITE(LeftOverOffsetsConcurrentTest, DatatypeWidths, DatatypeWidthNames);

// Two threads create neighbours and clear what is left over between them; a third one looks them up.
TYPED_TEST(LeftOverOffsetsConcurrentTest, whatIsCreatedIsFoundAtOnceAndEverAfter) {
    constexpr uint64_t COUNT = 4000;
    LeftOverOffsets<TypeParam> fixture(COUNT);
    fixture.startAgain(NewLife::INITIALIZE);
    std::atomic<uint64_t> numberOfCreators{2};
    std::atomic<uint64_t> numberOfLost{0};
    runTogether(3, [&](const size_t threadIndex) {
        const ScopedThreadContextIndex threadContextIndex(100 + threadIndex);
        if (threadIndex < 2) {
            for (uint64_t number = threadIndex; number < COUNT; number += 2) {
                const std::string form = fixture.makeForm(number);
                const uint64_t resourceID = fixture.resolve(form);
                numberOfLost += fixture.tryResolve(form) != resourceID ? 1 : 0;
            }
            --numberOfCreators;
            return;
        }
        std::vector<uint64_t> found(COUNT);
        for (uint64_t number = 0; numberOfCreators != 0; number = (number + 1) % COUNT) {
            const uint64_t resourceID = fixture.tryResolve(fixture.makeForm(number));
            numberOfLost += found[number] != 0 && resourceID != found[number] ? 1 : 0;
            found[number] = resourceID;
        }
    });
    EXPECT_EQ(0u, numberOfLost);
    EXPECT_EQ(COUNT + 1, fixture.m_nextResourceID.load()) << "nothing was created twice";
    OwnedLiterals literals;
    for (uint64_t number = 0; number < COUNT; ++number)
        literals.push_back({fixture.makeForm(number), D_XSD_STRING});
    const BatchAnswers answers = lookUpOneByOne(fixture, literals, EVERYTHING);
    EXPECT_EQ(0, std::count(answers.m_resourceIDs.begin(), answers.m_resourceIDs.end(), 0u));
    EXPECT_EQ(answers, lookUpAtOnce(fixture, literals, EVERYTHING));
}
