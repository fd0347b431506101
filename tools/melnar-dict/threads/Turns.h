#pragma once

#include "Engine/core/platform/Unmovable.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

/// Lets threads, which reach numbered pieces of work in any order, perform a part of it in the order of the numbers,
/// one after the other. A thread whose turn ends wakes only the next one: with many threads, most wait.
///
/// Threads  take: any number concurrently, each with its own number; every number from 0 on must come. startOver: while
///          no thread takes a turn.
/// Errors   Those of the action; the next turn comes nevertheless.
class Turns : private Unmovable {
public:
    /// Waits until the turns of all smaller numbers are over, then performs the action. Actions of later turns see what
    /// it has written.
    template<class Action>
    void take(const uint64_t number, const Action& action) {
        wait(number);
        const EndOfTurn end(*this);
        action();
    }

    /// Starts to count from 0 again.
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

    /// A thread that waits; it is on the thread's stack.
    struct Waiter {
        const uint64_t m_number;
        Waiter* m_next;
        std::condition_variable m_turn;
    };

    std::mutex m_mutex; // protects what follows; the turn protects the actions
    uint64_t m_nextNumber = 0;
    Waiter* m_firstWaiter = nullptr; // of a list, in no order
};
