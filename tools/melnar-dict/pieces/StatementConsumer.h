#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"

#include "Engine/core/platform/Unmovable.h"
#include "Reader/Term.h"

#include <cstdint>
#include <string_view>

/// Takes the statements of the blocks of a file, of one block after the other. What it has to tell of a block goes into
/// the block's piece.
///
/// Threads  One at a time; each thread has its own consumer.
class StatementConsumer : private Unmovable {
public:
    virtual ~StatementConsumer() = default;

    /// Begins a block of this text.
    virtual void startBlock(std::string_view) {}

    /// Takes a statement and counts it; null, or why it is refused, which is an error of its line.
    virtual const char* take(const Rdf::Statement& statement, uint64_t line, ParsedPiece& piece) = 0;

    /// Forgets what was taken of the block, whose statements come once more; the piece is empty again.
    virtual void withdraw() {}

    /// Ends a block, also one that has been given up because of an error. Where several threads read, every block of the
    /// file has an end in some thread's consumer.
    virtual void endBlock(ParsedPiece& piece) = 0;
};
