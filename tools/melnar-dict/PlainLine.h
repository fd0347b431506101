#pragma once

#include "tools/melnar-dict/SerdClient.h"

#include <cstddef>
#include <memory>

/// Reads statements of N-Triples and N-Quads that are written plainly, as nearly all are, many times as fast as the
/// parser. What it takes for a statement, the parser takes for the same one; everything else it leaves to the parser,
/// above all whatever may be wrong.
///
///     line      = blank* subject blank* iri blank* object (blank* graph)? blank* "." blank* end
///     end       = line feed | carriage return | end of the text
///     subject   = iri | label, but not _:base, _:prefix and _:graph, which the parser takes for keywords
///     object    = iri | label | string ("@" tag | "^^" iri)?
///     graph     = iri | label, in N-Quads only
///     iri       = "<" letter (letter | digit | "+" | "-" | ".")* ":" character* ">", where a character is beyond ASCII
///                 or a printing one of it or a delete, and none of <>"{}|^`\ and space
///     label     = "_:" (letter | digit | "_") (letter | digit | "_" | "-")*, up to a blank
///     string    = '"' (byte | escape)* '"', where a byte is none of quote, backslash, line feed and carriage return
///     escape    = "\" (t | b | n | r | f | quote | apostrophe | backslash) | "\u" digit{4} | "\U" digit{8}, where the
///                 hexadecimal digits stand for a code point that is no half of a surrogate pair
///     tag       = letter+ ("-" (letter | digit)*)*, up to a blank or full stop
///     blank     = space | tab
///
/// Whether characters beyond ASCII are well-formed UTF-8 is for the caller to know.
///
/// Ownership  The statement refers to the text, and to memory that the next call writes anew.
/// Threads    One at a time.
class PlainLine {
public:
    explicit PlainLine(const bool graphsAllowed) noexcept : m_graphsAllowed(graphsAllowed) {}

    PlainLine(const PlainLine&) = delete;
    PlainLine& operator=(const PlainLine&) = delete;

    /// Prepares for lines of this length or less.
    void reserve(size_t lengthOfLine);

    /// Reads the line that starts here; where it ends, that is at its line end or at the text's; null when it is not
    /// plain.
    const char* read(const char* begin, const char* textEnd) noexcept;

    /// The statement of the line read last, if it was plain. Its texts are not zero-terminated.
    const SerdStatement& getStatement() const noexcept { return m_statement; }

private:
    bool readSubject() noexcept;
    bool readObject() noexcept;
    bool readGraph() noexcept;
    bool readIri(SerdNode& node) noexcept;
    bool readLabel(SerdNode& node) noexcept;
    bool readLiteral() noexcept;
    bool readEscapes(char*& output) noexcept;
    bool readTag() noexcept;
    bool isAt(const char character) const noexcept { return m_current != m_end && *m_current == character; }
    void skipBlanks() noexcept;

    const bool m_graphsAllowed;
    const char* m_current = nullptr;
    const char* m_end = nullptr;
    std::unique_ptr<char[]> m_unescaped; // the text of the string, when it has escapes
    size_t m_capacity = 0;
    SerdNode m_subject = SERD_NODE_NULL;
    SerdNode m_predicate = SERD_NODE_NULL;
    SerdNode m_object = SERD_NODE_NULL;
    SerdNode m_datatype = SERD_NODE_NULL;
    SerdNode m_tag = SERD_NODE_NULL;
    SerdNode m_graph = SERD_NODE_NULL;
    SerdStatement m_statement{nullptr, &m_subject, &m_predicate, &m_object, nullptr, nullptr};
};
