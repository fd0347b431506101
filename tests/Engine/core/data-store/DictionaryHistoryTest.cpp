#include "Engine/core/data-store/DictionaryHistory.h"

#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

using namespace melnar;

namespace {

using Forged = ForgedDictionaryFile;

DictionaryIdentity identify(const Dictionary& dictionary) {
    return dictionary.getHistory().getIdentity().value();
}

std::unique_ptr<Dictionary> copy(const Dictionary& dictionary) {
    return readFromMemory(writeToMemory(dictionary));
}

void add(Dictionary& dictionary, const std::vector<std::string>& texts) {
    DictionaryThread thread(dictionary);
    for (const std::string& text : texts)
        dictionary.resolveResource(thread, text, D_XSD_STRING);
}

/// Adds, commits and saves.
DictionaryIdentity grow(Dictionary& dictionary, const std::vector<std::string>& texts) {
    add(dictionary, texts);
    dictionary.commit();
    writeToMemory(dictionary);
    return identify(dictionary);
}

std::unique_ptr<Dictionary> makeDictionary(const std::vector<std::string>& texts) {
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    grow(*dictionary, texts);
    return dictionary;
}

uint64_t getNumberOfEntries(const Dictionary& dictionary) {
    return Forged(dictionary).get<uint64_t>(Forged::HISTORY, Forged::NUMBER_OF_ENTRIES);
}

TEST(DictionaryHistoryTest, beginsWithTheFirstSave) {
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    add(dictionary, {"abc"});
    dictionary.commit();
    EXPECT_EQ(0u, dictionary.getHistory().getGeneration());
    EXPECT_FALSE(dictionary.getHistory().getIdentity());
    EXPECT_FALSE(dictionary.getHistory().contains({}));
    writeToMemory(dictionary);
    EXPECT_TRUE(dictionary.getHistory().contains(identify(dictionary)));
    EXPECT_FALSE(dictionary.getHistory().contains({}));
}

TEST(DictionaryHistoryTest, isTheSameForTheSameOperationsOnOneThread) {
    const auto first = makeDictionary({"abc", "def"});
    const auto second = makeDictionary({"abc", "def"});
    EXPECT_EQ(identify(*first), identify(*second));
    EXPECT_EQ(grow(*first, {"more"}), grow(*second, {"more"}));
    EXPECT_EQ(writeToMemory(*first), writeToMemory(*second));
}

TEST(DictionaryHistoryTest, aDictionaryThatHasGrownKnowsItsEarlierStates) {
    auto dictionary = makeDictionary({"abc"});
    const auto early = copy(*dictionary);
    std::vector<DictionaryIdentity> identities{identify(*dictionary)};
    for (const char* const text : {"def", "ghi", "jkl"}) {
        identities.push_back(grow(*dictionary, {text}));
        dictionary = copy(*dictionary);
    }
    for (const DictionaryIdentity& identity : identities) {
        EXPECT_TRUE(dictionary->getHistory().contains(identity));
        EXPECT_EQ(identity == identities.front(), early->getHistory().contains(identity))
            << "an earlier state does not know what came later";
    }
    EXPECT_EQ(4u, getNumberOfEntries(*dictionary));
    EXPECT_EQ(identities.back(), identify(*dictionary));
}

TEST(DictionaryHistoryTest, copiesThatHaveGrownApartKnowWhatTheyHaveInCommon) {
    const auto first = makeDictionary({"abc"});
    const auto second = copy(*first);
    const DictionaryIdentity common = identify(*first);
    const DictionaryIdentity ofFirst = grow(*first, {"def"});
    const DictionaryIdentity ofSecond = grow(*second, {"ghi"});
    EXPECT_NE(ofFirst, ofSecond);
    EXPECT_TRUE(first->getHistory().contains(common));
    EXPECT_TRUE(second->getHistory().contains(common));
    EXPECT_FALSE(first->getHistory().contains(ofSecond));
    EXPECT_FALSE(second->getHistory().contains(ofFirst));
    EXPECT_NE(grow(*first, {"same"}), grow(*second, {"same"})) << "the states before make the difference";
}

/// The differences: the same text in another part of the file, another order, another datatype, another largest number
/// of resources.
TEST(DictionaryHistoryTest, dictionariesThatDifferInAnythingDifferInIdentity) {
    std::vector<DictionaryIdentity> identities;
    for (const std::vector<std::string>& texts :
         std::vector<std::vector<std::string>>{{}, {"a", "b"}, {"b", "a"}, {"a"}, {"a", "c"}, {"ab"}})
        identities.push_back(identify(*makeDictionary(texts)));
    Dictionary plain({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    {
        DictionaryThread thread(plain);
        plain.resolveResource(thread, "a@b", D_RDF_PLAIN_LITERAL);
    }
    identities.push_back(grow(plain, {}));
    identities.push_back(identify(*makeDictionary({"a@b"})));
    Dictionary wide({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW + 1});
    identities.push_back(grow(wide, {"a"}));
    for (size_t first = 0; first < identities.size(); ++first)
        for (size_t second = 0; second < first; ++second)
            EXPECT_NE(identities[first], identities[second]) << first << " and " << second;
}

TEST(DictionaryHistoryTest, aSaveThatBringsNothingAddsNothing) {
    const auto dictionary = makeDictionary({"abc"});
    const DictionaryIdentity identity = identify(*dictionary);
    for (size_t time = 0; time < 3; ++time) {
        dictionary->commit();
        add(*dictionary, {"abc"});
        writeToMemory(*dictionary);
    }
    EXPECT_EQ(1u, getNumberOfEntries(*dictionary));
    add(*dictionary, {"not committed"});
    EXPECT_EQ(1u, getNumberOfEntries(*dictionary)) << "no file of IDs may rely on it yet";
    dictionary->rollback();
    EXPECT_EQ(1u, getNumberOfEntries(*dictionary)) << "no file of IDs has relied on it";
    EXPECT_EQ(identity, identify(*dictionary));
    dictionary->commit();
    EXPECT_EQ(2u, getNumberOfEntries(*dictionary)) << "an ID was used up";
    EXPECT_TRUE(dictionary->getHistory().contains(identity));
}

TEST(DictionaryHistoryTest, whatIsCommittedAfterARollbackIsAnotherState) {
    const auto first = makeDictionary({"abc"});
    add(*first, {"one"});
    const auto second = copy(*first);
    first->commit();
    second->rollback();
    EXPECT_NE(grow(*first, {"two"}), grow(*second, {"two"}));
}

TEST(DictionaryHistoryTest, aCompactionThatChangesIDsForgetsThem) {
    const auto dictionary = makeDictionary({"abc", "def", "ghi"});
    const DictionaryIdentity before = identify(*dictionary);
    dictionary->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID != 2; });
    EXPECT_EQ(1u, dictionary->getHistory().getGeneration());
    EXPECT_FALSE(dictionary->getHistory().getIdentity());
    EXPECT_FALSE(dictionary->getHistory().contains(before));
    const auto opened = copy(*dictionary);
    EXPECT_EQ(1u, opened->getHistory().getGeneration());
    EXPECT_FALSE(opened->getHistory().contains(before));
    EXPECT_EQ(1u, getNumberOfEntries(*opened));
    EXPECT_NE(identify(*makeDictionary({"abc", "ghi"})), identify(*opened)) << "the generation makes the difference";
}

TEST(DictionaryHistoryTest, aCompactionThatDropsTheLastIDsForgetsThem) {
    const auto dictionary = makeDictionary({"abc", "def", "ghi"});
    const DictionaryIdentity before = identify(*dictionary);
    dictionary->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID != 3; });
    EXPECT_FALSE(dictionary->getHistory().contains(before));
}

