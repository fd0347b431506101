#pragma once

#include "tools/melnar-dict/pieces/FormBatch.h"

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

/// Adds each term of a block to its batch once: most terms occur many times, and the dictionary then resolves each of
/// them only once.
///
/// Open addressing with XXH3, in a table that doubles when it is half full. A block whose terms collide more than by
/// chance may have some of them in its batch several times.
///
/// Ownership  Refers to nothing; owns the table.
/// Threads    One at a time.
/// Errors     std::bad_alloc.
class DistinctTerms {
public:
    DistinctTerms() : m_slots(FIRST_NUMBER_OF_SLOTS) {}

    /// Returns the index of a term in the batch; appends the term if it is not there. The batch must contain only terms
    /// that this has appended since clear.
    uint32_t add(std::string_view lexicalForm, uint8_t datatypeID, uint64_t line, FormBatch& batch);

    /// Clears the terms and keeps the memory, unless it is large.
    void clear() noexcept;

    /// Returns the hash of a term; its lowest bits select the slot where the probe starts.
    static uint32_t hash(std::string_view lexicalForm, uint8_t datatypeID) noexcept;

    /// After so many used slots, a term is appended without further comparisons.
    static constexpr size_t LONGEST_PROBE = 64;

private:
    /// An empty slot has no end: index + 1 of its term, with its hash.
    struct Slot {
        uint32_t m_hash = 0;
        uint32_t m_end = 0;
    };

    static constexpr size_t FIRST_NUMBER_OF_SLOTS = size_t(1) << 12;
    static constexpr size_t LARGEST_NUMBER_OF_SLOTS_KEPT = size_t(1) << 17;

    void grow();

    std::vector<Slot> m_slots; // a power of two
    size_t m_numberOfTerms = 0;
};
