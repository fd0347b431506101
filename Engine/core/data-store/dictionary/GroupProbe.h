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
#include <string_view>

/// Looks a group of literals up in a hash table.
///
/// A single lookup waits for three cache misses one after the other: bucket, offset, chunk. Here each of these steps is
/// taken for the whole group before the next one, so that the misses of a step overlap. What is found on the way is no
/// less true than what a single lookup sees: a bucket that holds the ID of an equal string settles a literal, and the
/// probe of one that is not found goes on where it ended, as no bucket that it has passed ever becomes empty again.
///
/// A first round tries the first resource that each probe meets, which most often is the right one; a second round all
/// others, where a few literals have most of the work.
///
/// Threads  One thread, which holds its slot in the table during find.
template<class T>
class GroupProbe : private Unmovable {
public:
    using Policy = DatatypeStringPolicy<T>;
    using Table = ParallelHashTable<Policy>;
    using Bucket = typename Table::Bucket;

    /// The group is the entries from `begin` to before `end`; a place is an entry's number in the group.
    GroupProbe(const PreparedEntries& prepared, const size_t begin, const size_t end) noexcept
        : m_prepared(prepared), m_begin(begin) {
        std::fill_n(m_resourceIDs.begin(), end - begin, T(0));
    }

    /// Forgets which literals to look for.
    void clearSelection() noexcept { m_numberOfSelected = 0; }

    /// Adds a literal to those to look for.
    void select(const size_t place) noexcept { m_selected[m_numberOfSelected++] = static_cast<uint8_t>(place); }

    bool isSelectionEmpty() const noexcept { return m_numberOfSelected == 0; }

    /// Finds the selected literals whose IDs lie before the commit point.
    void find(Table& table, const DictionaryCommitPoint commitPoint) noexcept {
        for (size_t number = 0; number < m_numberOfSelected; ++number)
            table.prefetchHomeBucket(getHash(m_selected[number]));
        tryFirstCandidates(table, commitPoint);
        if (m_numberOfSelected == 0)
            return;
        tryOtherCandidates(table, commitPoint);
        finishProbes(table, commitPoint);
    }

    std::string_view getForm(const size_t place) const noexcept { return m_prepared.getForm(m_begin + place); }
    uint64_t getHash(const size_t place) const noexcept { return m_prepared.getHash(m_begin + place); }

    /// The ID that was found, or 0.
    uint64_t getResourceID(const size_t place) const noexcept { return m_resourceIDs[place]; }

    /// The bucket that ended the probe of a literal that was not found. It was empty.
    Bucket* getLastBucket(const size_t place) const noexcept { return m_buckets[place]; }

private:
    /// So many are tried together. At the highest load factor, 0.7, a miss meets five on average.
    static constexpr size_t MAXIMUM_NUMBER_OF_CANDIDATES = 12 * PreparedEntries::MAXIMUM_GROUP_SIZE;

    /// Goes on to the next resource that lies before the commit point; 0 at the end of the probe.
    static T findCandidate(Table& table, Bucket*& bucket, const DictionaryCommitPoint commitPoint) noexcept {
        for (;; bucket = table.getNextBucket(bucket)) {
            const T value = Table::readBucket(*bucket);
            if (value == Policy::EMPTY_BUCKET)
                return 0;
            if (value != Policy::BUCKET_DELETED && value < commitPoint.m_resourceID) {
                bucket = table.getNextBucket(bucket);
                return value;
            }
        }
    }

    /// Leaves those selected whose probe is not at its end.
    void tryFirstCandidates(Table& table, const DictionaryCommitPoint commitPoint) noexcept {
        const Policy& policy = table.getPolicy();
        m_numberOfCandidates = 0;
        for (size_t number = 0; number < m_numberOfSelected; ++number) {
            const uint8_t place = m_selected[number];
            Bucket* bucket = table.getHomeBucket(getHash(place));
            const T resourceID = findCandidate(table, bucket, commitPoint);
            m_buckets[place] = bucket;
            policy.prefetchOffset(resourceID);
            m_candidates[m_numberOfCandidates] = {resourceID, place};
            m_numberOfCandidates += resourceID != 0;
        }
        for (size_t number = 0; number < m_numberOfCandidates; ++number) {
            const uint8_t* const chunk = policy.getChunkAddress(m_candidates[number].m_resourceID);
            m_chunks[number] = chunk;
            __builtin_prefetch(chunk);
            __builtin_prefetch(chunk + getForm(m_candidates[number].m_place).size());
        }
        m_numberOfSelected = 0;
        for (size_t number = 0; number < m_numberOfCandidates; ++number) {
            const Candidate candidate = m_candidates[number];
            const std::string_view form = getForm(candidate.m_place);
            if (StringChunk::isChunkOf(m_chunks[number], form.data(), form.size()))
                m_resourceIDs[candidate.m_place] = candidate.m_resourceID;
            else
                select(candidate.m_place);
        }
    }

