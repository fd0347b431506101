#pragma once

#include "tools/melnar-dict/LineParser.h"

#include <string>
#include <string_view>

/// Reads blocks of N-Triples or N-Quads and writes their statements in canonical form, one a line, with other objects in
/// the place of some: how, is up to the subclass.
///
/// Canonical: one space between terms and before the full stop; in literals only '"', '\', line feed and carriage return
/// are escaped, in IRIs nothing is; xsd:string is not written; comments and blank lines go. Blank node labels and
/// language tags stay as they are.
///
/// Threads  One at a time; each thread has its own rewriter.
class StatementRewriter : public LineParser {
public:
    explicit StatementRewriter(const RdfFormat format) : LineParser(format, false) {}

    /// Rewrites a block of whole lines. Bad data goes into the piece, as LineParser does it.
    void rewrite(std::string_view text, ParsedPiece& piece);

    /// The statements of the last block, up to the first error.
    const std::string& getText() const noexcept { return m_text; }

protected:
    /// Appends the object in the form that it is to have; null, or why the statement is refused.
    virtual const char* appendObject(const SerdStatement& statement, LiteralKind kind, std::string& output) = 0;

    /// Appends a subject, predicate or graph; null, or why the statement is refused.
    virtual const char* appendTerm(const SerdNode& term, std::string& output);

    /// Appends the statement's object as it is.
    static void appendUnchangedObject(const SerdStatement& statement, LiteralKind kind, std::string& output);

    /// Appends text as it stands between the quotes of a literal.
    static void appendEscaped(std::string_view text, std::string& output);

    static std::string_view getText(const SerdNode& node) noexcept {
        return {reinterpret_cast<const char*>(node.buf), node.n_bytes};
    }

private:
    const char* takeLineStatement(const SerdStatement& statement, LiteralKind kind, uint64_t line,
                                  ParsedPiece& piece) final;

    std::string m_text;
};
