#pragma once

#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <memory>
#include <string>
#include <vector>

/// Makes a dictionary with a few terms of each family, some of which share texts.
inline std::unique_ptr<Dictionary> makeFewTerms() {
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    DictionaryThread thread(*dictionary);
    for (const std::string text : {"1", "2", "3", "4", "5"}) {
        dictionary->resolveResource(thread, "http://example.org/" + text, D_IRI);
        dictionary->resolveResource(thread, "doc1-" + text, D_BLANK_NODE);
        dictionary->resolveResource(thread, text + "^^x:y", D_TYPED_LITERAL);
        dictionary->resolveResource(thread, text + "@en--ltr", D_DIRECTIONAL_STRING);
        dictionary->resolveResource(thread, "<<( _:b <p> \"" + text + "\" )>>", D_TRIPLE_TERM);
    }
    return dictionary;
}

inline std::vector<std::string> makeSoundDictionaryFiles() {
    return {writeToMemory(*makeSampleDictionary(NARROW)), writeToMemory(*makeSampleDictionary(WIDE)),
            writeToMemory(*makeSampleDictionary(Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES)),
            writeToMemory(*makeFewTerms())};
}

inline std::vector<std::string> makeSoundManifests() {
    ShardManifest manifest;
    manifest.m_maximumNumberOfResourcesOfShard = 1000;
    manifest.m_shards[0] = {1, 5000, {{1, 2}}, {{D_XSD_STRING, {1, 0}}}};
    manifest.m_shards[255] = {7, 1, {{3, 4}}, {{D_RDF_PLAIN_LITERAL, {3, 30}}, {D_IRI, {4, 40}}}};
    manifest.m_nextDocument = 3;
    manifest.m_inputs = {{"a.ttl", 12, true}, {"b.nt", 5, false}};
    manifest.m_history = {3, {{5, {{6, 7}}}, {9, {{8, 9}}}}};
    manifest.m_work = "work";
    melnar::MemoryOutputStream output;
    manifest.write(output);
    return {output.getBytes()};
}
