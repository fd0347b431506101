#pragma once

#include "tests/Engine/core/data-store/dictionary/RecordingOutputStream.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Raw bytes of numbers, lowest first.
template<class Number>
std::string toBytes(Number number) {
    std::string bytes;
    for (size_t index = 0; index < sizeof(Number); ++index)
        bytes.push_back(static_cast<char>(static_cast<uint64_t>(number) >> 8 * index & 0xFF));
    return bytes;
}

/// The contents of one table's stream, and its bytes, assembled here by hand.
template<class T>
struct SavedTable {
    static constexpr size_t FIELDS_SIZE = 1081; // everything before the bucket array

    std::string toStream() const {
        std::string bytes = toBytes(uint64_t(17)) + "ParallelHashTable";
        bytes += toBytes(m_numberOfBuckets) + toBytes(m_resizeThreshold);
        bytes += toBytes(m_numberOfUsedBuckets) + toBytes(m_numberOfDeletedBuckets);
        for (size_t slot = 0; slot < 256; ++slot) {
            const auto quota = m_quotas.find(slot);
            bytes += toBytes(quota == m_quotas.end() ? uint32_t(0) : quota->second);
        }
        bytes += toBytes(m_capacity);
        if (m_capacity != 0) {
            bytes += toBytes(uint64_t(m_buckets.size()));
            for (const T bucket : m_buckets)
                bytes += toBytes(bucket);
        }
        return bytes;
    }

    uint64_t m_numberOfBuckets = 1024;
    uint64_t m_resizeThreshold = 716;
    uint64_t m_numberOfUsedBuckets = 0;
    uint64_t m_numberOfDeletedBuckets = 0;
    std::map<size_t, uint32_t> m_quotas{}; // by slot; 0 if absent
    uint64_t m_capacity = 1024;
    std::vector<T> m_buckets = std::vector<T>(1024);
};

/// The same of a datatype; by default, a newly initialised one.
template<class T>
struct SavedDatatype {
    static constexpr size_t HEADER_SIZE = 30; // everything before the first table

    std::string toStream() const {
        return toBytes(uint64_t(14)) + "StringDatatype" + toBytes(m_initialSize) + m_xsdStringTable.toStream() +
               m_plainLiteralTable.toStream();
    }

    uint64_t m_initialSize = 0;
    SavedTable<T> m_xsdStringTable{};
    SavedTable<T> m_plainLiteralTable{};
};

template<class Datatype>
std::string save(const Datatype& datatype) {
    RecordingOutputStream output;
    datatype.save(output);
    return output.getBytes();
}
