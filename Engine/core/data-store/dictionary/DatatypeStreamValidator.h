#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/collections/ParallelHashTableHeader.h"
#include "Engine/core/platform/stream/UntrustedInputStream.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace melnar {

/// Passes the start of a datatype's saved stream to the datatype's load, and validates it: every number that load uses
/// is checked before load sees it, and buckets are checked as they pass. The stream consists of a marker, the initial
/// size, and one hash table after the other. Anything after them is not read.
///
/// A stream that passes has these properties: the sizes of the tables are powers of two of at least 1024 and fit into
/// the regions, whose sizes do not overflow; no bucket is in progress; the live buckets hold the ID of every existing
/// resource of the table's datatype once, and nothing else; tombstones, used buckets, quotas and threshold agree with
/// the buckets, so every probe finds an empty bucket. Whether a probe for a literal finds its ID is not checked.
///
/// T is the type of a bucket.
///
/// Ownership  Refers to its arguments; used for one load. Takes one bit per resource ID outside of the memory limit.
/// Errors     Reports damage to the stream and passes on the stream's failures; std::bad_alloc.
template<class T>
class DatatypeStreamValidator final : public InputStream, private Unmovable {
public:
    /// Reads and checks everything before the tables. Each table holds the resources of one datatype ID. Messages about
    /// damage name the "`name` datatype". All resources have IDs below `endResourceID`, and their datatype bytes are
    /// accessible.
    DatatypeStreamValidator(UntrustedInputStream& inputStream, std::string_view marker, const std::string& name,
                            std::vector<uint8_t> tableDatatypeIDs, uint64_t endResourceID,
                            const MemoryRegion<Atomic<uint8_t>>& resourceFlags);

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
    const MemoryRegion<Atomic<uint8_t>>& m_resourceFlags;
    std::vector<bool> m_isInTable; // by resource ID; a resource is in the one table of its datatype

    std::string m_checkedBytes; // of fields that are read and checked, but not all delivered yet
    size_t m_deliveredBytes;    // of those
    size_t m_tableNumber;       // of the table whose buckets are being delivered, from 1
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