TEST(DictionaryHistoryTest, aCompactionThatKeepsAllCommittedIDsKeepsTheirStates) {
    const auto dictionary = makeDictionary({"abc", "def"});
    const DictionaryIdentity before = identify(*dictionary);
    add(*dictionary, {"gone"});
    dictionary->rollback();
    add(*dictionary, {"later"}); // the compaction changes its ID, which was not committed
    dictionary->compact();
    EXPECT_EQ(1u, dictionary->getHistory().getGeneration());
    EXPECT_EQ(before, identify(*dictionary));
    const auto opened = copy(*dictionary);
    EXPECT_EQ(1u, opened->getHistory().getGeneration());
    grow(*opened, {"more"});
    EXPECT_TRUE(opened->getHistory().contains(before));
}

TEST(DictionaryHistoryTest, everyGenerationIsCountedAndKept) {
    auto dictionary = makeDictionary({"abc"});
    for (uint64_t generation = 1; generation < 5; ++generation) {
        dictionary->compact();
        dictionary = copy(*dictionary);
        EXPECT_EQ(generation, dictionary->getHistory().getGeneration());
    }
}

TEST(DictionaryHistoryFailureTest, aSaveThatFailsDoesNoHarm) {
    const TemporaryDirectory directory;
    const auto first = makeDictionary({"abc"});
    const auto second = makeDictionary({"abc"});
    for (Dictionary* const dictionary : {first.get(), second.get()}) {
        add(*dictionary, {"def"});
        dictionary->commit();
    }
    {
        SystemCallFaults faults(SystemCallFaults::Call::FSYNC);
        faults.failAfter(0, EIO, SystemCallFaults::Duration::FOR_GOOD);
        EXPECT_ANY_THROW(first->save(directory.getPathOf("strings.dict")));
    }
    EXPECT_EQ(writeToMemory(*second), writeToMemory(*first)) << "the state is known by what it is";
    EXPECT_EQ(grow(*second, {"ghi"}), grow(*first, {"ghi"}));
}

