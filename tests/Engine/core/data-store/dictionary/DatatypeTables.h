#pragma once

#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/StringChunk.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

/// Returns the table of a datatype's strings in the string datatype under test.
template<class T>
auto& getTable(UninitializedDictionaryFixture<T>& fixture, const uint8_t datatypeID = D_XSD_STRING) {
    return StringDatatypeTestPeer::getTable(fixture.m_datatype, datatypeID);
}

/// Expects all invariants of both tables while no operation runs.
template<class T>
void expectSound(UninitializedDictionaryFixture<T>& fixture) {
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        expectSoundAtRest(getTable(fixture, datatypeID));
}

/// Lets a new string of `length` bytes lack memory for its chunk, and for nothing else, in a shortage that follows.
template<class T>
void fillPool(UninitializedDictionaryFixture<T>& fixture, const size_t length) {
    // In a table of this size each thread gets its quota without a resize.
    for (uint32_t number = 0; getTable(fixture).getNumberOfBuckets() < 32768; ++number)
        fixture.resolve(std::to_string(number));
    const DataPool& pool = fixture.m_dataPool;
    ASSERT_LT(length, pool.getCommittedBytes() - pool.getEnd());
    fixture.resolve(std::string(pool.getCommittedBytes() - pool.getEnd() - length, 'f'));
    ASSERT_GT(pool.getEnd() + melnar::StringChunk::getChunkSizeFor(length), pool.getCommittedBytes());
}
