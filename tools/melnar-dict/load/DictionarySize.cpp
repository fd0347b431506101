#include "tools/melnar-dict/load/DictionarySize.h"

#include "tools/melnar-dict/pieces/EngineTerm.h"

#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/platform/collections/ParallelHashTableHeader.h"
#include "Engine/core/platform/system/MemoryRegionGrowth.h"

#include <algorithm>
#include <bit>

using namespace melnar;

namespace {

constexpr uint64_t BYTES_OF_A_BUCKET = 4;
constexpr uint64_t BYTES_OF_A_FINGERPRINT = 1;
constexpr uint64_t BYTES_OF_AN_OFFSET = 8;
constexpr uint64_t BYTES_OF_A_DATATYPE_ID = 1;

// As docs/formats describes files.
constexpr uint64_t BYTES_OF_A_BLOCK = 1 << 20;
constexpr uint64_t BYTES_AROUND_A_BLOCK = 16;
constexpr uint64_t BYTES_OF_HEADERS = 300;
constexpr uint64_t BYTES_OF_A_TABLE = 1200; // without the buckets
constexpr uint64_t BYTES_OF_A_LENGTH = 8;

/// A table doubles when an insertion needs a bucket beyond the threshold; threads reserve buckets in batches.
uint64_t predictNumberOfBuckets(const uint64_t numberOfEntries) {
    uint64_t buckets = ParallelHashTableHeader::MINIMUM_NUMBER_OF_BUCKETS;
    while (ParallelHashTableHeader::getResizeThreshold(buckets) <= numberOfEntries)
        buckets *= 2;
    return buckets;
}

/// Returns the size of a region that grows when it needs so many more bytes, as with ensureEndInSteps.
uint64_t predictRegion(const uint64_t bytes, const uint64_t bytesOfAnItem) {
    uint64_t committed = 0;
    while (committed < bytes) {
        const uint64_t need = committed + bytesOfAnItem;
        committed = need + std::clamp<uint64_t>(need / 8, MINIMUM_GROWTH_STEP, MAXIMUM_GROWTH_STEP);
    }
    return committed;
}

/// Returns the memory of shared texts: the bytes, a record of 16 bytes each, and an index that is at most half full,
/// with the smaller indexes that it has replaced.
uint64_t predictSharedTexts(const DictionaryContents::Terms& terms) {
    constexpr uint64_t BYTES_OF_A_RECORD = 16;
    constexpr uint64_t SMALLEST_INDEX = 1024;
    const uint64_t index = std::max(SMALLEST_INDEX, std::bit_ceil(2 * terms.m_sharedTexts));
    return terms.m_sharedTextBytes + terms.m_sharedTexts * BYTES_OF_A_RECORD + 2 * index * BYTES_OF_A_BUCKET;
}

} // namespace

DictionarySize predictDictionarySize(const DictionaryContents& contents) {
    uint64_t resources = 0;
    uint64_t buckets = 0;
    uint64_t sharedTextMemory = 0;
    uint64_t savedBytes = BYTES_OF_HEADERS;
    for (size_t datatypeID = 0; datatypeID < contents.m_terms.size(); ++datatypeID) {
        const DictionaryContents::Terms& terms = contents.m_terms[datatypeID];
        if (terms.m_number == 0 && !isOfStrings(static_cast<uint8_t>(datatypeID)))
            continue; // It has no table.
        resources += terms.m_number;
        buckets += predictNumberOfBuckets(terms.m_number);
        savedBytes += BYTES_OF_A_TABLE + terms.m_sharedTexts * BYTES_OF_A_LENGTH + terms.m_sharedTextBytes;
        if (terms.m_sharedTexts != 0)
            sharedTextMemory += predictSharedTexts(terms);
    }
    savedBytes +=
        resources * (BYTES_OF_AN_OFFSET + BYTES_OF_A_DATATYPE_ID) + contents.m_chunkBytes + buckets * BYTES_OF_A_BUCKET;
    return {predictRegion(resources * BYTES_OF_AN_OFFSET, BYTES_OF_AN_OFFSET) +
                predictRegion(resources * BYTES_OF_A_DATATYPE_ID, BYTES_OF_A_DATATYPE_ID) +
                predictRegion(contents.m_chunkBytes, DataPool::BLOCK_SIZE) +
                buckets * (BYTES_OF_A_BUCKET + BYTES_OF_A_FINGERPRINT) + sharedTextMemory,
            savedBytes + (savedBytes / BYTES_OF_A_BLOCK + 1) * BYTES_AROUND_A_BLOCK};
}
