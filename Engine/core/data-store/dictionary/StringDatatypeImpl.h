#pragma once

#include "Engine/core/data-store/dictionary/OffsetNeighbours.h"
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
                                              typename Table::Bucket* bucket,
                                              DictionaryThreadContext* const threadContext,
                                              const ResourceIDSource resourceIDSource, const char* const lexicalForm,
                                              const size_t lexicalFormLength, const uint8_t datatypeID) {
    for (;;) {
        const T value = Table::readBucket(*bucket);
        if (value == Policy::EMPTY_BUCKET) {
            if (Table::tryClaim(*bucket))
                break;
            continue; // Somebody was faster, perhaps with the same string: look at the bucket again.
        }
        auto* const nextBucket = table.getNextBucket(bucket);
        if (value != Policy::BUCKET_DELETED &&
            table.getPolicy().isEqual(value, *nextBucket, lexicalForm, lexicalFormLength)) {
            if constexpr (std::is_same_v<ResourceIDSource, GetNextResourceID>)
                return value;
            spinPause(); // The target ID's place is taken: wait until the entry is deleted.
            continue;
        }
        bucket = nextBucket;
    }
    try {
        const uint64_t resourceID =
            createResource(threadContext, resourceIDSource, lexicalForm, lexicalFormLength, datatypeID);
        Table::publish(tableThreadContext, *bucket, static_cast<T>(resourceID));
        return resourceID;
    } catch (...) {
        Table::unclaim(*bucket);
        throw;
    }
}

/// Everything of a new resource but its bucket.
template<class T>
template<class ResourceIDSource>
uint64_t StringDatatype<T>::createResource(DictionaryThreadContext* const threadContext,
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
    OffsetNeighbours::setOffset(m_resourceDataOffsets.getData(), resourceID, dataOffset);
    if (resourceID < m_endOfUsedOffsets) [[unlikely]]
        OffsetNeighbours::clearNextInside(m_resourceDataOffsets.getData(), resourceID, chunkSize);
    m_resourceFlags[resourceID].store(datatypeID, std::memory_order_release); // D1
    return resourceID;
}

/// Looks for a form from a bucket on before which it is known not to be. The caller holds its slot.
template<class T>
uint64_t StringDatatype<T>::probe(Table& table, typename Table::Bucket* bucket, const DictionaryCommitPoint commitPoint,
                                  const char* const lexicalForm, const size_t lexicalFormLength) noexcept {
    for (;;) {
        const T value = Table::readBucket(*bucket);
        if (value == Policy::EMPTY_BUCKET)
            return 0;
        auto* const nextBucket = table.getNextBucket(bucket);
        if (value != Policy::BUCKET_DELETED && value < commitPoint.m_resourceID &&
            table.getPolicy().isEqual(value, *nextBucket, lexicalForm, lexicalFormLength))
            return value;
        bucket = nextBucket;
    }
}
