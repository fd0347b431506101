#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/data-store/dictionary/DatatypePolicy.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/data-store/dictionary/LexicalFormHashes.h"
#include "Engine/core/data-store/dictionary/StringChunk.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFailureSites.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

/// Finds the string of a bucket: resource ID -> offset -> chunk in the data pool. A stored string and a query with the
/// same bytes have the same hash.
template<class T>
class MELNAR_EXPORT DatatypeStringPolicy : public DatatypePolicy<T> {
public:
    // For the failure of a string that collides with too many others.
    static constexpr const char* SOURCE_FILE = STRING_DATATYPE_SOURCE_FILE;
    static constexpr long LINE_OF_COLLISIONS = LINE_TOO_MANY_COLLISIONS;
    static constexpr const char* NOUN = "string";

    /// The chunk of a new string.
    class NewChunk {
    public:
        NewChunk(const DatatypeStringPolicy&, const std::string_view lexicalForm) noexcept
            : m_lexicalForm(lexicalForm) {}

        size_t getSize() const noexcept { return melnar::StringChunk::getChunkSizeFor(m_lexicalForm.size()); }

        void write(uint8_t* const chunk) const noexcept {
            melnar::StringChunk::write(chunk, m_lexicalForm.data(), m_lexicalForm.size());
        }

    private:
        const std::string_view m_lexicalForm;
    };

    DatatypeStringPolicy(const MemoryRegion<uint64_t>& resourceDataOffsets, const DataPool& dataPool) noexcept
        : m_resourceDataOffsets(resourceDataOffsets), m_dataPool(dataPool) {}

    void prefetchOffset(const uint64_t resourceID) const noexcept {
        __builtin_prefetch(&m_resourceDataOffsets[resourceID]);
    }

    const uint8_t* getChunkAddress(const uint64_t resourceID) const noexcept {
        return m_dataPool.getData() + m_resourceDataOffsets[resourceID];
    }

    melnar::StringChunk getChunk(const uint64_t resourceID) const noexcept {
        return melnar::StringChunk(getChunkAddress(resourceID));
    }

    uint64_t getHash(const T resourceID) const noexcept {
        const melnar::StringChunk chunk = getChunk(resourceID);
        return hashLexicalForm(chunk.getLexicalForm(), chunk.getLexicalFormLength());
    }

    /// Does what getHash does for up to MAXIMUM_NUMBER_OF_FORMS_TO_HASH resources.
    void getHashes(const T* const resourceIDs, const size_t numberOfResources, uint64_t* const hashes) const noexcept {
        // Offsets are prefetched twice as far ahead as chunks, and each chunk after its offset has arrived.
        constexpr size_t DISTANCE = 32;
        std::array<std::string_view, melnar::MAXIMUM_NUMBER_OF_FORMS_TO_HASH> forms;
        for (size_t ahead = 0; ahead < numberOfResources + 2 * DISTANCE; ++ahead) {
            if (ahead < numberOfResources)
                prefetchOffset(resourceIDs[ahead]);
            if (ahead >= DISTANCE && ahead - DISTANCE < numberOfResources)
                __builtin_prefetch(getChunkAddress(resourceIDs[ahead - DISTANCE]));
            if (ahead >= 2 * DISTANCE) {
                const melnar::StringChunk chunk = getChunk(resourceIDs[ahead - 2 * DISTANCE]);
                forms[ahead - 2 * DISTANCE] = {chunk.getLexicalForm(), chunk.getLexicalFormLength()};
                __builtin_prefetch(chunk.getLexicalForm() + chunk.getLexicalFormLength());
            }
        }
        std::array<uint16_t, melnar::MAXIMUM_NUMBER_OF_FORMS_TO_HASH> order;
        melnar::hashLexicalForms(forms.data(), numberOfResources, hashes, order.data());
    }

    /// Returns whether a chunk is that of a given string. Only its bytes decide.
    static bool isChunkOf(const uint8_t* const chunk, const std::string_view lexicalForm) noexcept {
        return melnar::StringChunk::isChunkOf(chunk, lexicalForm.data(), lexicalForm.size());
    }

    static size_t getChunkSize(const uint8_t* const chunk) noexcept {
        return melnar::StringChunk(chunk).getChunkSize();
    }

    void readInto(BatchEntry& entry) const noexcept {
        const melnar::StringChunk chunk = getChunk(entry.m_resourceID);
        entry.m_lexicalForm = {chunk.getLexicalForm(), chunk.getLexicalFormLength()};
        __builtin_prefetch(chunk.getData() + chunk.getLexicalFormLength()); // the caller will read all of it
    }

private:
    const MemoryRegion<uint64_t>& m_resourceDataOffsets;
    const DataPool& m_dataPool;
};
