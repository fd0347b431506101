#include "Engine/core/data-store/StringDatatypeStreamValidator.h"

#include "Engine/core/data-store/SectionInputStream.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/DatatypePolicy.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

namespace {

constexpr uint8_t TABLE_DATATYPE_IDS[] = {D_XSD_STRING, D_RDF_PLAIN_LITERAL};
constexpr size_t NUMBER_OF_SLOTS = 256;
constexpr size_t MINIMUM_NUMBER_OF_BUCKETS = 1024;

// Fields, in bytes from the beginning of the datatype's stream and of a table's.
constexpr std::string_view DATATYPE_MARKER = "StringDatatype";
constexpr size_t DATATYPE_HEADER_SIZE = 8 + DATATYPE_MARKER.size() + 8;
constexpr std::string_view TABLE_MARKER = "ParallelHashTable";
constexpr size_t COUNTERS = 8 + TABLE_MARKER.size();
constexpr size_t QUOTAS = COUNTERS + 4 * 8;
constexpr size_t REGION = QUOTAS + NUMBER_OF_SLOTS * 4;
constexpr size_t TABLE_HEADER_SIZE = REGION + 2 * 8;

// No address space holds more buckets than this, so that no multiplication with their width overflows.
constexpr uint64_t LARGEST_REGION = uint64_t(1) << 45;

template<class Number>
Number getNumber(const uint8_t* const bytes) {
    Number number;
    std::memcpy(&number, bytes, sizeof(number));
    return number;
}

/// Do these bytes begin with a text as OutputStream::writeString writes it?
bool beginWith(const std::vector<uint8_t>& bytes, const std::string_view text) {
    return getNumber<uint64_t>(bytes.data()) == text.size() &&
           std::memcmp(bytes.data() + sizeof(uint64_t), text.data(), text.size()) == 0;
}

} // namespace

StringDatatypeStreamValidator::StringDatatypeStreamValidator(SectionInputStream& sections, const size_t bucketWidth,
                                                             const uint64_t nextResourceID,
                                                             const MemoryRegion<std::atomic<uint8_t>>& resourceFlags)
    : m_sections(sections), m_bucketWidth(bucketWidth), m_nextResourceID(nextResourceID),
      m_resourceFlags(resourceFlags), m_checkedBytes(DATATYPE_HEADER_SIZE), m_deliveredBytes(0), m_tableNumber(0),
      m_numberOfBuckets(0), m_numberOfNonEmptyBuckets(0), m_numberOfDeletedBuckets(0), m_regionEnd(0), m_seenBuckets(0),
      m_seenLiveBuckets(0), m_seenDeletedBuckets(0) {
    m_sections.readExactly(m_checkedBytes.data(), m_checkedBytes.size());
    // The initial size needs no check: nobody acts upon it.
    if (!beginWith(m_checkedBytes, DATATYPE_MARKER))
        m_sections.reportDamage("it is not the stream of a string datatype.");
}

const std::string& StringDatatypeStreamValidator::getName() const {
    return m_sections.getName();
}

void StringDatatypeStreamValidator::reportDamage(const std::string& finding) const {
    m_sections.reportDamage("table " + std::to_string(m_tableNumber) + ": " + finding);
}

size_t StringDatatypeStreamValidator::read(void* const data, const size_t numberOfBytes) {
    if (m_deliveredBytes == m_checkedBytes.size() && m_seenBuckets == m_regionEnd)
        prepareTable();
    if (m_deliveredBytes != m_checkedBytes.size()) {
        const size_t delivered = std::min(numberOfBytes, m_checkedBytes.size() - m_deliveredBytes);
        std::memcpy(data, m_checkedBytes.data() + m_deliveredBytes, delivered);
        m_deliveredBytes += delivered;
        return delivered;
    }
    const uint64_t numberOfBuckets = std::min<uint64_t>(numberOfBytes / m_bucketWidth, m_regionEnd - m_seenBuckets);
    m_sections.readExactly(data, numberOfBuckets * m_bucketWidth);
    checkBuckets(data, numberOfBuckets);
    if (m_seenBuckets == m_regionEnd)
        finishTable();
    return numberOfBuckets * m_bucketWidth;
}

