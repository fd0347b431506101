#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

class Dictionary;

/// What is known of a dictionary of numbered terms (NumberedTerm): the ID of each number, and the number of each ID.
///
/// Threads  agree and the get functions: any threads concurrently. rollBack: while no thread uses agree. The rest:
///          alone. All accesses are relaxed, so that using the model orders no threads, which would hide races.
class IdentityModel : private Unmovable {
public:
    /// Makes the model of an empty dictionary. Later the numbers are below `numberOfTerms`, and the IDs are at most
    /// `largestResourceID`.
    IdentityModel(uint32_t numberOfTerms, uint64_t largestResourceID);

    /// Returns whether a number may have an ID, and records it if neither is known yet.
    bool agree(const uint32_t number, const uint64_t resourceID) noexcept {
        return m_resourceIDs[number].load(std::memory_order_relaxed) == resourceID ? resourceID != 0
                                                                                   : record(number, resourceID);
    }

    /// Returns the known ID of a number, or 0.
    [[nodiscard]] uint64_t getResourceID(const uint32_t number) const noexcept {
        return m_resourceIDs[number].load(std::memory_order_relaxed);
    }

    /// Returns the number of an ID if it is known.
    [[nodiscard]] std::optional<uint32_t> getNumber(const uint64_t resourceID) const noexcept {
        const uint32_t number = m_numbers[resourceID].load(std::memory_order_relaxed);
        return number < WITHDRAWN ? std::optional(number) : std::nullopt;
    }

    [[nodiscard]] uint32_t getNumberOfTerms() const noexcept { return m_numberOfTerms; }
    [[nodiscard]] uint64_t getLargestResourceID() const noexcept { return m_largestResourceID; }

    /// Forgets the IDs from the commit point on, which must not be given again. Returns how many there were.
    size_t rollBack(uint64_t commitPoint, uint64_t nextResourceID) noexcept;

    /// Takes over the new IDs that a compaction has given; `nextResourceID` is the one after it. Returns a description
    /// of what is wrong with them, or nothing.
    std::string compact(const std::vector<uint64_t>& newResourceIDs, uint64_t nextResourceID);

    /// Compares all terms with those of a dictionary that has no others. Returns a description of the first difference,
    /// or nothing.
    [[nodiscard]] std::string compare(const Dictionary& dictionary) const;

private:
    static constexpr uint32_t NO_NUMBER = ~uint32_t(0);
    static constexpr uint32_t WITHDRAWN = NO_NUMBER - 1;

    bool record(uint32_t number, uint64_t resourceID) noexcept;

    const uint32_t m_numberOfTerms;
    const uint64_t m_largestResourceID;
    const std::unique_ptr<std::atomic<uint64_t>[]> m_resourceIDs; // by number; 0 if there is none
    const std::unique_ptr<std::atomic<uint32_t>[]> m_numbers;     // by ID
};
