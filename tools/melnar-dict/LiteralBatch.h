#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// String literals on their way from a parser to the dictionary, in the order of the file: their lexical forms one
/// behind the other in one piece of memory, and where each came from. This is the only copy between the parser and the
/// dictionary; it is what joins text and tag.
///
/// Ownership  Owns its bytes; a form's address holds until the batch changes.
/// Threads    One at a time.
class LiteralBatch {
public:
    struct Entry {
        size_t m_offset;
        size_t m_length;
        uint64_t m_line; // counted from the start of what was parsed
        uint8_t m_datatypeID;
    };

    /// Appends a literal whose lexical form is given.
    void append(std::string_view lexicalForm, uint8_t datatypeID, uint64_t line);

    /// Appends the rdf:PlainLiteral that a text with a language tag is.
    void appendTagged(std::string_view text, std::string_view tag, uint64_t line);

    /// Empties the batch and keeps its memory.
    void clear() noexcept;

    const std::vector<Entry>& getEntries() const noexcept { return m_entries; }
    size_t getNumberOfBytes() const noexcept { return m_bytes.size(); }

    std::string_view getLexicalForm(const Entry& entry) const noexcept {
        return {m_bytes.data() + entry.m_offset, entry.m_length};
    }

private:
    std::string m_bytes;
    std::vector<Entry> m_entries;
};
