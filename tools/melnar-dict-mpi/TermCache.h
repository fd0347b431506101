#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

/// The IDs of frequent terms, so that a rank need not send them to their owners again. It uses a fixed amount of
/// memory.
///
/// A term has a few possible places, selected by its hash. It gets one when it is added for the second time within some
/// time: most terms occur once, and would only displace the others. If all places are used, it gets that of the least
/// requested term; and if all terms have requests, the others lose one of theirs. Long terms, which would need much
/// memory, get no place.
///
/// Source   Set-associative, with the counters of CLOCK (F. J. Corbato: A paging experiment with the Multics system,
///          1969), and the hashes of those that were not let in (T. Johnson, D. Shasha: 2Q, 1994).
/// Threads  One at a time.
class TermCache : private Unmovable {
public:
    static constexpr size_t LONGEST_FORM = 118;

    /// Bytes that a cache uses for terms; it uses a sixteenth of that in addition.
    static constexpr size_t SIZE = size_t(16) << 20;

    TermCache();

    /// Prefetches the data that find reads first.
    void prefetch(const uint64_t hash) const noexcept { __builtin_prefetch(&m_sets[getSet(hash)]); }

    /// Returns the ID of a term, or 0 if it is not there. The hash is that of ShardLayout.
    uint64_t find(uint64_t hash, std::string_view lexicalForm, uint8_t datatypeID) noexcept;

    /// Adds a term if it has been added before. An existing one, for example of two rounds that requested it, stays
    /// unchanged.
    void add(uint64_t hash, std::string_view lexicalForm, uint8_t datatypeID, uint64_t resourceID) noexcept;

private:
    static constexpr size_t PLACES_OF_A_SET = 4;
    static constexpr size_t TAGS_OF_THE_REFUSED = 8;
    static constexpr uint8_t LARGEST_USES = 3;

    /// The data that is read first. A tag is a part of a hash, and never 0.
    struct alignas(32) Set {
        std::array<uint16_t, PLACES_OF_A_SET> m_tags{}; // 0 for a free place
        std::array<uint16_t, TAGS_OF_THE_REFUSED> m_refused{};
        std::array<uint8_t, PLACES_OF_A_SET> m_uses{}; // since it could have been replaced last, up to LARGEST_USES
        uint8_t m_nextRefused = 0;                     // the oldest one
    };

    struct alignas(64) Place {
        uint64_t m_resourceID;
        uint8_t m_datatypeID;
        uint8_t m_length;
        std::array<char, LONGEST_FORM> m_form;
    };
    static_assert(sizeof(Place) == offsetof(Place, m_form) + LONGEST_FORM, "A place is larger than its contents.");

    static constexpr size_t NUMBER_OF_SETS = SIZE / sizeof(Place) / PLACES_OF_A_SET;

    static constexpr uint64_t getSet(const uint64_t hash) noexcept { return (hash >> 8) % NUMBER_OF_SETS; }
    static constexpr uint16_t getTag(const uint64_t hash) noexcept { return static_cast<uint16_t>(hash >> 48) | 1; }

    bool admits(Set& set, uint16_t tag) noexcept;

    const std::unique_ptr<Set[]> m_sets;
    const std::unique_ptr<Place[]> m_places;
};
