#include "Engine/core/data-store/dictionary/DatatypeStreamValidator.h"

#include "Engine/core/data-store/dictionary/DatatypePolicy.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <utility>

namespace melnar {

namespace {

// No address space holds more buckets than this. Multiplied by their width, the number does not overflow.
constexpr uint64_t LARGEST_REGION = uint64_t(1) << 45;

} // namespace

template<class T>
DatatypeStreamValidator<T>::DatatypeStreamValidator(UntrustedInputStream& inputStream, const std::string_view marker,
                                                    const std::string& name, std::vector<uint8_t> tableDatatypeIDs,
                                                    const uint64_t endResourceID,
                                                    const MemoryRegion<Atomic<uint8_t>>& resourceFlags)
    : m_inputStream(inputStream), m_tableDatatypeIDs(std::move(tableDatatypeIDs)), m_endResourceID(endResourceID),
      m_resourceFlags(resourceFlags), m_isInTable(endResourceID), m_deliveredBytes(0), m_tableNumber(0),
      m_regionCapacity(0), m_regionEnd(0), m_seenBuckets(0), m_seenLiveBuckets(0), m_seenDeletedBuckets(0) {
    if (!m_inputStream.readsString(marker))
        m_inputStream.reportDamage("it is not the stream of a " + name + " datatype.");
    MemoryOutputStream checked;
    checked.writeString(marker);
    checked.writeUInt64(m_inputStream.readUInt64()); // The initial size needs no check: nothing depends on it.
    m_checkedBytes = checked.getBytes();
}

/// Always throws. Not marked [[noreturn]], since GCC 12 does not recognise that in an instance of a template.
template<class T>
void DatatypeStreamValidator<T>::reportDamage(const std::string& finding) const {
    m_inputStream.reportDamage("table " + std::to_string(m_tableNumber) + ": " + finding);
}

template<class T>
uint8_t DatatypeStreamValidator<T>::getDatatypeID(const uint64_t resourceID) const noexcept {
    return m_resourceFlags[resourceID].load(std::memory_order_relaxed);
}

template<class T>
size_t DatatypeStreamValidator<T>::read(void* const data, const size_t numberOfBytes) {
    if (m_deliveredBytes == m_checkedBytes.size() && m_seenBuckets == m_regionEnd)
        prepareTable();
    if (m_deliveredBytes != m_checkedBytes.size()) {
        const size_t delivered = std::min(numberOfBytes, m_checkedBytes.size() - m_deliveredBytes);
        std::memcpy(data, m_checkedBytes.data() + m_deliveredBytes, delivered);
        m_deliveredBytes += delivered;
        return delivered;
    }
    const size_t numberOfBuckets = std::min<uint64_t>(numberOfBytes / sizeof(T), m_regionEnd - m_seenBuckets);
    m_inputStream.readExactly(data, numberOfBuckets * sizeof(T));
    for (size_t index = 0; index < numberOfBuckets; ++index) {
        T value;
        std::memcpy(&value, static_cast<const uint8_t*>(data) + index * sizeof(T), sizeof(T));
        checkBucket(value);
    }
    if (numberOfBuckets != 0 && m_seenBuckets == m_regionEnd)
        finishTable();
    return numberOfBuckets * sizeof(T);
}

/// Reads and checks a table, except its buckets. After the last table there is nothing to read.
template<class T>
void DatatypeStreamValidator<T>::prepareTable() {
    m_checkedBytes.clear();
    m_deliveredBytes = 0;
    m_regionEnd = m_seenBuckets = m_seenLiveBuckets = m_seenDeletedBuckets = 0;
    if (m_tableNumber == m_tableDatatypeIDs.size())
        return;
    ++m_tableNumber;
    if (!m_header.load(m_inputStream))
        reportDamage("it is not a hash table.");
    m_regionCapacity = m_inputStream.readUInt64();
    m_regionEnd = m_inputStream.readUInt64();
    checkHeader();
    MemoryOutputStream checked;
    m_header.save(checked);
    checked.writeUInt64(m_regionCapacity);
    checked.writeUInt64(m_regionEnd);
    m_checkedBytes = checked.getBytes();
}

template<class T>
void DatatypeStreamValidator<T>::checkHeader() const {
    const uint64_t numberOfBuckets = m_header.m_bucketCount;
    if (!std::has_single_bit(numberOfBuckets) || numberOfBuckets < ParallelHashTableHeader::MINIMUM_NUMBER_OF_BUCKETS)
        reportDamage("it has " + std::to_string(numberOfBuckets) + " buckets.");
    if (m_regionCapacity > LARGEST_REGION || m_regionEnd > m_regionCapacity || numberOfBuckets > m_regionEnd)
        reportDamage("its " + std::to_string(numberOfBuckets) + " buckets are not within a region of " +
                     std::to_string(m_regionEnd) + " of at most " + std::to_string(m_regionCapacity) + ".");
    if (m_header.m_resizeThreshold != ParallelHashTableHeader::getResizeThreshold(numberOfBuckets))
        reportDamage("its resize threshold is " + std::to_string(m_header.m_resizeThreshold) + ".");
    const uint64_t quotas = m_header.getSumOfInsertionQuotas();
    if (m_header.m_usedBucketCount > m_header.m_resizeThreshold || quotas > m_header.m_usedBucketCount)
        reportDamage("it claims " + std::to_string(m_header.m_usedBucketCount) + " used buckets, " +
                     std::to_string(quotas) + " of them reserved.");
}

template<class T>
void DatatypeStreamValidator<T>::checkBucket(const uint64_t value) {
    const uint64_t bucketNumber = m_seenBuckets++;
    if (value == DatatypePolicy<T>::EMPTY_BUCKET)
        return;
    if (bucketNumber >= m_header.m_bucketCount)
        reportDamage("bucket " + std::to_string(bucketNumber) + ", beyond its last, is in use.");
    if (value == DatatypePolicy<T>::BUCKET_DELETED) {
        ++m_seenDeletedBuckets;
        return;
    }
    if (value >= m_endResourceID || getDatatypeID(value) != m_tableDatatypeIDs[m_tableNumber - 1])
        reportDamage("bucket " + std::to_string(bucketNumber) + " holds " + std::to_string(value) +
                     ", which is no resource of its datatype.");
    if (m_isInTable[value])
        reportDamage("bucket " + std::to_string(bucketNumber) + " holds " + std::to_string(value) +
                     ", which an earlier bucket holds, too.");
    m_isInTable[value] = true;
    ++m_seenLiveBuckets;
}

template<class T>
void DatatypeStreamValidator<T>::finishTable() const {
    for (uint64_t resourceID = 1; resourceID < m_endResourceID; ++resourceID)
        if (getDatatypeID(resourceID) == m_tableDatatypeIDs[m_tableNumber - 1] && !m_isInTable[resourceID])
            reportDamage("it lacks resource " + std::to_string(resourceID) + ".");
    const uint64_t nonEmptyBuckets = m_header.m_usedBucketCount - m_header.getSumOfInsertionQuotas();
    if (m_seenDeletedBuckets != m_header.m_deletedBucketCount ||
        m_seenLiveBuckets + m_seenDeletedBuckets != nonEmptyBuckets)
        reportDamage("its counters state " + std::to_string(m_header.m_deletedBucketCount) + " deleted and " +
                     std::to_string(nonEmptyBuckets) + " non-empty buckets, but " +
                     std::to_string(m_seenDeletedBuckets) + " and " +
                     std::to_string(m_seenLiveBuckets + m_seenDeletedBuckets) + " are there.");
}

template class DatatypeStreamValidator<uint32_t>;
template class DatatypeStreamValidator<uint64_t>;

} // namespace melnar
