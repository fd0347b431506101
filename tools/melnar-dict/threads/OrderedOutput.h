#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string_view>

/// Lets threads that finish pieces in any order write them in the order of their numbers. A thread waits for its turn,
/// so that no more text is held than there are threads.
///
/// Threads  write: any number at once, each with a number of its own; every number from 0 on must come. startOver:
///          while nobody writes.
/// Errors   Those of the stream, in the thread that writes; all later turns write nothing then.
class OrderedOutput : private Unmovable {
public:
    explicit OrderedOutput(OutputStream& output) : m_output(output) {}

    /// Waits until all pieces with smaller numbers are written, then writes this one.
    void write(uint64_t number, std::string_view text);

    /// Begins to count from 0 again.
    void startOver() noexcept { m_nextNumber = 0; }

private:
    OutputStream& m_output;
    std::mutex m_mutex; // protects all that follows, and the stream
    std::condition_variable m_turn;
    uint64_t m_nextNumber = 0;
    bool m_hasFailed = false;
};
