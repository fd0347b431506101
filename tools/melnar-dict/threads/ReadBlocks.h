#pragma once

#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/threads/WorkerGroup.h"

#include <cstddef>
#include <stop_token>

/// Has several threads read the blocks of a file until there are no more or the journal stops. Each thread makes a handler
/// of its own, which it destroys in the end, takes block after block with the reader's `next`, has the handler handle
/// each into an empty piece, and finishes the piece in the journal.
///
/// Every block that is handed out is finished. When the journal has stopped, `reading` is stopped as well, so that nobody
/// waits for bytes that do not come.
///
/// Errors  What the reader throws ends the file in the journal, behind its last block. What a handler throws comes out, as
///         when the system refuses threads or memory; the journal has stopped then.
template<class Block, class Reader, class MakeHandler>
void readBlocks(Reader& reader, InputJournal& journal, const size_t numberOfThreads, std::stop_source reading,
                const MakeHandler& makeHandler) {
    const auto takeNext = [&](Block& block) {
        try {
            return !journal.isStopped() && reader.next(block);
        } catch (...) {
            if (!journal.isStopped()) // Otherwise it may have been stopped, and comes behind what stopped the journal.
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
