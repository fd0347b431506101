#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// Lets threads that have come to numbered pieces of work in any order do a part of it in the order of the numbers, one
/// after the other.
///
/// Threads  take: any number at once, each with a number of its own; every number from 0 on must come. startOver: while
///          nobody takes a turn.
/// Errors   Those of the action; the next turn comes all the same.
class Turns : private Unmovable {
public:
    /// Waits until the turns of all smaller numbers are over, then performs the action. What an action has written is
    /// seen by those of later turns.
    template<class Action>
    void take(const uint64_t number, const Action& action) {
        std::unique_lock lock(m_mutex);
        m_turn.wait(lock, [this, number] { return m_nextNumber == number; });
        ++m_nextNumber;
        m_turn.notify_all(); // Those who wake wait for the mutex.
        action();
    }

    /// Begins to count from 0 again.
    void startOver() noexcept { m_nextNumber = 0; }

private:
    std::mutex m_mutex; // protects m_nextNumber; held during an action
    std::condition_variable m_turn;
    uint64_t m_nextNumber = 0;
};
