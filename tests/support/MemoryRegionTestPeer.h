#pragma once

#include "Engine/core/platform/system/MemoryRegion.h"

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

/// Gives tests access to private members of a MemoryRegion.
class MemoryRegionTestPeer {
public:
    /// Returns the offsets of the fields within the region, in declaration order; the reference to the manager has no
    /// address.
    template<class T>
    static std::array<size_t, 6> getFieldOffsets(const MemoryRegion<T>& region) {
        const auto getOffset = [&region](const auto& field) {
            return static_cast<size_t>(reinterpret_cast<const uint8_t*>(&field) -
                                       reinterpret_cast<const uint8_t*>(&region));
        };
        return {getOffset(region.m_data),
                getOffset(region.m_end),
                getOffset(region.m_pageSizeShift),
                getOffset(region.m_growthLock),
                getOffset(region.m_maximumNumberOfItems),
                getOffset(region.m_committedBytes)};
    }

    template<class T>
    static uint8_t getPageSizeShift(const MemoryRegion<T>& region) {
        return region.m_pageSizeShift;
    }

    template<class T>
    static std::atomic<uint32_t>& getGrowthLock(MemoryRegion<T>& region) {
        return region.m_growthLock;
    }
};
