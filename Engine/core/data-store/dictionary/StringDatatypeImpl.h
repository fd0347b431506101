#pragma once

#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/dictionary/StringDatatype.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFailureSites.h"

#include <atomic>
#include <tuple>
#include <type_traits>

/// What single operations and batches of the string datatype have in common.

inline constexpr PlainLiteralFailureLines TRY_RESOLVE_FAILURE_LINES{LINE_TRY_RESOLVE_MISSING_AT_SIGN,
                                                                    LINE_TRY_RESOLVE_MALFORMED_TAG};
inline constexpr PlainLiteralFailureLines RESOLVE_FAILURE_LINES{LINE_RESOLVE_MISSING_AT_SIGN,
                                                                LINE_RESOLVE_MALFORMED_TAG};

/// Resolves a form that is known not to be before a bucket of its probe. The caller holds its slot, and has quota.
template<class T>
template<class ResourceIDSource>
uint64_t StringDatatype<T>::doResolveResource(Table& table, typename Table::ThreadContext& tableThreadContext,
                                              ProbePlace place, DictionaryThreadContext* const threadContext,
                                              const ResourceIDSource resourceIDSource, const char* const lexicalForm,
                                              const size_t lexicalFormLength, const uint8_t datatypeID) {
    const uint8_t fingerprint = Fingerprints::get(place.m_hash);
    for (;;) {
        place.m_index = table.findCandidate(place.m_index, fingerprint);
        const T value = Table::readBucket(table.getBucket(place.m_index));
        if (value == Policy::EMPTY_BUCKET) {
            checkCollisions(place.m_numberOfCollisions);
            if (Table::tryClaim(table.getBucket(place.m_index)))
                break;
            continue; // Somebody was faster, perhaps with the same string: look at the bucket again.
        }
        if (value != Policy::BUCKET_DELETED) {
            if (isEntryOf(table, place, value, lexicalForm, lexicalFormLength)) {
                if constexpr (std::is_same_v<ResourceIDSource, GetNextResourceID>)
                    return value;
                spinPause(); // The target ID's place is taken: wait until the entry is deleted.
                continue;
            }
            ++place.m_numberOfCollisions;
        }
        place.m_index = table.getNextIndex(place.m_index);
    }
    try {
        const uint64_t resourceID =
            createResource(table, place, threadContext, resourceIDSource, lexicalForm, lexicalFormLength, datatypeID);
        table.publish(tableThreadContext, place.m_index, static_cast<T>(resourceID));
        return resourceID;
    } catch (...) {
        Table::unclaim(table.getBucket(place.m_index));
        throw;
    }
}

/// Everything of a new resource but its bucket.
template<class T>
template<class ResourceIDSource>
uint64_t StringDatatype<T>::createResource(Table& table, const ProbePlace& place,
                                           DictionaryThreadContext* const threadContext,
                                           const ResourceIDSource resourceIDSource, const char* const lexicalForm,
                                           const size_t lexicalFormLength, const uint8_t datatypeID) {
    const size_t chunkSize = StringChunk::getChunkSizeFor(lexicalFormLength);
    uint64_t resourceID;
    uint64_t dataOffset;
    if constexpr (std::is_same_v<ResourceIDSource, GetNextResourceID>)
        std::tie(resourceID, dataOffset) = newResourceIDAndDataChunk(threadContext, chunkSize);
    else {
        resourceID = resourceIDSource.m_targetResourceID;
        dataOffset = newDataChunk(threadContext, chunkSize);
    }
    StringChunk::write(m_dataPool.getData() + dataOffset, lexicalForm, lexicalFormLength);
    m_resourceDataOffsets[resourceID] = dataOffset;
    // Before the datatype byte: a thread that reads the resource by its ID must not be told that its string is absent.
    table.learnFingerprint(place.m_index, place.m_hash);
    m_resourceFlags[resourceID].store(datatypeID, std::memory_order_release); // D1
    return resourceID;
}

/// Whether the entry that a probe has met is that of the form. Stores the entry's fingerprint if nobody has yet.
template<class T>
inline bool StringDatatype<T>::isEntryOf(Table& table, const ProbePlace& place, const T value,
                                         const char* const lexicalForm, const size_t lexicalFormLength) noexcept {
    const bool isEqual = table.getPolicy().isEqual(value, lexicalForm, lexicalFormLength);
    if (table.isFingerprintUnknown(place.m_index)) [[unlikely]]
        table.learnFingerprint(place.m_index, isEqual ? place.m_hash : table.getPolicy().getHash(value));
    return isEqual;
}
