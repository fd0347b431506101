#pragma once

#include "Engine/core/platform/system/MemoryRegion.h"

#include <algorithm>
#include <cstddef>

namespace melnar {

/// The smallest and the largest number of bytes that ensureEndInSteps commits in addition to what is needed.
constexpr size_t MINIMUM_GROWTH_STEP = size_t(1) << 16;
constexpr size_t MAXIMUM_GROWTH_STEP = size_t(1) << 25;

/// Makes at least the first `end` items accessible, and beyond them an eighth of the existing size, between
/// MINIMUM_GROWTH_STEP and MAXIMUM_GROWTH_STEP bytes. So a region that grows item by item commits pages only a few
/// dozen times. If the step would not leave the memory manager as much again, only what is needed is committed; so a
/// limit is used up to its last page.
///
/// Threads  Any threads at any time.
/// Errors   Those of MemoryRegion::doEnsureEndAtLeast, for what is needed alone.
template<class T>
void ensureEndInSteps(MemoryRegion<T>& region, const size_t end) {
    if (end <= region.getEnd())
        return;
    const size_t capacity = region.getMaximumNumberOfItems();
    if (end < capacity) {
        const size_t step = std::clamp(end * sizeof(T) / 8, MINIMUM_GROWTH_STEP, MAXIMUM_GROWTH_STEP);
        const size_t steppedEnd = end + std::min(capacity - end, step / sizeof(T));
        const size_t committedBytes = region.getCommittedBytes();
        const size_t steppedBytes = steppedEnd * sizeof(T);
        const size_t additionalBytes = steppedBytes > committedBytes ? steppedBytes - committedBytes : 0;
        if (additionalBytes <= region.getMemoryManager().getFreeBytes() / 2) {
            try {
                region.doEnsureEndAtLeast(steppedEnd);
                return;
            } catch (const MelnarException&) {
                // Other regions took the memory first, or the system refused it. What is needed may still fit.
            }
        }
    }
    region.doEnsureEndAtLeast(end);
}

} // namespace melnar
