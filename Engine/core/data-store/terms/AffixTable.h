#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/InputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/stream/UntrustedInputStream.h"
#include "Engine/core/platform/system/Atomic.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"
#include "Engine/core/platform/system/Mutex.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace melnar {

/// The texts with which many terms start or end, each stored once and identified by a number: namespaces of IRIs,
/// datatypes of literals.
///
/// Numbers count from 1 in the order of entry; 0 means no text. A text gets a number only after it has been seen
/// several times, as far as a small memory of recent texts can tell: a text that few terms share would cost more than
/// it saves. A text keeps its number and its address until the table is initialised or loaded.
///
/// Units      Lengths are bytes.
/// Ownership  Owns the texts; the memory manager must outlive it. Nothing is charged before the first text.
/// Threads    getText, getHash and getNumberFor: any threads concurrently. The rest: alone.
/// Errors     getNumberFor returns 0 if there is no memory for a text, or no more room: terms are stored whole then.
///            loadUntrusted reports damage to the stream. Both loads pass on the failures of the stream and of memory.
///
/// MEMORY ORDERS
///   #   operation                          order    pairs with   makes visible                        checked by
///   A1  enter a text, store its number     release  A2           text and record of the number        TSan
///   A2  probe, load                        acquire  A1                                                TSan
///   A3  publish a larger index, store      release  A4           its buckets, and numbers in them     TSan
///   A4  read which index, load             acquire  A3                                                TSan
/// TSan: as in ParallelHashTable.h. A reader that has a number from a chunk may read text and record, too: the thread
/// that wrote the chunk had the number by A2, or by the mutex.
///
/// Open addressing in an index that doubles: a writer fills a larger one and leaves the smaller one to its readers.
class AffixTable : private Unmovable {
public:
    /// Longer texts are not shared.
    static constexpr size_t LONGEST_TEXT = 1024;

    /// The largest number that a text can have.
    static constexpr uint32_t LARGEST_NUMBER = 0xFFFF;

    /// `numberOfSightings` states how often a text must be seen before it gets a number.
    AffixTable(MemoryManager& memoryManager, uint32_t numberOfSightings) noexcept;

    /// Removes all texts.
    void initialize() noexcept;

    /// Returns the text of a number that this table has assigned.
    std::string_view getText(const uint32_t number) const noexcept {
        if (number == 0)
            return {};
        const Record& record = m_records[number];
        return {m_texts.getData() + record.m_begin, record.m_length};
    }

    /// Returns the hashLexicalForm of a number's text.
    uint64_t getHash(const uint32_t number) const noexcept;

    /// Returns the number of the text with which a new term starts or ends, or 0 if it has none.
    uint32_t getNumberFor(std::string_view text) noexcept;

    /// Returns how many numbers there are.
    uint32_t getSize() const noexcept { return m_size.load(std::memory_order_relaxed); }

    /// Returns the bytes that texts, records and indexes take.
    size_t getCommittedBytes() const noexcept;

    /// Writes all texts in the order of their numbers.
    void save(OutputStream& outputStream) const;

    /// Replaces all texts by saved ones.
    void load(InputStream& inputStream);

    /// Does the same, and trusts nothing in the stream.
    void loadUntrusted(UntrustedInputStream& inputStream);

private:
    struct Record {
        uint64_t m_hash;
        uint32_t m_begin;
        uint32_t m_length;
    };

    using Index = MemoryRegion<Atomic<uint32_t>>;

    static constexpr size_t FIRST_INDEX_SIZE = 1024;
    static constexpr size_t LARGEST_INDEX_SIZE = size_t(1) << 17;
    static constexpr size_t NUMBER_OF_INDEXES = 8;
    static_assert(FIRST_INDEX_SIZE << (NUMBER_OF_INDEXES - 1) == LARGEST_INDEX_SIZE);
    static_assert(LARGEST_INDEX_SIZE >= 2 * size_t(LARGEST_NUMBER), "half of the largest index stays empty");

    static constexpr size_t LARGEST_SUM_OF_LENGTHS = size_t(1) << 24;
    static constexpr size_t NUMBER_OF_RECENT_TEXTS = 1024;

    // By chance no text is ever so far from its home bucket in an index that is half empty.
    static constexpr size_t LONGEST_PROBE = 128;

    static uint64_t hash(std::string_view text) noexcept;
    static size_t getIndexSize(const size_t level) noexcept { return FIRST_INDEX_SIZE << level; }

    uint32_t find(std::string_view text, uint64_t textHash) const noexcept;
    bool isMetOftenEnough(uint64_t textHash) noexcept;
    uint32_t enter(std::string_view text, uint64_t textHash);
    void append(std::string_view text);
    void enterInIndex(size_t level, uint64_t textHash, uint32_t number) noexcept;
    void makeIndex(size_t level);
    template<class Stream, class ReportDamage>
    void load(Stream& inputStream, const ReportDamage& reportDamage);

    const uint32_t m_numberOfSightings;
    MemoryRegion<Record> m_records; // by number
    MemoryRegion<char> m_texts;
    std::array<Index, NUMBER_OF_INDEXES> m_indexes; // each twice as large as the one before
    Atomic<const Index*> m_index;                   // the current one, or null; A3, A4
    Atomic<uint32_t> m_size;

    Mutex m_mutex;         // of threads that enter texts
    size_t m_level;        // of the current index; protected by the mutex
    size_t m_sumOfLengths; // protected by the mutex

    // By hash, how often a text was seen: a part of its hash, and the count. Threads may lose each other's counts.
    std::array<Atomic<uint32_t>, NUMBER_OF_RECENT_TEXTS> m_recentTexts{};
};

} // namespace melnar
