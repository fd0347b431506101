#pragma once

#include "tools/melnar-dict/Block.h"
#include "tools/melnar-dict/BlockReader.h"
#include "tools/melnar-dict/LoadJournal.h"
#include "tools/melnar-dict/ParsedPiece.h"

#include <cstddef>
#include <functional>

/// What a thread does with a block: fills the empty piece with what is to be told of it. What it throws becomes an
/// error of the piece.
using BlockWorker = std::function<void(const Block& block, ParsedPiece& piece)>;

/// Has several threads work on the blocks of a file until there are no more or the journal stops. Each thread makes a
/// worker of its own and destroys it in the end. Every block that is handed out is finished in the journal.
void workOnBlocks(BlockReader& reader, LoadJournal& journal, size_t numberOfThreads,
                  const std::function<BlockWorker()>& makeWorker);

/// Tells the journal that the exception that is being handled ends the file after so many pieces.
void reportCurrentException(LoadJournal& journal, uint64_t sequence);
