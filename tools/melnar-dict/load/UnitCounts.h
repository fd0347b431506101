#pragma once

#include <cstdint>
#include <vector>

/// Counts in how many units of samples each term occurs.
///
/// Threads  One at a time.
/// Errors   std::bad_alloc.
class UnitCounts {
public:
    /// Starts a unit.
    void startUnit() noexcept { ++m_unit; }

    /// Takes a term of the unit by its resource ID.
    void take(const uint64_t resourceID) {
        if (resourceID >= m_terms.size())
            m_terms.resize(resourceID + 1);
        Seen& seen = m_terms[resourceID];
        if (seen.m_lastUnit == m_unit)
            return;
        seen.m_lastUnit = m_unit;
        ++seen.m_numberOfUnits;
    }

    /// Returns how many units have started.
    uint32_t getNumberOfUnits() const noexcept { return m_unit; }

    /// Returns in how many units a term occurs, for each term that occurs.
    uint32_t getNumberOfUnits(const uint64_t resourceID) const noexcept { return m_terms[resourceID].m_numberOfUnits; }

private:
    struct Seen {
        uint32_t m_lastUnit = 0;
        uint32_t m_numberOfUnits = 0;
    };

    uint32_t m_unit = 0;       // counted from 1
    std::vector<Seen> m_terms; // by resource ID
};
