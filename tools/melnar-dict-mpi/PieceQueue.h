#pragma once

#include "tools/melnar-dict-mpi/ReadPiece.h"
#include "tools/melnar-dict-mpi/SliceFrontier.h"

#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/FileDescriptor.h"

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

/// The pieces that a rank has read and not yet sent, in their order, from the thread that reads to the thread that
/// sends. A fixed number of pieces is in memory and is reused. Pieces of a slice that is read ahead of its turn may be
/// spilled to a file, from which they are read back in their turn, so that ranks read such slices concurrently.
///
/// Ownership  Owns the pieces, except those that have been taken, and the file, which has no name.
/// Threads    One that reads: takeEmpty, push, end. One that sends: all others.
/// Errors     std::bad_alloc; those of the file. A failure of the reading thread is thrown when all pieces before it
///            have been taken.
class PieceQueue : private Unmovable {
public:
    static constexpr size_t NUMBER_OF_PIECES = 12;

    /// The file is created in a folder when it is needed.
    PieceQueue(std::string folderName, size_t numberOfColumns);

    /// Waits for a free piece; returns null if the queue has been stopped. With `goesAhead`, pieces are spilled to the
    /// file to free one, except pieces that the other thread has.
    std::unique_ptr<ReadPiece> takeEmpty(bool goesAhead);

    /// Appends a piece.
    void push(std::unique_ptr<ReadPiece> piece);

    /// Ends the queue: no more pieces are pushed; because of a failure, if there is one.
    void end(std::exception_ptr failure) noexcept;

    /// Waits until there is a piece, or the queue has ended.
    void waitForPiece();

    /// Returns the pieces that can be taken; they stay until the next offer. `largestBytes` bounds the bytes of terms,
    /// but at least one piece is offered if there is one.
    SliceFrontier::Offer getOffer(size_t largestBytes);

    /// Takes the first piece, which has been offered.
    std::unique_ptr<ReadPiece> pop();

    /// Returns a piece that was taken.
    void giveBack(std::unique_ptr<ReadPiece> piece) noexcept;

    /// Wakes the reading thread, which gets no more pieces.
    void stop() noexcept;

private:
    void writeToFile(const ReadPiece& piece);
    void readFromFile();
    bool isFileEmpty() const noexcept { return m_sizesInFile.empty(); }

    const std::string m_folderName;
    std::mutex m_mutex; // protects what follows
    std::condition_variable m_change;
    std::vector<std::unique_ptr<ReadPiece>> m_free;
    std::deque<std::unique_ptr<ReadPiece>> m_pieces; // the first ones of the queue
    size_t m_numberOffered = 0;                      // of the first ones
    std::deque<uint64_t> m_sizesInFile;              // of the ones after them, in bytes
    uint64_t m_beginInFile = 0;
    uint64_t m_endOfFile = 0;
    melnar::FileDescriptor m_file; // not open until it is needed
    std::string m_bytes;
    bool m_isEnded = false;
    bool m_isStopped = false;
    std::exception_ptr m_failure;
};
