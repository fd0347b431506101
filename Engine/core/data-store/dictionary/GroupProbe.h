#pragma once

#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/collections/ParallelHashTable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <span>
#include <string_view>

namespace melnar {

/// Looks up a group of literals in a hash table.
///
/// A single lookup waits for cache misses one after the other: bucket, offset, chunk. Here the probes move through
/// these steps as on an assembly line, several of them together at each step. What a step reads was prefetched while
/// other probes advanced, so memory accesses overlap. Answers are as correct as those of single lookups: a bucket that
/// holds the ID of an equal string settles a literal, and the probe of a literal that is not found may continue where
/// it ended, since no bucket that it has passed ever becomes empty again.
///
///   queue -> seek: fingerprints -> read bucket -> read offset -> compare chunk
///     ^------ hidden entry, other string: next bucket -'----------------'
///
/// Threads  One thread, which holds its slot in the table during find.
template<class Policy>
class GroupProbe : private Unmovable {
public:
    using T = typename Policy::BucketValue;
    using Table = ParallelHashTable<Policy>;

    /// Whether the buckets in which missing literals would be created are prefetched.
    enum class Purpose : bool { LOOK_UP, CREATE };

    GroupProbe(const PreparedEntries& prepared, const Purpose purpose) noexcept
        : m_prepared(prepared), m_purpose(purpose) {
        std::fill_n(m_resourceIDs.begin(), prepared.getSize(), T(0));
        std::fill_n(m_numbersOfCollisions.begin(), prepared.getSize(), 0);
    }

    /// Finds those of the entries `selected` whose IDs are below the commit point. Several calls may process one group.
    void find(Table& table, const DictionaryCommitPoint commitPoint,
              const std::span<const uint16_t> selected) noexcept {
        std::array<Station, NUMBER_OF_STATIONS> line;
        size_t numberOfStarted = 0;
        size_t step = 0;
        do {
            while (numberOfStarted < selected.size() && m_queueEnd - m_queueBegin < 2 * STATION_SIZE)
                start(table, static_cast<Index>(selected[numberOfStarted++]));
            seek(table, line[step % line.size()]);
            readBuckets(table, commitPoint, line[(step + 3) % line.size()]);
            readOffsets(table.getPolicy(), line[(step + 2) % line.size()]);
            compareChunks(table, line[(step + 1) % line.size()]);
            m_prepared.prefetchUpcoming(step * STATION_SIZE, STATION_SIZE);
            ++step;
        } while (numberOfStarted < selected.size() || m_queueBegin != m_queueEnd ||
                 std::any_of(line.begin(), line.end(), [](const Station& station) { return station.m_size != 0; }));
    }

    /// Returns the ID that was found for an entry, or 0.
    uint64_t getResourceID(const size_t index) const noexcept { return m_resourceIDs[index]; }

    /// Returns the bucket at which the probe of a missing literal ended.
    size_t getLastBucketIndex(const size_t index) const noexcept { return m_bucketIndexes[index]; }

    /// Returns how many other strings the probe of a literal has passed.
    size_t getNumberOfCollisions(const size_t index) const noexcept { return m_numbersOfCollisions[index]; }

private:
    using Index = uint8_t;
    static_assert(PreparedEntries::CAPACITY - 1 <= std::numeric_limits<Index>::max());

    /// The number of cache lines that are prefetched at a time: about as many as the processor can request
    /// concurrently.
    static constexpr size_t STATION_SIZE = 16;

    static constexpr size_t NUMBER_OF_STATIONS = 4;

    /// Probes at the same step, each with the resource that it has found.
    struct Station {
        size_t m_size = 0;
        std::array<Index, STATION_SIZE> m_indexes;
        std::array<T, STATION_SIZE> m_resourceIDs;
        std::array<const uint8_t*, STATION_SIZE> m_chunks;
    };

    // Whether a probe stays on the line can be nearly random. So the following steps always store it there, and then
    // count it or not: a branch would be mispredicted half the time.

    void start(Table& table, const Index index) noexcept {
        m_bucketIndexes[index] = table.getHomeIndex(m_prepared.getHash(index));
        table.prefetchFingerprint(m_bucketIndexes[index]);
        enqueue(index);
    }

    void enqueue(const Index index) noexcept { m_queue[m_queueEnd++ % m_queue.size()] = index; }

