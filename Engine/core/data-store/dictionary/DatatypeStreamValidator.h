#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/collections/ParallelHashTableHeader.h"
#include "Engine/core/platform/stream/UntrustedInputStream.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace melnar {

/// Passes the beginning of a datatype's saved stream on to the datatype's load and vouches for it: a number that load
/// would act upon is checked before load sees it, and the buckets are checked while they pass. The stream consists of a
/// marker, the initial size, and one hash table after the other. What follows them is not read.
///
/// What holds for a stream that passes: the tables' sizes are powers of two of at least 1024 and lie within the
/// regions, whose sizes overflow nothing; no bucket is in progress; the live buckets hold the ID of every existing
/// resource of the table's datatype once, and nothing else; tombstones, used buckets, quotas and threshold agree with
/// the buckets, so that every probe meets an empty bucket. Whether an ID stands where its literal is looked for is not
/// checked.
///
/// T is the width of a bucket.
///
/// Ownership  Refers to what it is given; lives for one load. Takes a bit a resource ID beside the memory limit.
/// Errors     Reports damage to the stream and passes its failures on; std::bad_alloc.
template<class T>
class DatatypeStreamValidator final : public InputStream, private Unmovable {
public:
    /// Reads and checks what stands before the tables, each of which holds the resources of one datatype ID. Damage is
    /// told of a "`name` datatype". All resources have IDs below `endResourceID`, and their datatype bytes can be read.
    DatatypeStreamValidator(UntrustedInputStream& inputStream, std::string_view marker, const std::string& name,
                            std::vector<uint8_t> tableDatatypeIDs, uint64_t endResourceID,
                            const MemoryRegion<std::atomic<uint8_t>>& resourceFlags);

    const std::string& getName() const override { return m_inputStream.getName(); }
    size_t read(void* data, size_t numberOfBytes) override;

private:
    void prepareTable();
    void checkHeader() const;
    void checkBucket(uint64_t value);
    void finishTable() const;
    uint8_t getDatatypeID(uint64_t resourceID) const noexcept;
    void reportDamage(const std::string& finding) const;

    UntrustedInputStream& m_inputStream;
    const std::vector<uint8_t> m_tableDatatypeIDs; // in the order of the tables
    const uint64_t m_endResourceID;
    const MemoryRegion<std::atomic<uint8_t>>& m_resourceFlags;
    std::vector<bool> m_isInTable; // by resource ID; a resource is in the one table of its datatype

    std::string m_checkedBytes; // of fields that are read and checked, but not all delivered yet
    size_t m_deliveredBytes;    // of those
    size_t m_tableNumber;       // of the table whose buckets are being delivered; counts from 1
    ParallelHashTableHeader m_header;
    uint64_t m_regionCapacity;
    uint64_t m_regionEnd;
    uint64_t m_seenBuckets;
    uint64_t m_seenLiveBuckets;
    uint64_t m_seenDeletedBuckets;
};

extern template class DatatypeStreamValidator<uint32_t>;
extern template class DatatypeStreamValidator<uint64_t>;

} // namespace melnar
