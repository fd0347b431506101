#pragma once

#include "tools/melnar-dict/PlainTermReader.h"

#include <cstdint>
#include <vector>

class TurtleFilter;

/// Reads statements of Turtle that are written plainly, as most are where there is much data, many times as fast as the
/// filter and the parser behind it. What it takes for a statement, those take for the same one; everything else it
/// leaves to them, above all whatever may be wrong.
///
///     statement = subject predicates (";"+ predicates)* ";"* "."
///     predicates = (iri | name | "a") object ("," object)*
///     subject   = iri | name | label
///     object    = iri | name | label | (string | long) (tag | "^^" (iri with a scheme | name))? | number |
///                 "true" | "false"
///     number    = ("+" | "-")? digit+ ("." digit+)?
///     name      = prefix? ":" (letter | digit | "_") (letter | digit | "_" | "-")*, where the prefix has been declared
///     prefix    = letter (letter | digit | "_" | "-")*
///
/// with PlainTermReader's terms, and space and comments around them. Behind names, labels, numbers and words stands
/// space, behind objects of these kinds a comma or semicolon will do.
///
/// Ownership  The literals refer to the text, and to memory that the next call writes anew. Refers to the filter, which
///            knows the prefixes.
/// Threads    One at a time.
class PlainTurtle : public PlainTermReader {
public:
    /// A string with what belongs to it; tag and datatype are SERD_NOTHING where there is none.
    struct Literal {
        SerdNode m_text;
        SerdNode m_tag;
        SerdNode m_datatype;
        uint64_t m_line; // as it was given, and line feeds counted from there
    };

    explicit PlainTurtle(TurtleFilter& filter) noexcept : m_filter(filter) {}

    /// Reads the statement that starts here, outside of all others, in the given line; where it ends; the end of the
    /// text when there is nothing but space; null when it is not plain, or not whole.
    const char* read(const char* begin, const char* end, uint64_t line);

    // Of what was read last, if it was plain:
    uint64_t getLine() const noexcept { return m_line; } // that of its end
    size_t getNumberOfTriples() const noexcept { return m_numberOfTriples; }
    const std::vector<Literal>& getLiterals() const noexcept { return m_literals; } // objects, in order

private:
    bool readStatement();
    bool readPredicates();
    bool readSubject();
    bool readPredicate();
    bool readObject();
    bool readLiteral();
    bool readNumber() noexcept;
    bool readNameOrBoolean();
    bool readName(SerdNode& node);
    bool skipDigits() noexcept;
    void skipSpace() noexcept;
    bool take(char punctuation) noexcept;
    bool isAtSpace() const noexcept;
    bool isAtEndOfObject() const noexcept;

    TurtleFilter& m_filter;
    uint64_t m_line = 0;
    size_t m_numberOfTriples = 0;
    std::vector<Literal> m_literals;
    SerdNode m_ignored = SERD_NODE_NULL;
};
