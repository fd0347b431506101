#include "tools/melnar-dict/load/DictionarySize.h"

#include "Engine/core/data-store/dictionary/DataPool.h"
#include "Engine/core/platform/collections/ParallelHashTableHeader.h"
#include "Engine/core/platform/system/MemoryRegionGrowth.h"

#include <algorithm>

namespace {

constexpr uint64_t BYTES_OF_A_BUCKET = 4;
constexpr uint64_t BYTES_OF_A_FINGERPRINT = 1;
constexpr uint64_t BYTES_OF_AN_OFFSET = 8;
constexpr uint64_t BYTES_OF_A_DATATYPE_ID = 1;

// What docs/formats tells of files.
constexpr uint64_t BYTES_OF_A_BLOCK = 1 << 20;
constexpr uint64_t BYTES_AROUND_A_BLOCK = 16;
constexpr uint64_t BYTES_OF_HEADERS = 2500;

/// A table doubles when an insertion needs a bucket beyond the threshold; threads reserve buckets in batches.
uint64_t predictNumberOfBuckets(const uint64_t numberOfEntries) {
    uint64_t buckets = ParallelHashTableHeader::MINIMUM_NUMBER_OF_BUCKETS;
    while (ParallelHashTableHeader::getResizeThreshold(buckets) <= numberOfEntries)
        buckets *= 2;
    return buckets;
}

/// Returns the bytes that a region has which grows when it needs so many more, as ensureEndInSteps does it.
uint64_t predictRegion(const uint64_t bytes, const uint64_t bytesOfAnItem) {
    uint64_t committed = 0;
    while (committed < bytes) {
        const uint64_t need = committed + bytesOfAnItem;
        committed = need + std::clamp<uint64_t>(need / 8, MINIMUM_GROWTH_STEP, MAXIMUM_GROWTH_STEP);
    }
    return committed;
}

} // namespace

DictionarySize predictDictionarySize(const DictionaryContents& contents) {
    const uint64_t resources = contents.m_strings + contents.m_plainLiterals;
    const uint64_t buckets =
        predictNumberOfBuckets(contents.m_strings) + predictNumberOfBuckets(contents.m_plainLiterals);
    const uint64_t savedBytes =
        resources * (BYTES_OF_AN_OFFSET + BYTES_OF_A_DATATYPE_ID) + contents.m_chunkBytes + buckets * BYTES_OF_A_BUCKET;
    return {predictRegion(resources * BYTES_OF_AN_OFFSET, BYTES_OF_AN_OFFSET) +
                predictRegion(resources * BYTES_OF_A_DATATYPE_ID, BYTES_OF_A_DATATYPE_ID) +
                predictRegion(contents.m_chunkBytes, DataPool::BLOCK_SIZE) +
                buckets * (BYTES_OF_A_BUCKET + BYTES_OF_A_FINGERPRINT),
            savedBytes + BYTES_OF_HEADERS + (savedBytes / BYTES_OF_A_BLOCK + 1) * BYTES_AROUND_A_BLOCK};
}
