#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/LexicalFormHashes.h"
#include "Engine/core/platform/Unmovable.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

/// What can be found out about the literals of a batch before a hash table is entered: each one's form and datatype as
/// they are stored, and its hash. Takes a part of a batch at a time, large enough for the lanes of the hash and small
/// enough to stay in the cache nearest to the core.
///
/// Ownership  The forms are the entries'.
/// Threads    One thread at a time.
/// Errors     None: a refused literal is marked, and whoever comes to it refuses it again, by the exception.
class PreparedEntries : private Unmovable {
public:
    static constexpr size_t CAPACITY = MAXIMUM_NUMBER_OF_FORMS_TO_HASH;

    /// A thread's slot in a hash table is held for a group of entries, which is no longer than this many, and of no more
    /// text in bytes but for a single longer literal: so nobody waits for a whole batch.
    static constexpr size_t MAXIMUM_GROUP_SIZE = 64;
    static constexpr size_t MAXIMUM_GROUP_BYTES = size_t(1) << 16;

    /// Replaces the contents by those of at most CAPACITY entries.
    void prepare(std::span<const BatchEntry> entries) noexcept;

    /// The end of the group that begins at `begin`, which must be below the size.
    size_t getGroupEnd(size_t begin) const noexcept;

    size_t getSize() const noexcept { return m_size; }
    std::string_view getForm(const size_t index) const noexcept { return m_forms[index]; }
    uint64_t getHash(const size_t index) const noexcept { return m_hashes[index]; }
    uint8_t getDatatypeID(const size_t index) const noexcept { return m_datatypeIDs[index]; }
    bool isRefused(const size_t index) const noexcept { return m_isRefused[index]; }

private:
    // All but the size are set up to it only.
    size_t m_size = 0;
    std::array<std::string_view, CAPACITY> m_forms;
    std::array<uint64_t, CAPACITY> m_hashes;
    std::array<uint8_t, CAPACITY> m_datatypeIDs;
    std::array<bool, CAPACITY> m_isRefused;
};
