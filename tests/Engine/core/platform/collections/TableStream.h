#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

/// Writes the stream of a table by hand, field by field and byte by byte.
template<class T>
class TableStream {
public:
    TableStream(const uint64_t numberOfBuckets, const uint64_t resizeThreshold)
        : m_numberOfBuckets(numberOfBuckets), m_resizeThreshold(resizeThreshold), m_regionCapacity(numberOfBuckets),
          m_regionEnd(numberOfBuckets) {}

    std::string getBytes() const {
        std::string bytes;
        append(bytes, m_name.size(), 8);
        bytes += m_name;
        append(bytes, m_numberOfBuckets, 8);
        append(bytes, m_resizeThreshold, 8);
        append(bytes, m_usedBuckets, 8);
        append(bytes, m_deletedBuckets, 8);
        for (size_t slot = 0; slot < 256; ++slot)
            append(bytes, m_quotas.contains(slot) ? m_quotas.at(slot) : 0, 4);
        append(bytes, m_regionCapacity, 8);
        if (m_regionCapacity == 0)
            return bytes;
        append(bytes, m_regionEnd, 8);
        for (size_t index = 0; index < m_regionEnd; ++index)
            append(bytes, m_buckets.contains(index) ? m_buckets.at(index) : 0, sizeof(T));
        return bytes;
    }

    std::string m_name = "ParallelHashTable";
    uint64_t m_numberOfBuckets;
    uint64_t m_resizeThreshold;
    uint64_t m_usedBuckets = 0;
    uint64_t m_deletedBuckets = 0;
    std::map<size_t, uint32_t> m_quotas;
    uint64_t m_regionCapacity;
    uint64_t m_regionEnd;
    std::map<size_t, T> m_buckets;

private:
    static void append(std::string& bytes, uint64_t number, const size_t width) {
        for (size_t byte = 0; byte < width; ++byte, number >>= 8)
            bytes += static_cast<char>(number & 0xFF);
    }
};