    /// Moves probes from the queue to the next bucket that each must read, unless that is known to end the probe.
    void seek(Table& table, Station& station) noexcept {
        station.m_size = 0;
        while (station.m_size < STATION_SIZE && m_queueBegin != m_queueEnd) {
            const Index index = m_queue[m_queueBegin++ % m_queue.size()];
            const size_t bucketIndex =
                table.findCandidate(m_bucketIndexes[index], Fingerprints::get(m_prepared.getHash(index)));
            m_bucketIndexes[index] = bucketIndex;
            station.m_indexes[station.m_size] = index;
            const bool isAtEnd = table.isKnownToEndLookup(bucketIndex);
            if (!isAtEnd || m_purpose == Purpose::CREATE)
                table.prefetchBucket(bucketIndex);
            station.m_size += !isAtEnd;
        }
    }

    /// Prefetches the offsets of the entries that the lookup may see. An empty bucket ends a probe.
    void readBuckets(Table& table, const DictionaryCommitPoint commitPoint, Station& station) noexcept {
        size_t numberOfKept = 0;
        for (size_t number = 0; number < station.m_size; ++number) {
            const Index index = station.m_indexes[number];
            const T value = Table::readBucket(table.getBucket(m_bucketIndexes[index]));
            const bool isAtEnd = value == Policy::EMPTY_BUCKET;
            const bool isHidden = !isAtEnd && (value == Policy::BUCKET_DELETED || value >= commitPoint.m_resourceID);
            const bool isKept = !isAtEnd && !isHidden;
            table.getPolicy().prefetchOffset(isKept ? value : 0);
            station.m_indexes[numberOfKept] = index;
            station.m_resourceIDs[numberOfKept] = value;
            numberOfKept += isKept;
            if (isHidden) [[unlikely]]
                goOn(table, index);
        }
        station.m_size = numberOfKept;
    }

    /// Prefetches the start of each chunk, and the place where the string would end.
    void readOffsets(const Policy& policy, Station& station) noexcept {
        for (size_t number = 0; number < station.m_size; ++number) {
            const uint8_t* const chunk = policy.getChunkAddress(station.m_resourceIDs[number]);
            station.m_chunks[number] = chunk;
            __builtin_prefetch(chunk);
            __builtin_prefetch(chunk + m_prepared.getForm(station.m_indexes[number]).size());
        }
    }

    void compareChunks(Table& table, Station& station) noexcept {
        for (size_t number = 0; number < station.m_size; ++number) {
            const Index index = station.m_indexes[number];
            const T resourceID = station.m_resourceIDs[number];
            const std::string_view form = m_prepared.getForm(index);
            const bool isEqual = table.getPolicy().isChunkOf(station.m_chunks[number], form);
            if (table.isFingerprintUnknown(m_bucketIndexes[index])) [[unlikely]]
                table.learnFingerprint(m_bucketIndexes[index],
                                       isEqual ? m_prepared.getHash(index) : table.getPolicy().getHash(resourceID));
            if (isEqual) {
                m_resourceIDs[index] = resourceID;
            } else {
                ++m_numbersOfCollisions[index];
                goOn(table, index);
            }
        }
        station.m_size = 0;
    }

    /// Moves a probe to its next bucket.
    void goOn(Table& table, const Index index) noexcept {
        m_bucketIndexes[index] = table.getNextIndex(m_bucketIndexes[index]);
        table.prefetchFingerprint(m_bucketIndexes[index]);
        enqueue(index);
    }

    const PreparedEntries& m_prepared;
    const Purpose m_purpose;

    // A ring; begin and end only grow. Probes are started only while few wait, so there is always a free element: the
    // probes that wait and those on the line never fill the ring together.
    static_assert((2 + NUMBER_OF_STATIONS) * STATION_SIZE < PreparedEntries::CAPACITY);
    size_t m_queueBegin = 0;
    size_t m_queueEnd = 0;
    std::array<Index, PreparedEntries::CAPACITY> m_queue;

    std::array<T, PreparedEntries::CAPACITY> m_resourceIDs;
    std::array<size_t, PreparedEntries::CAPACITY> m_bucketIndexes; // of the bucket that each probe examines next
    std::array<uint32_t, PreparedEntries::CAPACITY> m_numbersOfCollisions;
};

} // namespace melnar
