#pragma once

#include "tools/melnar-dict/threads/Turns.h"

#include "Engine/core/platform/stream/OutputStream.h"

#include <cstdint>
#include <functional>
#include <string_view>

/// Lets threads that finish pieces in any order write them in the order of their numbers. A thread waits for its turn,
/// so that the kept text is at most one piece per thread.
///
/// Threads  Those of Turns.
/// Errors   Those of the stream, in the thread that writes; all later turns write nothing then.
class OrderedOutput : private Unmovable {
public:
    explicit OrderedOutput(OutputStream& output) : m_output(output) {}

    /// Waits until all pieces with smaller numbers have been written, then writes this one.
    void write(uint64_t number, std::string_view text);

    /// Does the same for a piece that is too large to be kept: `writePiece` writes it in its turn.
    void writeInTurn(uint64_t number, const std::function<void(OutputStream& output)>& writePiece);

    /// Starts to count from 0 again.
    void startOver() noexcept { m_turns.startOver(); }

private:
    OutputStream& m_output; // this and what follows: for the thread that has the turn
    bool m_hasFailed = false;
    Turns m_turns;
};
