#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// Lets threads that have come to numbered pieces of work in any order do a part of it in the order of the numbers, one
/// after the other. A thread whose turn ends wakes the next one alone: with many threads, most wait.
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
        wait(number);
        const EndOfTurn end(*this);
        action();
    }

    /// Begins to count from 0 again.
    void startOver() noexcept { m_nextNumber = 0; }

private:
    struct EndOfTurn {
        explicit EndOfTurn(Turns& turns) noexcept : m_turns(turns) {}
        ~EndOfTurn() { m_turns.pass(); }

        Turns& m_turns;
    };

    void wait(const uint64_t number) {
        std::unique_lock lock(m_mutex);
        if (m_nextNumber == number)
            return;
        Waiter waiter{number, m_firstWaiter, {}};
        m_firstWaiter = &waiter;
        waiter.m_turn.wait(lock, [this, number] { return m_nextNumber == number; });
        Waiter** place = &m_firstWaiter;
        while (*place != &waiter)
            place = &(*place)->m_next;
        *place = waiter.m_next;
    }

    void pass() noexcept {
        const std::lock_guard guard(m_mutex); // so that the waiter is there until it has been woken
        ++m_nextNumber;
        for (Waiter* waiter = m_firstWaiter; waiter != nullptr; waiter = waiter->m_next)
            if (waiter->m_number == m_nextNumber)
                waiter->m_turn.notify_one();
    }

    /// A thread that waits; lies on its stack.
    struct Waiter {
        const uint64_t m_number;
        Waiter* m_next;
        std::condition_variable m_turn;
    };

    std::mutex m_mutex; // protects what follows, not the actions: their turn does
    uint64_t m_nextNumber = 0;
    Waiter* m_firstWaiter = nullptr; // of a list, in no order
};
