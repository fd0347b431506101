#pragma once

#include "tools/melnar-dict/PlainTermReader.h"
#include "tools/melnar-dict/SerdClient.h"

/// Reads statements of N-Triples and N-Quads that are written plainly, as nearly all are, many times as fast as the
/// parser. What it takes for a statement, the parser takes for the same one; everything else it leaves to the parser,
/// above all whatever may be wrong.
///
///     line      = blank* subject blank* iri blank* object (blank* graph)? blank* "." blank* end
///     end       = line feed | carriage return | end of the text
///     subject   = iri | label
///     object    = iri | label | string (tag | "^^" iri)?
///     graph     = iri | label, in N-Quads only
///     blank     = space | tab
///
/// with PlainTermReader's terms, IRIs with a scheme, labels up to a blank, tags up to a blank or full stop.
///
/// Ownership  The statement refers to the text, and to memory that the next call writes anew.
/// Threads    One at a time.
class PlainLine : public PlainTermReader {
public:
    explicit PlainLine(const bool graphsAllowed) noexcept : m_graphsAllowed(graphsAllowed) {}

    /// Reads the line that starts here; where it ends, that is at its line end or at the text's; null when it is not
    /// plain.
    const char* read(const char* begin, const char* textEnd) noexcept;

    /// The statement of the line read last, if it was plain. Its texts are not zero-terminated.
    const SerdStatement& getStatement() const noexcept { return m_statement; }

private:
    bool readSubject() noexcept;
    bool readObject() noexcept;
    bool readGraph() noexcept;
    bool readLabelAndBlank(SerdNode& node) noexcept;
    bool readLiteral() noexcept;
    void skipBlanks() noexcept;

    const bool m_graphsAllowed;
    SerdNode m_subject = SERD_NODE_NULL;
    SerdNode m_predicate = SERD_NODE_NULL;
    SerdNode m_object = SERD_NODE_NULL;
    SerdNode m_datatype = SERD_NODE_NULL;
    SerdNode m_tag = SERD_NODE_NULL;
    SerdNode m_graph = SERD_NODE_NULL;
    SerdStatement m_statement{nullptr, &m_subject, &m_predicate, &m_object, nullptr, nullptr};
};
