#include "tools/melnar-dict/threads/BlockWork.h"

#include "tools/melnar-dict/threads/WorkerGroup.h"

namespace {

void workOnBlocks(BlockReader& reader, InputJournal& journal, const BlockWorker& worker) {
    Block block;
    ParsedPiece piece;
    while (!journal.isStopped()) {
        try {
            if (!reader.next(block))
                return;
        } catch (...) {
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
}

} // namespace

void workOnBlocks(BlockReader& reader, InputJournal& journal, const size_t numberOfThreads,
                  const std::function<BlockWorker()>& makeWorker) {
    WorkerGroup workers([&journal] { journal.stop(); });
    workers.start(numberOfThreads, [&] { workOnBlocks(reader, journal, makeWorker()); });
    workers.join();
}

void reportCurrentException(InputJournal& journal, const uint64_t sequence) {
    ParsedPiece piece;
    piece.clear(sequence);
    piece.m_errors.push_back(inputErrorOfCurrentException());
    journal.finish(piece);
}
