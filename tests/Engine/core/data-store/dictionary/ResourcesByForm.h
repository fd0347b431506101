#pragma once

#include "Engine/core/data-store/dictionary/StringChunk.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>

/// Reads every assigned ID, and returns how many of them each lexical form has. Expects that the pool contains their
/// chunks and nothing else.
template<class T>
std::unordered_map<std::string, size_t> countResourcesByForm(const DictionaryFixture<T>& fixture) {
    const uint64_t nextResourceID = fixture.m_nextResourceID.load();
    std::unordered_map<std::string, size_t> resourcesByForm;
    size_t chunkBytes = 0;
    for (uint64_t resourceID = 1; resourceID < nextResourceID; ++resourceID) {
        const uint8_t datatypeID = fixture.getDatatypeID(resourceID);
        EXPECT_TRUE(datatypeID == D_XSD_STRING || datatypeID == D_RDF_PLAIN_LITERAL) << size_t(datatypeID);
        const std::string lexicalForm = fixture.getLexicalForm(resourceID);
        chunkBytes += melnar::StringChunk::getChunkSizeFor(lexicalForm.size());
        ++resourcesByForm[lexicalForm];
    }
    EXPECT_EQ(chunkBytes + fixture.m_dataPool.getUnusedBytes(), fixture.m_dataPool.getEnd());
    return resourcesByForm;
}
