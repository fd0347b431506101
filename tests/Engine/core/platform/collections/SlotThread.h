#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "tests/Engine/core/platform/collections/ScopedThreadContextIndex.h"
#include "tests/Engine/core/platform/collections/WaitOrAbort.h"

#include <atomic>
#include <cstddef>
#include <thread>
#include <utility>

/// An action in a separate thread, at a chosen slot of every table. A thread that hangs ends the program.
class SlotThread : private Unmovable {
public:
    template<class Action>
    SlotThread(const size_t slot, Action action)
        : m_hasEnded(false), m_thread([this, slot, action = std::move(action)] {
              const ScopedThreadContextIndex index(slot);
              action();
              m_hasEnded.store(true, std::memory_order_release);
          }) {}

    ~SlotThread() {
        waitForEnd();
        m_thread.join();
    }

    bool hasEnded() const { return m_hasEnded.load(std::memory_order_acquire); }

    /// Waits for the end of the action. Everything that it has written may be read afterwards.
    void waitForEnd() const {
        waitOrAbort("the end of a thread", [this] { return hasEnded(); });
    }

private:
    std::atomic<bool> m_hasEnded;
    std::thread m_thread;
};
