#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstdint>

class DataPool;

/// Lets a thread create resources without contention with others: its private block of a data pool. With another pool
/// it can be used, too, but has no block there.
///
/// Ownership  The pool must outlive the context.
/// Threads    One thread at a time.
class alignas(64) MELNAR_EXPORT DictionaryThreadContext : private Unmovable {
public:
    /// Makes a context without a block.
    explicit DictionaryThreadContext(DataPool& dataPool) noexcept
        : m_dataPool(dataPool), m_generation(0), m_blockNext(0), m_blockEnd(0) {}

    /// Returns the rest of the block to the pool's end if nothing follows it; otherwise keeps it for the next context
    /// that needs one.
    ~DictionaryThreadContext();

private:
    friend class DataPool;

    DataPool& m_dataPool;
    uint64_t m_generation; // of m_dataPool when it gave the block; 0 before, which no pool has
    uint64_t m_blockNext;
    uint64_t m_blockEnd;
};
