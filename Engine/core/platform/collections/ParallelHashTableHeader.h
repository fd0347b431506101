#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/stream/InputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/system/TableSizes.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace melnar {

/// The start of a saved ParallelHashTable: a marker and the fields below, in their order. The bucket region follows.
///
/// Both the table and a reader that checks a table before it is loaded know the format only from this struct.
///
/// Units   Numbers of buckets.
/// Errors  Those of the stream.
struct MELNAR_EXPORT ParallelHashTableHeader {
    static constexpr std::string_view MARKER = "ParallelHashTable";

    /// A table is initialised with a power of two of at least this many buckets.
    static constexpr size_t MINIMUM_NUMBER_OF_BUCKETS = TableSizes::MINIMUM_NUMBER_OF_BUCKETS;

    static constexpr double MAXIMUM_LOAD_FACTOR = 0.7;

    static constexpr uint64_t getResizeThreshold(const uint64_t numberOfBuckets,
                                                 const double maximumLoadFactor = MAXIMUM_LOAD_FACTOR) noexcept {
        return static_cast<uint64_t>(static_cast<double>(numberOfBuckets) * maximumLoadFactor);
    }

    void save(OutputStream& outputStream) const {
        outputStream.writeString(MARKER);
        outputStream.writeUInt64(m_bucketCount);
        outputStream.writeUInt64(m_resizeThreshold);
        outputStream.writeUInt64(m_usedBucketCount);
        outputStream.writeUInt64(m_deletedBucketCount);
        for (const uint32_t insertionQuota : m_insertionQuotas)
            outputStream.writeUInt32(insertionQuota);
    }

    /// Reads the marker and, if it is that of a table, the fields; returns whether it is. After false, nothing else has
    /// been read or changed. When the stream fails, the fields before the failure have been read and the others are
    /// unchanged.
    bool load(InputStream& inputStream) {
        if (!inputStream.readsString(MARKER))
            return false;
        m_bucketCount = inputStream.readUInt64();
        m_resizeThreshold = inputStream.readUInt64();
        m_usedBucketCount = inputStream.readUInt64();
        m_deletedBucketCount = inputStream.readUInt64();
        for (uint32_t& insertionQuota : m_insertionQuotas)
            insertionQuota = inputStream.readUInt32();
        return true;
    }

    uint64_t getSumOfInsertionQuotas() const noexcept {
        uint64_t sum = 0;
        for (const uint32_t insertionQuota : m_insertionQuotas)
            sum += insertionQuota;
        return sum;
    }

    uint64_t m_bucketCount = 0;
    uint64_t m_resizeThreshold = 0;
    uint64_t m_usedBucketCount = 0; // buckets that are not empty, plus the sum of the quotas
    uint64_t m_deletedBucketCount = 0;
    std::array<uint32_t, NUMBER_OF_THREAD_CONTEXT_INDICES> m_insertionQuotas{}; // by thread slot
};

} // namespace melnar
