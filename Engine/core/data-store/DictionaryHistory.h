#pragma once

#include "Engine/core/data-store/ChecksumChain.h"
#include "Engine/core/data-store/DictionaryIdentity.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

/// The states in which a dictionary was saved, since its IDs last changed. A file of IDs contains the identity of such
/// a state. If the history of a dictionary has that state, the dictionary gives those IDs the same literals. A copy
/// that has given other IDs since, another dictionary, and one whose IDs a compaction has changed do not have it.
///
/// Entries    A save appends one if there is none, or if the commit point has moved since the last entry. So their
///            commit points ascend, and there is at most one more of them than IDs: 24 bytes for each save with new
///            IDs. A rollback appends none, since it changes nothing that was committed.
/// Ownership  Owns its entries. The memory manager does not count them.
/// Threads    Any threads at any time; assign and startGeneration: alone.
/// Errors     std::bad_alloc; the next save adds what is missing then.
class MELNAR_EXPORT DictionaryHistory : private Unmovable {
public:
    /// A state that was saved.
    struct Entry {
        uint64_t m_commitPoint;        ///< the first ID that the state does not cover
        DictionaryIdentity m_identity; ///< of the state
    };

    /// The whole history.
    struct Contents {
        uint64_t m_generation = 0;    ///< how often the dictionary was compacted
        std::vector<Entry> m_entries; ///< oldest first
    };

    /// Returns how often the dictionary was compacted.
    uint64_t getGeneration() const;

    /// Returns the identity of the last entry; nothing before the first save, and after a compaction that has changed
    /// IDs.
    std::optional<DictionaryIdentity> getIdentity() const;

    /// Returns whether every ID that was committed in this state has the same literal now.
    bool contains(const DictionaryIdentity& identity) const;

    /// Adds a state that is being saved, given a checksum of its bytes. Returns the history with it. If the save fails
    /// afterwards, the entry stays and does no harm: it covers the IDs that are committed, and nothing else has its
    /// identity.
    Contents add(uint64_t commitPoint, const melnar::ChecksumChain::Value& contentChecksum);

    /// Takes over the history in a file.
    void assign(Contents&& contents) noexcept;

    /// Starts the next generation. Removes the entries unless the IDs stay the same.
    void startGeneration(bool keepsIDs) noexcept;

private:
    mutable std::mutex m_mutex;
    Contents m_contents; // protected by m_mutex
};
