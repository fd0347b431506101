#include "tools/melnar-dict/threads/BlockWork.h"

#include "tools/melnar-dict/threads/WorkerGroup.h"

namespace {

void workOnBlocks(BlockReader& reader, std::stop_source& reading, InputJournal& journal, const BlockWorker& worker) {
    Block block;
    ParsedPiece piece;
    while (!journal.isStopped()) {
        try {
            if (!reader.next(block))
                return;
        } catch (...) {
            if (!journal.isStopped()) // Otherwise it may have been stopped, and comes behind what stopped the journal.
                reportCurrentException(journal, reader.getNumberOfBlocks());
            return;
        }
        piece.clear(block.m_sequence);
        try {
            worker(block, piece);
        } catch (...) {
            piece.m_errors.push_back(inputErrorOfCurrentException());
        }
        journal.finish(piece);
    }
    reading.request_stop();
}

} // namespace

void workOnBlocks(BlockReader& reader, std::stop_source reading, InputJournal& journal, const size_t numberOfThreads,
                  const std::function<BlockWorker()>& makeWorker) {
    WorkerGroup workers([&journal, &reading] {
        journal.stop();
        reading.request_stop();
    });
    workers.start(numberOfThreads, [&] { workOnBlocks(reader, reading, journal, makeWorker()); });
    workers.join();
}

void reportCurrentException(InputJournal& journal, const uint64_t sequence) {
    ParsedPiece piece;
    piece.clear(sequence);
    piece.m_errors.push_back(inputErrorOfCurrentException());
    journal.finish(piece);
}
