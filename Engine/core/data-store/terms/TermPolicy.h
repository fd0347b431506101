#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/data-store/dictionary/DatatypePolicy.h"
#include "Engine/core/data-store/dictionary/LexicalFormHash.h"
#include "Engine/core/data-store/terms/AffixTable.h"
#include "Engine/core/data-store/terms/PartComparison.h"
#include "Engine/core/data-store/terms/TermChunk.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace melnar {

/// Finds the term of a bucket: resource ID -> offset -> chunk in the data pool, and the shared text. A stored term,
/// however it is divided into two parts, and a query with the same bytes have the same hash.
template<class T>
class TermPolicy : public DatatypePolicy<T> {
public:
    // For the failure of a term that collides with too many others.
    static constexpr const char* SOURCE_FILE = "Engine/core/data-store/terms/TermPolicy";
    static constexpr long LINE_TOO_MANY_COLLIDING_TERMS = 29;
    static constexpr long LINE_OF_COLLISIONS = LINE_TOO_MANY_COLLIDING_TERMS;
    static constexpr const char* NOUN = "term";

    static_assert(AffixTable::LARGEST_NUMBER <= TermChunk::LARGEST_AFFIX_NUMBER);

    /// The chunk of a new term. Counts the text that the term might share.
    class NewChunk {
    public:
        NewChunk(const TermPolicy& policy, const std::string_view lexicalForm) noexcept
            : m_affixNumber(policy.getAffixNumberFor(lexicalForm)), m_ownText(lexicalForm) {
            const size_t affixLength = policy.m_affixes.getText(m_affixNumber).size();
            if (policy.isAffixInFront())
                m_ownText.remove_prefix(affixLength);
            else
                m_ownText.remove_suffix(affixLength);
        }

        size_t getSize() const noexcept { return TermChunk::getChunkSizeFor(m_affixNumber, m_ownText.size()); }
        void write(uint8_t* const chunk) const noexcept { TermChunk::write(chunk, m_affixNumber, m_ownText); }

    private:
        const uint32_t m_affixNumber;
        std::string_view m_ownText;
    };

    TermPolicy(const MemoryRegion<uint64_t>& resourceDataOffsets, const DataPool& dataPool, AffixTable& affixes,
               const TermFamily& family) noexcept
        : m_resourceDataOffsets(resourceDataOffsets), m_dataPool(dataPool), m_affixes(affixes), m_family(family) {}

    void prefetchOffset(const uint64_t resourceID) const noexcept {
        __builtin_prefetch(&m_resourceDataOffsets[resourceID]);
    }

    const uint8_t* getChunkAddress(const uint64_t resourceID) const noexcept {
        return m_dataPool.getData() + m_resourceDataOffsets[resourceID];
    }

    TermChunk getChunk(const uint64_t resourceID) const noexcept { return TermChunk(getChunkAddress(resourceID)); }

    std::string_view getAffix(const TermChunk& chunk) const noexcept {
        return m_affixes.getText(chunk.getAffixNumber());
    }

    uint64_t getHash(const T resourceID) const noexcept {
        const TermChunk chunk = getChunk(resourceID);
        if (isAffixInFront())
            return continueHash(m_affixes.getHash(chunk.getAffixNumber()), chunk.getOwnText());
        return continueHash(continueHash(FNV_1A_OFFSET_BASIS, chunk.getOwnText()), getAffix(chunk));
    }

    /// Does what getHash does for many resources.
    void getHashes(const T* const resourceIDs, const size_t numberOfResources, uint64_t* const hashes) const noexcept {
        // Offsets are prefetched twice as far ahead as chunks, and each chunk after its offset has arrived.
        constexpr size_t DISTANCE = 16;
        for (size_t ahead = 0; ahead < numberOfResources + 2 * DISTANCE; ++ahead) {
            if (ahead < numberOfResources)
                prefetchOffset(resourceIDs[ahead]);
            if (ahead >= DISTANCE && ahead - DISTANCE < numberOfResources)
                __builtin_prefetch(getChunkAddress(resourceIDs[ahead - DISTANCE]));
            if (ahead >= 2 * DISTANCE)
                hashes[ahead - 2 * DISTANCE] = getHash(resourceIDs[ahead - 2 * DISTANCE]);
        }
    }

    /// Returns whether a chunk is that of a given term. Only its bytes and its shared text decide.
    bool isChunkOf(const uint8_t* const chunk, const std::string_view lexicalForm) const noexcept {
        const TermChunk stored(chunk);
        const std::string_view affix = getAffix(stored);
        const std::string_view own = stored.getOwnText();
        if (own.size() + affix.size() != lexicalForm.size())
            return false;
        const bool isInFront = isAffixInFront();
        return PartComparison::areEqual(own.data(), lexicalForm.data() + (isInFront ? affix.size() : 0), own.size()) &&
               PartComparison::areEqual(affix.data(), lexicalForm.data() + (isInFront ? 0 : own.size()), affix.size());
    }

    static size_t getChunkSize(const uint8_t* const chunk) noexcept { return TermChunk(chunk).getChunkSize(); }

    void readInto(BatchEntry& entry) const noexcept {
        const TermChunk chunk = getChunk(entry.m_resourceID);
        entry.m_lexicalForm = chunk.getOwnText();
        entry.m_affixNumber = chunk.getAffixNumber();
        __builtin_prefetch(entry.m_lexicalForm.data() + entry.m_lexicalForm.size()); // the caller will read all of it
    }

private:
    bool isAffixInFront() const noexcept { return m_family.m_affixPlace == TermFamily::AffixPlace::FRONT; }

    uint32_t getAffixNumberFor(const std::string_view lexicalForm) const noexcept {
        const size_t length = std::min(m_family.m_getAffixLength(lexicalForm), lexicalForm.size());
        return m_affixes.getNumberFor(isAffixInFront() ? lexicalForm.substr(0, length)
                                                       : lexicalForm.substr(lexicalForm.size() - length));
    }

    const MemoryRegion<uint64_t>& m_resourceDataOffsets;
    const DataPool& m_dataPool;
    AffixTable& m_affixes;
    const TermFamily& m_family;
};

} // namespace melnar
