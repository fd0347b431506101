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

/// A group of a batch's literals, with what can be found out about them before a hash table is entered: each one's form
/// and datatype as they are stored, and its hash.
///
/// A thread's slot in a hash table is held for a group. A group is large enough for the lanes of the hash, and small
/// enough to stay in the cache nearest to the core and to keep nobody waiting for long.
///
/// Ownership  The forms are the batch's.
/// Threads    One thread at a time.
/// Errors     None: a refused literal is marked, and becomes a failure, whose exception is made only if asked for.
class MELNAR_EXPORT PreparedEntries : private Unmovable {
public:
    static constexpr size_t CAPACITY = 256;

    /// A group has no more text than this in bytes, but for a single longer literal.
    static constexpr size_t MAXIMUM_NUMBER_OF_BYTES = size_t(1) << 16;

    /// Makes a group of the first entries of what is left of a batch, which is not empty. For each one calls
    /// `bool accept(std::string_view& form, uint8_t& datatypeID) noexcept`, which tells whether it is a literal of its
    /// datatype, and may change both to what is stored. Longer forms than any are refused unseen.
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

    /// Has forms of the entries behind the group fetched into the cache, counted from the group's end.
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

    /// The entries of the group that are not refused, of D_XSD_STRING or of all other datatypes: about in ascending order
    /// of their forms' lengths, as those of one length take the same branches.
    std::span<const uint16_t> getOrder(const uint8_t datatypeID) const noexcept {
        if (datatypeID == D_XSD_STRING)
            return {m_order.data(), m_numberOfStrings};
        return {m_order.data() + m_numberOfStrings, m_numberOfOthers};
    }

    bool isRefused(const size_t index) const noexcept { return m_isRefused[index]; }

private:
    static_assert(CAPACITY <= MAXIMUM_NUMBER_OF_FORMS_TO_HASH);

    std::span<const BatchEntry> m_upcoming; // as many as may be in the next group

    void hash() noexcept;
    void groupByDatatype() noexcept;

    size_t m_size = 0;
    size_t m_numberOfStrings = 0; // that are not refused, as those of other datatypes
    size_t m_numberOfOthers = 0;

    // The rest is set up to the size only.
    std::array<std::string_view, CAPACITY> m_forms;
    std::array<uint64_t, CAPACITY> m_hashes;
    std::array<uint16_t, CAPACITY> m_order;
    std::array<uint8_t, CAPACITY> m_datatypeIDs;
    std::array<bool, CAPACITY> m_isRefused;
};

} // namespace melnar
