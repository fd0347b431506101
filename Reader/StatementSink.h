#pragma once

#include "Reader/Export.h"
#include "Reader/SyntaxError.h"
#include "Reader/Term.h"

#include <string_view>

namespace Rdf {

/// Takes the results of a reader, in the order of the text.
///
/// Errors  An exception passes through the reader to the caller, and the reader cannot be used any more.
class MELNAR_READER_EXPORT StatementSink {
public:
    virtual ~StatementSink() = default;

    /// The statement is valid until the function returns.
    virtual void takeStatement(const Statement& statement) = 0;

    /// Called once if reading is strict, which then ends.
    virtual void takeError(const SyntaxError& error) = 0;

    /// Takes bytes that yield no statements because of an error, if reading is lenient: those that the error describes
    /// as skipped, in pieces and before it. They are valid until the function returns.
    virtual void takeSkipped(std::string_view /*bytes*/) {}
};

} // namespace Rdf
