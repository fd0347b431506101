#pragma once

#include "Engine/core/data-store/dictionary/DatatypeStringPolicy.h"
#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"
#include "Engine/core/data-store/dictionary/PreparedEntries.h"
#include "Engine/core/data-store/dictionary/StringChunk.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/collections/ParallelHashTable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string_view>

/// Looks a group of literals up in a hash table.
///
/// A single lookup waits for three cache misses one after the other: bucket, offset, chunk. Here the probes move
/// through these steps like goods on an assembly line, a few side by side at each: what a step will read was asked for
/// while the others were at work, and the memory never rests. What is found on the way is no less true than what a
/// single lookup sees: a bucket that holds the ID of an equal string settles a literal, and the probe of one that is
/// not found may go on where it ended, as no bucket that it has passed ever becomes empty again.
///
///   queue -> collect: bucket -> locate: offset -> compare lengths: header -> compare bytes
///     ^------------- other string: on to the next bucket -----------'--------------'
///
/// Threads  One thread, which holds its slot in the table during find.
template<class T>
class GroupProbe : private Unmovable {
public:
    using Policy = DatatypeStringPolicy<T>;
    using Table = ParallelHashTable<Policy>;
    using Bucket = typename Table::Bucket;

    explicit GroupProbe(const PreparedEntries& prepared) noexcept : m_prepared(prepared) {
        std::fill_n(m_resourceIDs.begin(), prepared.getSize(), T(0));
    }

    /// Forgets which literals to look for.
    void clearSelection() noexcept { m_numberOfSelected = 0; }

    /// Adds an entry's literal to those to look for.
    void select(const size_t index) noexcept { m_selected[m_numberOfSelected++] = static_cast<Index>(index); }

    bool isSelectionEmpty() const noexcept { return m_numberOfSelected == 0; }

    /// Finds the selected literals whose IDs lie before the commit point.
    void find(Table& table, const DictionaryCommitPoint commitPoint) noexcept {
        std::array<Station, NUMBER_OF_STATIONS> line;
        size_t numberOfStarted = 0;
        size_t step = 0;
        do {
            while (numberOfStarted < m_numberOfSelected && m_queueEnd - m_queueBegin < 2 * STATION_SIZE)
                start(table, m_selected[numberOfStarted++]);
            collect(table, commitPoint, line[step % line.size()]);
            locate(table.getPolicy(), line[(step + 3) % line.size()]);
            compareLengths(line[(step + 2) % line.size()]);
            compareBytes(line[(step + 1) % line.size()]);
            m_prepared.prefetchUpcoming(step * STATION_SIZE, STATION_SIZE);
            ++step;
        } while (numberOfStarted < m_numberOfSelected || m_queueBegin != m_queueEnd ||
                 std::any_of(line.begin(), line.end(), [](const Station& station) { return station.m_size != 0; }));
    }

    /// The ID that was found for an entry, or 0.
    uint64_t getResourceID(const size_t index) const noexcept { return m_resourceIDs[index]; }

    /// The bucket that ended the probe of a literal that was not found. It was empty.
    Bucket* getLastBucket(const size_t index) const noexcept { return m_buckets[index]; }

private:
    using Index = uint8_t;
    static_assert(PreparedEntries::CAPACITY - 1 <= std::numeric_limits<Index>::max());

    /// So many lines are asked for at a time: about what the processor can have on their way.
    static constexpr size_t STATION_SIZE = 16;

    static constexpr size_t NUMBER_OF_STATIONS = 4;

    /// Probes that are at the same step, each with the resource that it has met.
    struct Station {
        size_t m_size = 0;
        std::array<Index, STATION_SIZE> m_indexes;
        std::array<T, STATION_SIZE> m_resourceIDs;
        std::array<const uint8_t*, STATION_SIZE> m_chunks;
    };

    // Whether a probe goes on here or there is as good as random. So the following steps put it in both places, and
    // then count it in one: a branch would be mispredicted half the time.

    void start(Table& table, const Index index) noexcept {
        m_buckets[index] = table.getHomeBucket(m_prepared.getHash(index));
        enqueueIf(true, index);
    }

    void enqueueIf(const bool condition, const Index index) noexcept {
        __builtin_prefetch(m_buckets[index]);
        m_queue[m_queueEnd % m_queue.size()] = index;
        m_queueEnd += condition;
    }

