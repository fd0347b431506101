#include "tools/melnar-dict/load/DictionarySize.h"

#include "tests/support/TemporaryDirectory.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/StringChunk.h"
#include "Engine/core/data-store/terms/TermChunk.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <initializer_list>
#include <span>
#include <string>

using namespace melnar;

namespace {

constexpr std::array<uint8_t, 7> ALL_DATATYPES{D_XSD_STRING,    D_RDF_PLAIN_LITERAL,  D_IRI,        D_BLANK_NODE,
                                               D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM};

/// Makes a form of a datatype, of some length, that shares its text with `sharers` others if it shares any.
std::string makeForm(const uint8_t datatypeID, const uint64_t index, const size_t length, const uint64_t sharers) {
    const std::string group = std::to_string(index / sharers);
    std::string text = std::to_string(index);
    text.resize(std::max(length, text.size()), 'x');
    switch (datatypeID) {
    case D_RDF_PLAIN_LITERAL:
        return text + "@en";
    case D_IRI:
        return "http://example.org/" + group + '/' + text;
    case D_BLANK_NODE:
        return "doc" + group + '-' + text;
    case D_TYPED_LITERAL:
        return text + "^^http://example.org/" + group;
    case D_DIRECTIONAL_STRING:
        return text + "@en-x-" + group.substr(0, 8) + "--ltr";
    case D_TRIPLE_TERM:
        return "<<( _:" + text + " <http://example.org/" + group + "> \"o\" )>>";
    default:
        return text + "...";
    }
}

DictionaryContents contentsOf(const Dictionary& dictionary) {
    DictionaryContents contents;
    for (uint64_t resourceID = 1; resourceID < dictionary.getNextResourceID(); ++resourceID) {
        BatchEntry entry{{}, resourceID};
        dictionary.getResources({&entry, 1});
        DictionaryContents::Terms& terms = contents.m_terms[entry.m_datatypeID];
        ++terms.m_number;
        contents.m_chunkBytes += entry.m_datatypeID < D_IRI
                                     ? StringChunk::getChunkSizeFor(entry.m_lexicalForm.size())
                                     : TermChunk::getChunkSizeFor(entry.m_affixNumber, entry.m_lexicalForm.size());
        if (entry.m_affixNumber > terms.m_sharedTexts) {
            terms.m_sharedTexts = entry.m_affixNumber;
            terms.m_sharedTextBytes += dictionary.getAffix(entry).size();
        }
    }
    return contents;
}

/// Fills a dictionary with terms of some datatypes, and compares it with the prediction.
void expectPrediction(const std::span<const uint8_t> datatypeIDs, const uint64_t number, const size_t length,
                      const uint64_t sharers) {
    SCOPED_TRACE(std::to_string(datatypeIDs.size()) + " datatypes, " + std::to_string(number) + " terms of " +
                 std::to_string(length) + " bytes, texts shared by " + std::to_string(sharers));
    const TemporaryDirectory directory;
    Dictionary dictionary({.m_memoryLimit = size_t(1) << 30,
                           .m_maximumNumberOfResources = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS});
    {
        DictionaryThread thread(dictionary);
        for (uint64_t index = 0; index < number; ++index) {
            const uint8_t datatypeID = datatypeIDs[index % datatypeIDs.size()];
            dictionary.resolveResource(thread, makeForm(datatypeID, index / datatypeIDs.size(), length, sharers),
                                       datatypeID);
        }
    }
    dictionary.commit();
    ASSERT_EQ(number + 1, dictionary.getNextResourceID());
    const std::string path = directory.getPathOf("d");
    dictionary.save(path);
    const DictionarySize size = predictDictionarySize(contentsOf(dictionary));
    const auto memoryBytes = static_cast<double>(dictionary.getMemoryInUse());
    EXPECT_NEAR(memoryBytes, static_cast<double>(size.m_memoryBytes), 0.05 * memoryBytes + 70'000);
    const auto fileBytes = static_cast<double>(std::filesystem::file_size(path));
    EXPECT_NEAR(fileBytes, static_cast<double>(size.m_fileBytes), 0.005 * fileBytes + 1000);
}

TEST(DictionarySizeTest, isThatOfADictionaryOfStrings) {
    for (const uint64_t number : std::initializer_list<uint64_t>{0, 1, 700, 720, 50'000, 95'000, 200'000})
        for (const size_t length : std::initializer_list<size_t>{8, 300})
            expectPrediction(std::span(ALL_DATATYPES).first(2), number, length, 1);
}

TEST(DictionarySizeTest, isThatOfADictionaryOfAllTerms) {
    for (const uint64_t number : std::initializer_list<uint64_t>{7, 4000, 7 * 50'000})
        for (const size_t length : std::initializer_list<size_t>{8, 300})
            expectPrediction(ALL_DATATYPES, number, length, 1000);
}

TEST(DictionarySizeTest, countsOnlyTheFamiliesThatThereAre) {
    for (const uint8_t& datatypeID : ALL_DATATYPES)
        expectPrediction({&datatypeID, 1}, 20'000, 20, 100);
}

TEST(DictionarySizeTest, countsTheTextsThatTermsShare) {
    for (const uint64_t sharers : std::initializer_list<uint64_t>{1, 4, 5, 40})
        for (const uint8_t& datatypeID : {D_IRI, D_TYPED_LITERAL})
            expectPrediction({&datatypeID, 1}, 100'000, 8, sharers);
}

} // namespace
