#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include <serd/serd.h>

/// Reads terms that are written plainly, as nearly all are: the common part of PlainLine and PlainTurtle. Every
/// operation tells whether the term is a plain one; where it is not, the place that has been read up to means nothing.
///
///     iri       = "<" character* ">", where a character is beyond ASCII or a printing one of it or a delete, and none
///                 of <>"{}|^`\ and space
///     label     = "_:" (letter | digit | "_") (letter | digit | "_" | "-")*
///     string    = '"' (byte | escape)* '"', where a byte is none of quote, backslash, line feed and carriage return
///     long      = three quotes, bytes of any kind but backslash, and escapes, up to the next three quotes
///     escape    = "\" (t | b | n | r | f | quote | apostrophe | backslash) | "\u" digit{4} | "\U" digit{8}, where the
///                 hexadecimal digits stand for a code point that is no half of a surrogate pair
///     tag       = "@" letter+ ("-" (letter | digit)*)*
///
/// Whether characters beyond ASCII are well-formed UTF-8 is for the caller to know.
///
/// Ownership  The terms refer to the text, and to memory that is written anew after the next start.
/// Threads    One at a time.
class PlainTermReader {
public:
    PlainTermReader(const PlainTermReader&) = delete;
    PlainTermReader& operator=(const PlainTermReader&) = delete;

    /// Prepares for texts of this length or less.
    void reserve(size_t lengthOfText);

protected:
    PlainTermReader() = default;
    ~PlainTermReader() = default;

    void start(const char* begin, const char* end) noexcept;

    bool readIri(SerdNode& node) noexcept;
    bool readAbsoluteIri(SerdNode& node) noexcept;
    bool readLabel(SerdNode& node) noexcept;
    bool readString(SerdNode& node) noexcept;
    bool readLongString(SerdNode& node, uint64_t& line) noexcept;
    bool readTag(SerdNode& node) noexcept;

    bool isAt(const char character) const noexcept { return m_current != m_end && *m_current == character; }

    const char* m_current = nullptr;
    const char* m_end = nullptr;

private:
    bool readEscapes() noexcept;

    std::unique_ptr<char[]> m_unescaped; // the texts of the strings that have escapes
    size_t m_capacity = 0;
    char* m_unescapedEnd = nullptr;
};
