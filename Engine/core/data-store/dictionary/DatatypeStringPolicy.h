#pragma once

#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/data-store/dictionary/DatatypePolicy.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/data-store/dictionary/StringChunk.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <cstddef>
#include <cstdint>

/// Finds the string of a bucket: resource ID -> offset -> chunk in the data pool. A string that is stored and a query
/// with the same bytes have the same hash.
template<class T>
class DatatypeStringPolicy : public DatatypePolicy<T> {
public:
    DatatypeStringPolicy(const MemoryRegion<uint64_t>& resourceDataOffsets, const DataPool& dataPool) noexcept
        : m_resourceDataOffsets(resourceDataOffsets), m_dataPool(dataPool) {}

    StringChunk getChunk(const uint64_t resourceID) const noexcept {
        return StringChunk(m_dataPool.getData() + m_resourceDataOffsets[resourceID]);
    }

    uint64_t getHash(const T resourceID) const noexcept {
        const StringChunk chunk = getChunk(resourceID);
        return hashLexicalForm(chunk.getLexicalForm(), chunk.getLexicalFormLength());
    }

    bool isEqual(const T resourceID, const char* const lexicalForm, const size_t lexicalFormLength) const noexcept {
        return getChunk(resourceID).equals(lexicalForm, lexicalFormLength);
    }

private:
    const MemoryRegion<uint64_t>& m_resourceDataOffsets;
    const DataPool& m_dataPool;
};
