#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/TableChecks.h"
#include "tests/support/DictionaryFixture.h"

#include <cstdint>

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
