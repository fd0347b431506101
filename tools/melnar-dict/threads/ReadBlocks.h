#pragma once

#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/threads/WorkerGroup.h"

#include <cstddef>
#include <stop_token>

/// Reads the blocks of a file with several threads until there are no more or the journal stops. Each thread creates
/// its own handler, which it destroys at the end, takes block after block with the reader's `next`, lets the handler
/// process each into an empty piece, and finishes the piece in the journal.
///
/// Every block that is taken is finished. When the journal has stopped, `reading` is stopped as well, so that no thread
/// waits for bytes that do not arrive.
///
/// Errors  An exception of the reader ends the file in the journal, after its last block. An exception of a handler is
///         thrown, as when the system refuses threads or memory; the journal has stopped then.
template<class Block, class Reader, class MakeHandler>
void readBlocks(Reader& reader, InputJournal& journal, const size_t numberOfThreads, std::stop_source reading,
                const MakeHandler& makeHandler) {
    const auto takeNext = [&](Block& block) {
        try {
            return !journal.isStopped() && reader.next(block);
        } catch (...) {
            if (!journal.isStopped()) // Otherwise this may follow from the error that stopped the journal.
                journal.finishWithCurrentException(reader.getNumberOfBlocks());
            return false;
        }
    };
    WorkerGroup workers([&] {
        journal.stop();
        reading.request_stop();
    });
    workers.start(numberOfThreads, [&] {
        const auto handle = makeHandler();
        Block block;
        ParsedPiece piece;
        while (takeNext(block)) {
            piece.clear(block.m_sequence);
            handle(block, piece);
            journal.finish(piece);
        }
        if (journal.isStopped())
            reading.request_stop();
    });
    workers.join();
}
