#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Engine/core/platform/Unmovable.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <memory>
#include <mutex>
#include <vector>

/// Where one parser and several resolvers exchange pieces: full ones go one way, in order, empty ones the other. There
/// are as many pieces as were made at first, which bounds how far the parser can be ahead.
///
/// Threads  Any number at once. Each call holds the lock for a few instructions; waiting is done without it.
class PieceQueue : private Unmovable {
public:
    explicit PieceQueue(size_t numberOfPieces);

    /// An empty piece, waiting for one; null once the queue is closed.
    std::unique_ptr<ParsedPiece> takeEmpty();
    void putEmpty(std::unique_ptr<ParsedPiece> piece);

    /// The oldest full piece, waiting for one; null once the queue is closed and has none.
    std::unique_ptr<ParsedPiece> takeFull();
    void putFull(std::unique_ptr<ParsedPiece> piece);

    /// No more full pieces will come. Wakes all who wait.
    void close();

private:
    std::mutex m_mutex; // protects all that follows
    std::condition_variable m_emptyOrClosed;
    std::condition_variable m_fullOrClosed;
    std::vector<std::unique_ptr<ParsedPiece>> m_empty;
    std::deque<std::unique_ptr<ParsedPiece>> m_full;
    bool m_isClosed = false;
};
