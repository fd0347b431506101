#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Engine/core/platform/Unmovable.h"
#include "Reader/Term.h"

#include <cstdint>
#include <string_view>

/// Takes the statements of the blocks of a file, block by block. Its results for a block are stored in the block's
/// piece.
///
/// Threads  One at a time; each thread has its own consumer.
class StatementConsumer : private Unmovable {
public:
    virtual ~StatementConsumer() = default;

    /// Starts a block of this text.
    virtual void startBlock(std::string_view) {}

    /// Takes a statement and counts it. Returns null, or the reason why it is refused, which is an error of its line.
    virtual const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) = 0;

    /// Discards the statements of the block, which come again; the piece is empty again.
    virtual void withdraw() {}

    /// Ends a block, also one that an error has ended early. If several threads read, every block of the file is ended
    /// in the consumer of one thread.
    virtual void endBlock(ParsedPiece& piece) = 0;
};
