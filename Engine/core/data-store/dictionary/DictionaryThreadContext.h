#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstdint>

class DataPool;

/// What a thread needs to create resources without meeting others: its private block of a data pool. With another pool
/// it can be used too, and has no block there.
///
/// Ownership  The pool must outlive the context.
/// Threads    One thread at a time.
class alignas(64) MELNAR_EXPORT DictionaryThreadContext : private Unmovable {
public:
    explicit DictionaryThreadContext(DataPool& dataPool) noexcept
        : m_dataPool(dataPool), m_generation(0), m_blockNext(0), m_blockEnd(0) {}

    /// Gives the rest of the block back when nothing follows it in the pool; otherwise to the next context that needs one.
    ~DictionaryThreadContext();

private:
    friend class DataPool;

    DataPool& m_dataPool;
    uint64_t m_generation; // of m_dataPool when it gave the block, 0 before: no pool's
    uint64_t m_blockNext;
    uint64_t m_blockEnd;
};
