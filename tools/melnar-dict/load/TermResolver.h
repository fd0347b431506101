#pragma once

#include "tools/melnar-dict/pieces/ParsedPiece.h"
#include "tools/melnar-dict/pieces/TermRows.h"

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

/// Gives the terms of a load's blocks their IDs, and writes the rows of IDs of the statements.
///
/// Threads    resolve: any number concurrently, each with its own Thread and piece; every piece of a file must come.
///            startFile: while no thread resolves.
/// Errors     Refused terms, and limits, are recorded in the piece. Others, such as those of the stream, are thrown,
///            and delay no thread's turn.
class TermResolver : private Unmovable {
public:
    /// The order of the IDs.
    enum class Order : uint8_t { INPUT, ANY };

    /// The data of a thread that resolves. Created, used and destroyed by it.
    class Thread : private Unmovable {
    public:
        virtual ~Thread() = default;
    };

    virtual ~TermResolver() = default;

    virtual std::unique_ptr<Thread> makeThread() = 0;

    /// Continues with the first piece of another file.
    virtual void startFile() noexcept = 0;

    /// Returns the number of columns of the rows; 0 if there are no rows.
    virtual size_t getNumberOfColumns() const noexcept = 0;

    /// Returns why the dictionary refuses a literal that it refuses.
    virtual std::string getCauseOfRefusal(BatchEntry literal) const = 0;

    /// Resolves the terms of a piece, and writes its rows in their turn. A refused term becomes an error of the piece,
    /// and its statements have no rows.
    virtual void resolve(const TermRows& rows, Thread& thread, ParsedPiece& piece) = 0;
};
