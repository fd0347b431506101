#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/DictionaryForger.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <iostream>
#include <string>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(4) << 20;
constexpr size_t FILES_PER_SEED = 1500;

/// Runs an operation that may refuse, but nothing else.
template<class Action>
void attempt(const Action& action) {
    try {
        action();
    } catch (const MelnarException&) {
        // A literal that is none, an ID that stands for none, or no memory for it.
    }
}

/// Uses all of a dictionary. What it answers may be wrong; it must not crash, and must come back.
void use(Dictionary& dictionary) {
    attempt([&] { dictionary.verify(); });
    std::string text;
    std::vector<BatchEntry> entries;
    for (uint64_t resourceID = 0; resourceID < dictionary.getNextResourceID() + 2; ++resourceID)
        entries.push_back({{}, resourceID});
    dictionary.getResources(entries);
    for (const BatchEntry& entry : entries)
        if (entry.m_datatypeID != D_INVALID)
            dictionary.appendLexicalForm(entry, text);
    for (uint64_t resourceID = 0; resourceID < dictionary.getNextResourceID() + 2; ++resourceID) {
        attempt([&] { dictionary.getTerm(resourceID, text); });
        attempt([&] {
            text.clear();
            dictionary.appendTurtleLiteral(resourceID, text);
        });
    }
    for (const DictionaryCommitPoint commitPoint : {dictionary.getCommitPoint(), DictionaryCommitPoint{~uint64_t(0)}})
        for (const char* const form : {"abc", "", "7", "gone", "def", "nothing"})
            attempt([&] { dictionary.tryResolveResource(commitPoint, form, D_XSD_STRING); });
    attempt([&] { dictionary.getComponentInfo(); });
    attempt([&] { dictionary.getDetailedComponentInfo(); });
    attempt([&] { dictionary.getTableProfiles(1024); });
    const auto resolve = [&](DictionaryThread& thread, const size_t end) {
        for (size_t number = 0; number < end; ++number) {
            attempt([&] { dictionary.resolveResource(thread, std::to_string(number), D_XSD_STRING); });
            attempt([&] { dictionary.resolveResource(thread, std::to_string(number) + "@en", D_RDF_PLAIN_LITERAL); });
            for (const uint8_t datatypeID : {D_IRI, D_TYPED_LITERAL})
                attempt([&] {
                    dictionary.resolveResource(thread, std::to_string(number) + "^^http://example.org/1", datatypeID);
                });
        }
    };
    DictionaryThread thread(dictionary);
    resolve(thread, 20);
    dictionary.rollback();
    resolve(thread, 800); // through a resize
    dictionary.commit();
    writeToMemory(dictionary);
    attempt(
        [&] { dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 3; }); });
    attempt([&] { dictionary.compact(); });
    resolve(thread, 20);
    writeToMemory(dictionary);
}

TEST(DictionaryFileFuzzTest, aForgedFileIsRefusedOrDoesNoHarm) {
    const std::vector<ForgedDictionaryFile> soundFiles = {
        ForgedDictionaryFile(*makeSampleDictionary(NARROW)), ForgedDictionaryFile(*makeSampleDictionary(WIDE)),
        ForgedDictionaryFile(*makeMediumDictionary()), ForgedDictionaryFile(*makeDictionaryOfTerms())};
    size_t refused = 0;
    size_t opened = 0;
    for (const uint32_t seed : getTestSeeds(1)) {
        SCOPED_TRACE(describeSeed(seed));
        DictionaryForger forger(seed);
        for (size_t count = 0; count < FILES_PER_SEED; ++count) {
            const std::string bytes = forger.forge(soundFiles[count % soundFiles.size()]);
            std::unique_ptr<Dictionary> dictionary;
            try {
                dictionary = readFromMemory(bytes, MEMORY_LIMIT);
            } catch (const MelnarException&) {
                ++refused;
                continue;
            }
            ++opened;
            ASSERT_NO_THROW(use(*dictionary));
        }
    }
    EXPECT_GT(refused, FILES_PER_SEED / 4);
    EXPECT_GT(opened, FILES_PER_SEED / 20) << "forged too crudely: hardly any file was believed";
    std::cout << "Forged files: " << refused + opened << ", refused: " << refused << ", harmless: " << opened << '\n';
}

} // namespace
