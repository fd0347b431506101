#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/InputStream.h"
#include "Engine/core/platform/stream/OutputStream.h"
#include "Engine/core/platform/stream/UntrustedInputStream.h"
#include "Engine/core/platform/system/MemoryManager.h"
#include "Engine/core/platform/system/MemoryRegion.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <string_view>

namespace melnar {

/// The texts that many terms begin or end with, each kept once and known by a number: namespaces of IRIs, datatypes of
/// literals.
///
/// Numbers count from 1 in the order of entry; 0 stands for no text. A text gets a number only when it has been met
/// several times, as far as a small memory of recent texts tells: one that belongs to few terms would cost more than it
/// saves. A text keeps its number and its place until the table is initialised or loaded.
///
/// Units      Lengths are bytes.
/// Ownership  Owns the texts; the memory manager must outlive it. Nothing is charged before the first text.
/// Threads    getText, getHash and getNumberFor: any threads concurrently. The rest: alone.
/// Errors     getNumberFor answers 0 when there is no memory for a text, or no more room: terms are stored whole then.
///            loadUntrusted reports damage to the stream; both loads pass the stream's failures on, and those of memory.
///
/// MEMORY ORDERS
///   #   operation                          order    pairs with   makes visible                        checked by
///   A1  enter a text, store its number     release  A2           text and record of the number        TSan
///   A2  probe, load                        acquire  A1                                                TSan
///   A3  publish a larger index, store      release  A4           its buckets, and numbers in them     TSan
///   A4  read which index, load             acquire  A3                                                TSan
/// TSan: with relaxed order instead, ThreadSanitizer finds a race in the stress tests. A reader that has a number from a
/// chunk reads text and record too: the thread that wrote the chunk had the number by A2, or by the mutex.
///
/// Open addressing in an index that doubles: a writer fills a larger one and leaves the smaller one to those who read it.
class AffixTable : private Unmovable {
public:
    /// A longer text is not shared.
    static constexpr size_t LONGEST_TEXT = 1024;

    static constexpr uint32_t LARGEST_NUMBER = 0xFFFF;

    /// `numberOfSightings` is how often a text is met before it gets a number.
    AffixTable(MemoryManager& memoryManager, uint32_t numberOfSightings) noexcept;

    /// Forgets all texts.
    void initialize() noexcept;

    /// The text of a number that this table has given.
    std::string_view getText(const uint32_t number) const noexcept {
        if (number == 0)
            return {};
        const Record& record = m_records[number];
        return {m_texts.getData() + record.m_begin, record.m_length};
    }

    /// What hashLexicalForm gives for the text of a number.
    uint64_t getHash(const uint32_t number) const noexcept;

    /// The number of a text that a new term begins or ends with, or 0 if it has none.
    uint32_t getNumberFor(std::string_view text) noexcept;

    /// How many numbers there are.
    uint32_t getSize() const noexcept { return m_size.load(std::memory_order_relaxed); }

    size_t getCommittedBytes() const noexcept;

    void save(OutputStream& outputStream) const;
    void load(InputStream& inputStream);
    void loadUntrusted(UntrustedInputStream& inputStream);

private:
    struct Record {
        uint64_t m_hash;
        uint32_t m_begin;
        uint32_t m_length;
    };

    using Index = MemoryRegion<std::atomic<uint32_t>>;

    static constexpr size_t FIRST_INDEX_SIZE = 1024;
    static constexpr size_t LARGEST_INDEX_SIZE = size_t(1) << 17;
    static constexpr size_t NUMBER_OF_INDEXES = 8;
    static_assert(FIRST_INDEX_SIZE << (NUMBER_OF_INDEXES - 1) == LARGEST_INDEX_SIZE);
    static_assert(LARGEST_INDEX_SIZE >= 2 * size_t(LARGEST_NUMBER), "half of the largest index stays empty");

    static constexpr size_t LARGEST_SUM_OF_LENGTHS = size_t(1) << 24;
    static constexpr size_t NUMBER_OF_RECENT_TEXTS = 1024;

    // By chance no text is ever so far from its place in an index that is half empty.
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
    std::atomic<const Index*> m_index;              // the one to be read, or null; A3, A4
    std::atomic<uint32_t> m_size;

    std::mutex m_mutex;    // of those who enter texts
    size_t m_level;        // of the index to be read; protected by the mutex
    size_t m_sumOfLengths; // protected by the mutex

    // By hash, how often a text was met: a tag of its hash, and the count. Threads may lose each other's counts.
    std::array<std::atomic<uint32_t>, NUMBER_OF_RECENT_TEXTS> m_recentTexts{};
};

} // namespace melnar
