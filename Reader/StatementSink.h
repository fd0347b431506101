#pragma once

#include "Reader/SyntaxError.h"
#include "Reader/Term.h"

#include <string_view>

namespace Rdf {

/// Takes what a reader finds, in the order of the text.
///
/// Errors  What it throws goes through the reader to the caller, and the reader cannot be used any more.
class StatementSink {
public:
    virtual ~StatementSink() = default;

    /// The statement is valid until the function returns.
    virtual void takeStatement(const Statement& statement) = 0;

    /// Called once when reading is strict, which is then over.
    virtual void takeError(const SyntaxError& error) = 0;

    /// Takes bytes that give no statements because of an error, when reading is lenient: those that the error names as
    /// skipped, in pieces and before it. They are valid until the function returns.
    virtual void takeSkipped(std::string_view /*bytes*/) {}
};

} // namespace Rdf
