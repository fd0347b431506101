#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/InputStream.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

class SectionInputStream;

/// Passes the saved stream of a string datatype on to the datatype's load and vouches for it: a number that load would
/// act upon is checked before load sees it, and the buckets are checked while they pass.
///
/// What holds for a stream that passes: the tables' sizes are powers of two of at least 1024 and lie within the
/// regions, whose sizes overflow nothing; no bucket is in progress; every live bucket holds the ID of an existing
/// resource of the table's datatype, and there are as many as there are such resources; tombstones, used buckets,
/// quotas and threshold agree with the buckets, so that every probe meets an empty bucket.
///
/// Ownership  Refers to what it is given; lives for one load.
/// Errors     Reports damage through the section stream.
class StringDatatypeStreamValidator final : public InputStream, private Unmovable {
public:
    StringDatatypeStreamValidator(SectionInputStream& sections, size_t bucketWidth, uint64_t nextResourceID,
                                  const MemoryRegion<std::atomic<uint8_t>>& resourceFlags);

    const std::string& getName() const override;
    size_t read(void* data, size_t numberOfBytes) override;

private:
    /// The tables in the order in which they are saved.
    static constexpr size_t NUMBER_OF_TABLES = 2;

    void prepareTable();
    void checkBuckets(const void* data, size_t numberOfBuckets);
    void checkBucket(uint64_t value);
    void finishTable();
    [[noreturn]] void reportDamage(const std::string& finding) const;

    SectionInputStream& m_sections;
    const size_t m_bucketWidth;
    const uint64_t m_nextResourceID;
    const MemoryRegion<std::atomic<uint8_t>>& m_resourceFlags;

    std::vector<uint8_t> m_checkedBytes; // of fields that are read and checked, but not delivered yet
    size_t m_deliveredBytes;             // of those
    size_t m_tableNumber;                // of the table whose buckets are being delivered; counts from 1
    uint64_t m_numberOfBuckets;
    uint64_t m_numberOfNonEmptyBuckets; // as the counters say
    uint64_t m_numberOfDeletedBuckets;  // as the counter says
    uint64_t m_regionEnd;
    uint64_t m_seenBuckets;
    uint64_t m_seenLiveBuckets;
    uint64_t m_seenDeletedBuckets;
};
