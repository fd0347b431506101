#pragma once

#include "Engine/core/data-store/ChecksumChain.h"
#include "Engine/core/data-store/DictionaryIdentity.h"
#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <vector>

/// The states in which a dictionary was saved, as long as its IDs stay what they are. Who knows one of them by its
/// identity, such as a file of IDs, can tell whether a dictionary gives those IDs the same literals: it does if the
/// state is in its history. A copy that has given other IDs since, another dictionary and one whose IDs a compaction
/// has changed do not have it.
///
/// Entries    A save appends one if the commit point has moved since the last entry, or there is none. So their commit
///            points ascend, and there is at most one more of them than IDs: 24 bytes a save that brought something. A
///            rollback appends none, since it changes nothing that was committed.
/// Ownership  Owns its entries. The memory manager does not count them.
/// Threads    Any operation, any threads, any time, but assign and startGeneration: alone.
/// Errors     std::bad_alloc; the next save adds what is missing then.
class MELNAR_EXPORT DictionaryHistory : private Unmovable {
public:
    struct Entry {
        uint64_t m_commitPoint; // the first ID that the state does not vouch for
        DictionaryIdentity m_identity;
    };

    /// All of a history.
    struct Contents {
        uint64_t m_generation = 0;
        std::vector<Entry> m_entries; // oldest first
    };

    /// How often the dictionary was compacted.
    uint64_t getGeneration() const;

    /// The identity of the last entry; nothing before the first save, and after a compaction that has changed IDs.
    std::optional<DictionaryIdentity> getIdentity() const;

    /// Whether every ID that was committed in this state stands for the same literal now.
    bool contains(const DictionaryIdentity& identity) const;

    /// Takes a state that is being saved, of whose bytes a checksum is given. Returns the history with it. A save that
    /// fails afterwards leaves the entry, which does no harm: it vouches for the IDs that are committed, and nothing else
    /// bears its identity.
    Contents add(uint64_t commitPoint, const melnar::ChecksumChain::Value& contentChecksum);

    /// Takes over what a file holds.
    void assign(Contents&& contents) noexcept;

    /// Begins the next generation, with no entries unless the IDs stay.
    void startGeneration(bool keepsIDs) noexcept;

private:
    mutable std::mutex m_mutex;
    Contents m_contents; // protected by m_mutex
};