/// Reads and checks all of a table but its buckets.
void StringDatatypeStreamValidator::prepareTable() {
    m_checkedBytes.clear();
    m_deliveredBytes = 0;
    m_regionEnd = m_seenBuckets = m_seenLiveBuckets = m_seenDeletedBuckets = 0;
    if (m_tableNumber == NUMBER_OF_TABLES)
        return;
    ++m_tableNumber;
    m_checkedBytes.resize(TABLE_HEADER_SIZE);
    m_sections.readExactly(m_checkedBytes.data(), m_checkedBytes.size());
    if (!beginWith(m_checkedBytes, TABLE_MARKER))
        reportDamage("it is not a hash table.");
    const uint8_t* const bytes = m_checkedBytes.data();
    m_numberOfBuckets = getNumber<uint64_t>(bytes + COUNTERS);
    const uint64_t resizeThreshold = getNumber<uint64_t>(bytes + COUNTERS + 8);
    const uint64_t numberOfUsedBuckets = getNumber<uint64_t>(bytes + COUNTERS + 16);
    m_numberOfDeletedBuckets = getNumber<uint64_t>(bytes + COUNTERS + 24);
    uint64_t quotas = 0;
    for (size_t slot = 0; slot < NUMBER_OF_SLOTS; ++slot)
        quotas += getNumber<uint32_t>(bytes + QUOTAS + 4 * slot);
    const uint64_t capacity = getNumber<uint64_t>(bytes + REGION);
    m_regionEnd = getNumber<uint64_t>(bytes + REGION + 8);
    if (!std::has_single_bit(m_numberOfBuckets) || m_numberOfBuckets < MINIMUM_NUMBER_OF_BUCKETS)
        reportDamage("it has " + std::to_string(m_numberOfBuckets) + " buckets.");
    if (capacity > LARGEST_REGION || m_regionEnd > capacity || m_numberOfBuckets > m_regionEnd)
        reportDamage("its " + std::to_string(m_numberOfBuckets) + " buckets are not within a region of " +
                     std::to_string(m_regionEnd) + " of at most " + std::to_string(capacity) + ".");
    if (resizeThreshold != static_cast<uint64_t>(static_cast<double>(m_numberOfBuckets) * 0.7))
        reportDamage("its resize threshold is " + std::to_string(resizeThreshold) + ".");
    if (numberOfUsedBuckets > resizeThreshold || quotas > numberOfUsedBuckets)
        reportDamage("it claims " + std::to_string(numberOfUsedBuckets) + " used buckets, " + std::to_string(quotas) +
                     " of them reserved.");
    m_numberOfNonEmptyBuckets = numberOfUsedBuckets - quotas;
}

void StringDatatypeStreamValidator::checkBuckets(const void* const data, const size_t numberOfBuckets) {
    const uint8_t* const bytes = static_cast<const uint8_t*>(data);
    for (size_t index = 0; index < numberOfBuckets; ++index)
        checkBucket(m_bucketWidth == sizeof(uint32_t) ? getNumber<uint32_t>(bytes + index * sizeof(uint32_t))
                                                      : getNumber<uint64_t>(bytes + index * sizeof(uint64_t)));
}

void StringDatatypeStreamValidator::checkBucket(const uint64_t value) {
    const uint64_t bucketDeleted = m_bucketWidth == sizeof(uint32_t)
                                       ? uint64_t(DatatypePolicy<uint32_t>::BUCKET_DELETED)
                                       : uint64_t(DatatypePolicy<uint64_t>::BUCKET_DELETED);
    const uint64_t bucketNumber = m_seenBuckets++;
    if (value == 0)
        return;
    if (bucketNumber >= m_numberOfBuckets)
        reportDamage("bucket " + std::to_string(bucketNumber) + ", beyond its last, is in use.");
    if (value == bucketDeleted) {
        ++m_seenDeletedBuckets;
        return;
    }
    if (value >= m_nextResourceID ||
        m_resourceFlags[value].load(std::memory_order_relaxed) != TABLE_DATATYPE_IDS[m_tableNumber - 1])
        reportDamage("bucket " + std::to_string(bucketNumber) + " holds " + std::to_string(value) +
                     ", which is no resource of its datatype.");
    ++m_seenLiveBuckets;
}

void StringDatatypeStreamValidator::finishTable() {
    uint64_t numberOfResources = 0;
    for (uint64_t resourceID = 1; resourceID < m_nextResourceID; ++resourceID)
        numberOfResources +=
            m_resourceFlags[resourceID].load(std::memory_order_relaxed) == TABLE_DATATYPE_IDS[m_tableNumber - 1];
    if (m_seenLiveBuckets != numberOfResources)
        reportDamage("it holds " + std::to_string(m_seenLiveBuckets) + " resources, but there are " +
                     std::to_string(numberOfResources) + " of its datatype.");
    if (m_seenDeletedBuckets != m_numberOfDeletedBuckets ||
        m_seenLiveBuckets + m_seenDeletedBuckets != m_numberOfNonEmptyBuckets)
        reportDamage("its counters tell of " + std::to_string(m_numberOfDeletedBuckets) + " deleted and " +
                     std::to_string(m_numberOfNonEmptyBuckets) + " non-empty buckets, but " +
                     std::to_string(m_seenDeletedBuckets) + " and " +
                     std::to_string(m_seenLiveBuckets + m_seenDeletedBuckets) + " are there.");
}
