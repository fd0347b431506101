#pragma once

#include "benchmarks/pages/PagePool.h"
#include "benchmarks/pages/ThreadArena.h"

#include <cstddef>

/// The allocator of the maps: arrays are blocks of the page pool, nodes come one after the other from the arena of
/// their thread. Nodes are never freed individually, since no string is ever removed from a measured map.
template<class T>
class PoolAllocator {
public:
    using value_type = T;

    PoolAllocator() noexcept = default;

    template<class Other>
    explicit(false) PoolAllocator(const PoolAllocator<Other>&) noexcept {} // NOLINT(google-explicit-constructor)

    T* allocate(const size_t number) {
        const size_t numberOfBytes = getNumberOfBytes(number);
        return static_cast<T*>(numberOfBytes <= LARGEST_NODE
                                   ? ThreadArena::getForNodes().take(numberOfBytes, alignof(T))
                                   : PagePool::get().allocate(numberOfBytes));
    }

    void deallocate(T* const items, const size_t number) noexcept {
        if (getNumberOfBytes(number) > LARGEST_NODE)
            PagePool::get().free(items);
    }

    friend bool operator==(const PoolAllocator&, const PoolAllocator&) noexcept { return true; }

private:
    static constexpr size_t LARGEST_NODE = 1024;

    static constexpr size_t getNumberOfBytes(const size_t number) noexcept {
        return number * sizeof(T); // NOLINT(bugprone-sizeof-expression): maps have arrays of pointers, too
    }
};
