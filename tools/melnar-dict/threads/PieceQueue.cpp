#include "tools/melnar-dict/threads/PieceQueue.h"

#include <utility>

PieceQueue::PieceQueue(const size_t numberOfPieces) {
    for (size_t index = 0; index < numberOfPieces; ++index)
        m_empty.push_back(std::make_unique<ParsedPiece>());
}

std::unique_ptr<ParsedPiece> PieceQueue::takeEmpty() {
    std::unique_lock lock(m_mutex);
    m_emptyOrClosed.wait(lock, [this] { return !m_empty.empty() || m_isClosed; });
    if (m_isClosed)
        return nullptr;
    std::unique_ptr<ParsedPiece> piece = std::move(m_empty.back());
    m_empty.pop_back();
    return piece;
}

void PieceQueue::putEmpty(std::unique_ptr<ParsedPiece> piece) {
    {
        const std::lock_guard guard(m_mutex);
        m_empty.push_back(std::move(piece));
    }
    m_emptyOrClosed.notify_one();
}

std::unique_ptr<ParsedPiece> PieceQueue::takeFull() {
    std::unique_lock lock(m_mutex);
    m_fullOrClosed.wait(lock, [this] { return !m_full.empty() || m_isClosed; });
    if (m_full.empty())
        return nullptr;
    std::unique_ptr<ParsedPiece> piece = std::move(m_full.front());
    m_full.pop_front();
    return piece;
}

void PieceQueue::putFull(std::unique_ptr<ParsedPiece> piece) {
    {
        const std::lock_guard guard(m_mutex);
        m_full.push_back(std::move(piece));
    }
    m_fullOrClosed.notify_one();
}

void PieceQueue::close() {
    {
        const std::lock_guard guard(m_mutex);
        m_isClosed = true;
    }
    m_emptyOrClosed.notify_all();
    m_fullOrClosed.notify_all();
}
