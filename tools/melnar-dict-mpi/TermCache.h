#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

/// The IDs of terms that occur often, so that a rank need not ask for them again. It takes a fixed amount of memory.
///
/// A term has a few places where it can be, by a hash. Where all are taken, it takes the place of one that has not been asked
/// for since its neighbours lost a chance; long terms, which would take much memory, have no place.
///
/// Source   Set-associative, with the counters of CLOCK (F. J. Corbato: A paging experiment with the Multics system, 1969)
///          in the place of a hand.
/// Threads  One at a time.
class TermCache : private Unmovable {
public:
    static constexpr size_t LONGEST_FORM = 110;

    /// Bytes that a cache takes.
    static constexpr size_t SIZE = size_t(16) << 20;

    TermCache();

    /// The ID of a term, or 0 if it is not there.
    uint64_t find(std::string_view lexicalForm, uint8_t datatypeID) noexcept;

    /// Adds a term that is not there.
    void add(std::string_view lexicalForm, uint8_t datatypeID, uint64_t resourceID) noexcept;

private:
    struct alignas(64) Place {
        uint64_t m_resourceID = 0; // 0 for none
        uint8_t m_uses = 0;        // since it might have been replaced, up to LARGEST_USES
        uint8_t m_datatypeID = 0;
        uint8_t m_length = 0;
        std::array<char, LONGEST_FORM> m_form{};

        bool isOf(std::string_view lexicalForm, uint8_t datatypeID) const noexcept {
            return m_resourceID != 0 && m_datatypeID == datatypeID &&
                   std::string_view(m_form.data(), m_length) == lexicalForm;
        }
    };

    static constexpr uint8_t LARGEST_USES = 3;
    static constexpr size_t PLACES_OF_A_SET = 4;
    static constexpr size_t NUMBER_OF_SETS = SIZE / sizeof(Place) / PLACES_OF_A_SET;

    Place* getSet(std::string_view lexicalForm, uint8_t datatypeID) const noexcept;

    const std::unique_ptr<Place[]> m_places;
};
