#pragma once

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/LexicalFormHashes.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

namespace melnar {

/// A group of literals of a batch, with everything that can be computed before a hash table is entered: form and
/// datatype as they are stored, and the hash.
///
/// A thread holds its slot in a hash table for one group. A group is large enough for the lanes of the hash. It is
/// small enough to stay in the L1 cache, and not to keep other threads waiting for long.
///
/// Ownership  The forms belong to the batch.
/// Threads    One thread at a time.
/// Errors     None: a refused literal is marked, and becomes a failure, whose exception is made only on request.
class MELNAR_EXPORT PreparedEntries : private Unmovable {
public:
    static constexpr size_t CAPACITY = 256;

    /// The maximum number of bytes of text in a group; a single longer literal makes a group on its own.
    static constexpr size_t MAXIMUM_NUMBER_OF_BYTES = size_t(1) << 16;

    /// Makes a group of the first entries of the rest of a batch, which is not empty. For each one it calls
    /// `bool accept(std::string_view& form, uint8_t& datatypeID) noexcept`, which returns whether the datatype allows
    /// the form, and may change both to what is stored. Forms that are too long for any datatype are refused without
    /// being read.
    template<class Accept>
    void prepare(const std::span<const BatchEntry> entries, const Accept& accept) noexcept {
        const size_t maximumSize = std::min(CAPACITY, entries.size());
        size_t numberOfBytes = 0;
        m_numberOfStrings = 0;
        m_numberOfOthers = 0;
        for (m_size = 0; m_size < maximumSize; ++m_size) {
            std::string_view form = entries[m_size].m_lexicalForm;
            uint8_t datatypeID = entries[m_size].m_datatypeID;
            const bool isRefused = form.size() >= AdaptiveResourceSizeEncoding::MAXIMUM_SIZE || // must not be read
                                   !accept(form, datatypeID);
            if (isRefused)
                form = {};
            numberOfBytes += form.size();
            if (numberOfBytes > MAXIMUM_NUMBER_OF_BYTES && m_size != 0)
                break;
            m_forms[m_size] = form;
            m_datatypeIDs[m_size] = datatypeID;
            m_isRefused[m_size] = isRefused;
            m_numberOfStrings += !isRefused && datatypeID == D_XSD_STRING;
            m_numberOfOthers += !isRefused && datatypeID != D_XSD_STRING;
        }
        m_upcoming = entries.subspan(m_size, std::min(CAPACITY, entries.size() - m_size));
        hash();
    }

    /// Prefetches forms of the entries after the group; `begin` counts from the group's end.
    void prefetchUpcoming(const size_t begin, const size_t numberOfForms) const noexcept {
        for (size_t index = begin; index < std::min(begin + numberOfForms, m_upcoming.size()); ++index) {
            const std::string_view form = m_upcoming[index].m_lexicalForm;
            __builtin_prefetch(form.data());
            __builtin_prefetch(form.data() + std::min(form.size(), MAXIMUM_NUMBER_OF_BYTES));
        }
    }

    size_t getSize() const noexcept { return m_size; }
    std::string_view getForm(const size_t index) const noexcept { return m_forms[index]; }
    uint64_t getHash(const size_t index) const noexcept { return m_hashes[index]; }
    uint8_t getDatatypeID(const size_t index) const noexcept { return m_datatypeIDs[index]; }

    /// Returns the entries of the group that are not refused, of D_XSD_STRING or of all other datatypes. They are
    /// roughly in ascending order of the forms' lengths, since forms of the same length take the same branches.
    std::span<const uint16_t> getOrder(const uint8_t datatypeID) const noexcept {
        if (datatypeID == D_XSD_STRING)
            return {m_order.data(), m_numberOfStrings};
        return {m_order.data() + m_numberOfStrings, m_numberOfOthers};
    }

    bool isRefused(const size_t index) const noexcept { return m_isRefused[index]; }

private:
    static_assert(CAPACITY <= MAXIMUM_NUMBER_OF_FORMS_TO_HASH);

    std::span<const BatchEntry> m_upcoming; // at most as many as the next group may have

    void hash() noexcept;
    void groupByDatatype() noexcept;

    size_t m_size = 0;
    size_t m_numberOfStrings = 0; // that are not refused, as below
    size_t m_numberOfOthers = 0;

    // Only the elements below the size are set.
    std::array<std::string_view, CAPACITY> m_forms;
    std::array<uint64_t, CAPACITY> m_hashes;
    std::array<uint16_t, CAPACITY> m_order;
    std::array<uint8_t, CAPACITY> m_datatypeIDs;
    std::array<bool, CAPACITY> m_isRefused;
};

} // namespace melnar