    /// Otherwise asks for what is there anyway.
    void prefetchIf(const bool condition, const uint8_t* const data) const noexcept {
        __builtin_prefetch(condition ? static_cast<const void*>(data) : &m_queueBegin);
    }

    /// Moves probes from the queue to the next resource each. A probe that meets an empty bucket is at its end.
    void collect(Table& table, const DictionaryCommitPoint commitPoint, Station& station) noexcept {
        station.m_size = 0;
        while (station.m_size < STATION_SIZE && m_queueBegin != m_queueEnd) {
            const Index index = m_queue[m_queueBegin++ % m_queue.size()];
            Bucket* bucket = m_buckets[index];
            T value;
            while ((value = Table::readBucket(*bucket)) != Policy::EMPTY_BUCKET &&
                   (value == Policy::BUCKET_DELETED || value >= commitPoint.m_resourceID))
                bucket = table.getNextBucket(bucket);
            table.getPolicy().prefetchOffset(value);
            const bool isAtEnd = value == Policy::EMPTY_BUCKET;
            m_buckets[index] = isAtEnd ? bucket : table.getNextBucket(bucket);
            station.m_indexes[station.m_size] = index;
            station.m_resourceIDs[station.m_size] = value;
            station.m_size += !isAtEnd;
        }
    }

    /// Asks for the chunks, but for those that are too small.
    void locate(const Policy& policy, Station& station) noexcept {
        size_t numberOfKept = 0;
        for (size_t number = 0; number < station.m_size; ++number) {
            const Index index = station.m_indexes[number];
            const T resourceID = station.m_resourceIDs[number];
            const uint8_t* const chunk = policy.getChunkAddress(resourceID);
            const bool isKept =
                policy.mayHaveChunkSize(resourceID, StringChunk::getChunkSizeFor(m_prepared.getForm(index).size()));
            prefetchIf(isKept, chunk);
            station.m_indexes[numberOfKept] = index;
            station.m_resourceIDs[numberOfKept] = resourceID;
            station.m_chunks[numberOfKept] = chunk;
            numberOfKept += isKept;
            enqueueIf(!isKept, index);
        }
        station.m_size = numberOfKept;
    }

    /// Most other strings show in the first byte; only of the rest the end is asked for.
    void compareLengths(Station& station) noexcept {
        size_t numberOfKept = 0;
        for (size_t number = 0; number < station.m_size; ++number) {
            const Index index = station.m_indexes[number];
            const uint8_t* const chunk = station.m_chunks[number];
            const size_t length = m_prepared.getForm(index).size();
            const bool isKept = StringChunk::hasLength(chunk, length);
            prefetchIf(isKept, chunk + length);
            station.m_indexes[numberOfKept] = index;
            station.m_resourceIDs[numberOfKept] = station.m_resourceIDs[number];
            station.m_chunks[numberOfKept] = chunk;
            numberOfKept += isKept;
            enqueueIf(!isKept, index);
        }
        station.m_size = numberOfKept;
    }

    /// Here, strings are almost always equal.
    void compareBytes(Station& station) noexcept {
        for (size_t number = 0; number < station.m_size; ++number) {
            const Index index = station.m_indexes[number];
            const std::string_view form = m_prepared.getForm(index);
            if (StringChunk::isChunkOf(station.m_chunks[number], form.data(), form.size()))
                m_resourceIDs[index] = station.m_resourceIDs[number];
            else
                enqueueIf(true, index);
        }
        station.m_size = 0;
    }

    const PreparedEntries& m_prepared;

    size_t m_numberOfSelected = 0;
    std::array<Index, PreparedEntries::CAPACITY> m_selected;

    // A ring; begin and end only grow. Probes are started only while few wait, so that there is always a free place,
    // which enqueueIf needs to write to: those that wait and those on the line would not fill it all together.
    static_assert((2 + NUMBER_OF_STATIONS) * STATION_SIZE < PreparedEntries::CAPACITY);
    size_t m_queueBegin = 0;
    size_t m_queueEnd = 0;
    std::array<Index, PreparedEntries::CAPACITY> m_queue;

    std::array<T, PreparedEntries::CAPACITY> m_resourceIDs;
    std::array<Bucket*, PreparedEntries::CAPACITY> m_buckets; // which each probe examines next
};