    void tryOtherCandidates(Table& table, const DictionaryCommitPoint commitPoint) noexcept {
        const Policy& policy = table.getPolicy();
        m_numberOfCandidates = 0;
        for (size_t number = 0; number < m_numberOfSelected; ++number) {
            const uint8_t place = m_selected[number];
            Bucket* bucket = m_buckets[place];
            while (m_numberOfCandidates < MAXIMUM_NUMBER_OF_CANDIDATES) {
                const T resourceID = findCandidate(table, bucket, commitPoint);
                if (resourceID == 0)
                    break;
                policy.prefetchOffset(resourceID);
                m_candidates[m_numberOfCandidates++] = {resourceID, place};
            }
            m_buckets[place] = bucket;
        }
        for (size_t number = 0; number < m_numberOfCandidates; ++number) {
            m_chunks[number] = policy.getChunkAddress(m_candidates[number].m_resourceID);
            __builtin_prefetch(m_chunks[number]);
        }
        dropCandidatesOfOtherLength();
        for (size_t number = 0; number < m_numberOfCandidates; ++number) {
            const Candidate candidate = m_candidates[number];
            const std::string_view form = getForm(candidate.m_place);
            if (m_resourceIDs[candidate.m_place] == 0 &&
                StringChunk::isChunkOf(m_chunks[number], form.data(), form.size()))
                m_resourceIDs[candidate.m_place] = candidate.m_resourceID;
        }
    }

    /// Ends the probes that met more candidates than were tried together.
    void finishProbes(Table& table, const DictionaryCommitPoint commitPoint) noexcept {
        for (size_t number = 0; number < m_numberOfSelected; ++number) {
            const uint8_t place = m_selected[number];
            const std::string_view form = getForm(place);
            while (m_resourceIDs[place] == 0) {
                const T resourceID = findCandidate(table, m_buckets[place], commitPoint);
                if (resourceID == 0)
                    break;
                if (table.getPolicy().isEqual(resourceID, form.data(), form.size()))
                    m_resourceIDs[place] = resourceID;
            }
        }
    }

    void dropCandidatesOfOtherLength() noexcept {
        size_t numberOfKept = 0;
        for (size_t number = 0; number < m_numberOfCandidates; ++number) {
            const size_t length = getForm(m_candidates[number].m_place).size();
            const uint8_t* const chunk = m_chunks[number];
            m_candidates[numberOfKept] = m_candidates[number];
            m_chunks[numberOfKept] = chunk;
            if (StringChunk::hasLength(chunk, length)) {
                __builtin_prefetch(chunk + length);
                ++numberOfKept;
            }
        }
        m_numberOfCandidates = numberOfKept;
    }

    /// A resource that a probe met.
    struct Candidate {
        T m_resourceID;
        uint8_t m_place;
    };

    const PreparedEntries& m_prepared;
    const size_t m_begin;
    size_t m_numberOfSelected = 0;
    size_t m_numberOfCandidates = 0;
    std::array<uint8_t, PreparedEntries::MAXIMUM_GROUP_SIZE> m_selected;
    std::array<T, PreparedEntries::MAXIMUM_GROUP_SIZE> m_resourceIDs;
    std::array<Bucket*, PreparedEntries::MAXIMUM_GROUP_SIZE> m_buckets; // where the probes stand
    std::array<Candidate, MAXIMUM_NUMBER_OF_CANDIDATES> m_candidates;
    std::array<const uint8_t*, MAXIMUM_NUMBER_OF_CANDIDATES> m_chunks; // of the candidates
};
