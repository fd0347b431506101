#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/HashCollisionException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/support/FullyCollidingTexts.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

OwnedLiterals makeColliding() {
    OwnedLiterals literals;
    for (std::string& text : makeFullyCollidingTexts(LARGEST_NUMBER_OF_FULLY_COLLIDING_TEXTS))
        literals.push_back({std::move(text), D_XSD_STRING});
    return literals;
}

BatchAnswers resolve(Dictionary& dictionary, const OwnedLiterals& literals) {
    DictionaryThread thread(dictionary);
    return answerAtOnce(literals, [&](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
        dictionary.resolveResources(thread, entries, failures);
    });
}

TEST(DictionaryCollisionSlowTest, strings4096OfOneHashAreNotTooMany) {
    const OwnedLiterals literals = makeColliding();
    const DictionaryOptions choices[] = {{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW},
                                         {.m_memoryLimit = TEST_MEMORY_LIMIT,
                                          .m_maximumNumberOfResources = WIDE,
                                          .m_largestNumberOfCollisions = DictionaryOptions::NO_COLLISION_LIMIT}};
    for (const DictionaryOptions& options : choices) {
        Dictionary dictionary(options);
        EXPECT_TRUE(resolve(dictionary, literals).m_failures.empty());
        EXPECT_EQ(literals.size() + 1, dictionary.getNextResourceID());
        EXPECT_NO_THROW(dictionary.verify());
    }
}

TEST(DictionaryCollisionTest, theLimitIsThatOfTheOptions) {
    const OwnedLiterals literals = makeColliding();
    Dictionary dictionary(
        {.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW, .m_largestNumberOfCollisions = 100});
    const BatchAnswers answers = resolve(dictionary, literals);
    EXPECT_EQ(literals.size() - 101, answers.m_failures.size());
    EXPECT_EQ(102u, dictionary.getNextResourceID());
    DictionaryThread thread(dictionary);
    EXPECT_THROW(dictionary.resolveResource(thread, literals[101].m_lexicalForm, D_XSD_STRING), HashCollisionException);
    EXPECT_EQ(102u, dictionary.resolveResource(thread, "ordinary", D_XSD_STRING));
}

/// Options are not saved: a dictionary that is read has its own limit, and its contents stay.
TEST(DictionaryCollisionSlowTest, aDictionaryThatIsReadKeepsItsStringsWhateverTheLimit) {
    const OwnedLiterals literals = makeColliding();
    const OwnedLiterals half(literals.begin(), literals.begin() + 2000);
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    const BatchAnswers answers = resolve(dictionary, half);
    EXPECT_TRUE(answers.m_failures.empty());
    const std::unique_ptr<Dictionary> copy =
        readFromMemory(writeToMemory(dictionary), TEST_MEMORY_LIMIT, {.m_largestNumberOfCollisions = 10});
    EXPECT_NO_THROW(copy->verify());
    EXPECT_EQ(answers, resolve(*copy, half));
    EXPECT_EQ(2096u, resolve(*copy, OwnedLiterals(literals.begin() + 2000, literals.end())).m_failures.size());
    const std::unique_ptr<Dictionary> unlimited = readFromMemory(writeToMemory(*copy));
    EXPECT_TRUE(resolve(*unlimited, literals).m_failures.empty());
}

} // namespace
