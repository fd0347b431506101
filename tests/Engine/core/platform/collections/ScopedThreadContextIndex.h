#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <cstddef>

/// Moves the calling thread to a chosen slot of every table, and back when it is destroyed.
class ScopedThreadContextIndex : private Unmovable {
public:
    explicit ScopedThreadContextIndex(const size_t index) noexcept : m_previousIndex(g_currentThreadContextIndex) {
        g_currentThreadContextIndex = index;
    }

    ~ScopedThreadContextIndex() { g_currentThreadContextIndex = m_previousIndex; }

private:
    const size_t m_previousIndex;
};
