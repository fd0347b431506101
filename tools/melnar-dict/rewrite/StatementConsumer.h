#pragma once

#include "Engine/core/platform/Unmovable.h"
#include "Reader/Term.h"

#include <cstdint>

/// Takes the statements of the blocks of a file, of one block after the other.
///
/// Threads  One at a time; each thread has its own consumer.
class StatementConsumer : private Unmovable {
public:
    virtual ~StatementConsumer() = default;

    /// Takes a statement; null, or why it is refused, which is an error of its line.
    virtual const char* take(const Rdf::Statement& statement) = 0;

    /// Ends a block, also one that has been given up because of an error. Where several threads read, every block of the
    /// file has an end in some thread's consumer.
    virtual void endBlock(uint64_t sequence) = 0;
};
