#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "benchmarks/pages/PagePool.h"
#include "benchmarks/pages/ThreadArena.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

/// What every peer stores beside its map: the bytes of the strings, each after its length in four bytes, in the arenas
/// of the threads that added them; and an array that points from IDs to them.
///
/// Threads  Any threads concurrently. Other threads read an ID only after the map has shown it to them.
class TextTable : private Unmovable {
public:
    TextTable() : m_texts(static_cast<const char**>(PagePool::get().reserve(LARGEST_SIZE * sizeof(const char*)))) {}

    /// Copies a string to its final place.
    static std::string_view copy(const std::string_view text) {
        const uint32_t size = static_cast<uint32_t>(text.size());
        char* const bytes = static_cast<char*>(ThreadArena::getForTexts().take(sizeof size + size, 1));
        std::memcpy(bytes, &size, sizeof size);
        std::memcpy(bytes + sizeof size, text.data(), size);
        return {bytes + sizeof size, size};
    }

    /// Gives a copied string the next ID.
    uint64_t add(const std::string_view copiedText) {
        const uint64_t id = m_nextID.fetch_add(1, std::memory_order_relaxed);
        if (id % IDS_PER_STEP == 0 || id == 1)
            PagePool::get().use(m_texts + (id == 1 ? 0 : id), IDS_PER_STEP * sizeof(const char*));
        m_texts[id] = copiedText.data();
        return id;
    }

    /// Finds the strings of a group of IDs; prefetches their memory.
    void get(const std::span<const uint64_t> ids, const std::span<std::string_view> texts) const noexcept {
        for (size_t begin = 0; begin < ids.size(); begin += IDS_PER_PREFETCH) {
            const size_t end = std::min(begin + IDS_PER_PREFETCH, ids.size());
            for (size_t index = begin; index < end; ++index)
                __builtin_prefetch(m_texts + ids[index]);
            for (size_t index = begin; index < end; ++index)
                __builtin_prefetch(m_texts[ids[index]] - sizeof(uint32_t));
            for (size_t index = begin; index < end; ++index)
                texts[index] = getText(ids[index]);
        }
    }

private:
    std::string_view getText(const uint64_t id) const noexcept {
        const char* const bytes = m_texts[id];
        uint32_t size = 0;
        std::memcpy(&size, bytes - sizeof size, sizeof size);
        return {bytes, size};
    }

    static constexpr size_t LARGEST_SIZE = size_t(1) << 32;
    static constexpr size_t IDS_PER_STEP = size_t(1) << 12;
    static constexpr size_t IDS_PER_PREFETCH = 64;

    const char** const m_texts;
    alignas(64) std::atomic<uint64_t> m_nextID{1};
};
