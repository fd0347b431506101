#pragma once

#include "Engine/core/platform/Unmovable.h"

class MemoryManager;

namespace melnar {

/// Memory that only makes operations faster, charged to a MemoryManager. Its owner releases it when it is needed for
/// something else.
///
/// Ownership  The owner adds it to its memory manager, and removes it before it is destroyed.
/// Threads    reclaim: called by any thread, by one at a time.
class ReclaimableMemory : private Unmovable {
public:
    virtual ~ReclaimableMemory() = default;

    /// Releases the memory, and returns whether there was any.
    virtual bool reclaim() noexcept = 0;

private:
    friend class ::MemoryManager;

    ReclaimableMemory* m_next = nullptr;
};

} // namespace melnar
