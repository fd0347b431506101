#pragma once

#include "tools/melnar-dict/input/Block.h"
#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/pieces/InputJournal.h"
#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include <cstddef>
#include <functional>
#include <stop_token>

/// What a thread does with a block: fills the empty piece with what is to be told of it. What it throws becomes an
/// error of the piece.
using BlockWorker = std::function<void(const Block& block, ParsedPiece& piece)>;

/// Has several threads work on the blocks of a file until there are no more or the journal stops. Each thread makes a
/// worker of its own and destroys it in the end. Every block that is handed out is finished in the journal. When the
/// journal stops, a stop of what is being read is requested, so that no thread waits for bytes in vain.
void workOnBlocks(BlockReader& reader, std::stop_source reading, InputJournal& journal, size_t numberOfThreads,
                  const std::function<BlockWorker()>& makeWorker);

/// Tells the journal that the exception that is being handled ends the file after so many pieces.
void reportCurrentException(InputJournal& journal, uint64_t sequence);
