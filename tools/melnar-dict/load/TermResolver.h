#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/TermRows.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// Gives the terms of a load's blocks their IDs, and writes the rows of IDs that the statements are.
///
/// Threads    resolve: any number concurrently, each with a Thread and a piece of its own; every piece of a file must
///            come. startFile: while nobody resolves.
/// Errors     Terms that are refused, and limits, go into the piece. Others, such as those of the stream, are thrown, and
///            hold nobody's turn back.
class TermResolver : private Unmovable {
public:
    /// Of the IDs.
    enum class Order : uint8_t { INPUT, ANY };

    /// What a thread that resolves needs. Made, used and destroyed by it.
    class Thread : private Unmovable {
    public:
        virtual ~Thread() = default;
    };

    virtual ~TermResolver() = default;

    virtual std::unique_ptr<Thread> makeThread() = 0;

    /// Goes on to the first piece of another file.
    virtual void startFile() noexcept = 0;

    /// How many columns the rows have; none if there are no rows.
    virtual size_t getNumberOfColumns() const noexcept = 0;

    /// Why the dictionary refuses a literal that it refuses.
    virtual std::string getCauseOfRefusal(BatchEntry literal) const = 0;

    /// Resolves the terms of a piece, and writes its rows when it is their turn. A term that is refused becomes an error
    /// of the piece, and its statements have no rows.
    virtual void resolve(const TermRows& rows, Thread& thread, ParsedPiece& piece) = 0;
};