TEST(DictionaryHistoryFailureTest, withoutMemoryForAnEntryItIsAddedNextTime) {
    DictionaryHistory unharmed;
    unharmed.add(2, {1, 2});
    const auto identity = unharmed.getIdentity();
    unharmed.add(3, {3, 4});
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        DictionaryHistory history;
        history.add(2, {1, 2});
        if (!round.attempt([&history] { history.add(3, {3, 4}); }))
            history.add(3, {3, 4});
        EXPECT_NE(identity, history.getIdentity());
        EXPECT_EQ(unharmed.getIdentity(), history.getIdentity());
    });
    EXPECT_EQ(2 * 2u, counts.m_throws) << "the entry, and the copy that is returned";
}

TEST(DictionaryHistoryTest, everyFlippedBitOfItIsFound) {
    const std::string file = writeToMemory(*makeDictionary({"abc"}));
    constexpr size_t SIZE_OF_HISTORY = 8 + Forged::FIRST_ENTRY + Forged::ENTRY_SIZE + 8;
    constexpr size_t SIZE_OF_END = 16;
    for (size_t bit = (file.size() - SIZE_OF_END - SIZE_OF_HISTORY) * 8; bit < file.size() * 8; ++bit) {
        std::string damaged = file;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ 1 << bit % 8);
        EXPECT_THROW(readFromMemory(damaged), MelnarException) << "bit " << bit % 8 << " of byte " << bit / 8;
    }
    EXPECT_NO_THROW(readFromMemory(file));
}

TEST(DictionaryHistoryTest, statisticsTellIdentityAndGeneration) {
    const auto dictionary = makeDictionary({"abc"});
    const auto print = [&dictionary] {
        MemoryOutputStream text;
        dictionary->getComponentInfo()->printText(text);
        dictionary->getComponentInfo()->printJSON(text);
        return text.getBytes();
    };
    const std::string identity = identify(*dictionary).toString();
    EXPECT_NE(std::string::npos, print().find("    Identity: " + identity + "\n    Generation: 0\n"));
    EXPECT_NE(std::string::npos,
              print().find("{\"metric\": \"IDENTITY\", \"label\": \"Identity\", \"value\": \"" + identity + "\"}"));
    EXPECT_NE(std::string::npos, print().find("{\"metric\": \"GENERATION\", \"label\": \"Generation\", \"value\": 0}"));
    dictionary->compact([](uint64_t, const ResourceValue&) { return false; });
    EXPECT_EQ(std::string::npos, print().find("Identity")) << "it has not been saved since";
    EXPECT_NE(std::string::npos, print().find("    Generation: 1\n"));
}

} // namespace
