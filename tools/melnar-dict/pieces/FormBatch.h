#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

/// Terms on their way from a parser to the dictionary, in the order of the file: their lexical forms one after the other in
/// one piece of memory, and where each came from. This is the only copy between the parser and the dictionary.
///
/// Ownership  Owns its bytes; a form's address holds until the batch changes.
/// Threads    One at a time.
class FormBatch {
public:
    /// Appends a term whose lexical form is given, found in a line that counts from the start of what was parsed.
    void append(std::string_view lexicalForm, uint8_t datatypeID, uint64_t line);

    /// Appends the rdf:PlainLiteral that a text with a language tag is.
    void appendTagged(std::string_view text, std::string_view tag, uint64_t line);

    /// Empties the batch and keeps its memory.
    void clear() noexcept;

    /// The terms, as the dictionary takes them.
    std::span<BatchEntry> getEntries() noexcept { return m_entries; }
    std::span<const BatchEntry> getEntries() const noexcept { return m_entries; }

    /// The line of the entry with this index.
    uint64_t getLine(const size_t index) const noexcept { return m_lines[index]; }

    size_t getNumberOfBytes() const noexcept { return m_numberOfBytes; }

private:
    char* appendEntry(size_t length, uint8_t datatypeID, uint64_t line);
    void grow(size_t capacity);

    std::unique_ptr<char[]> m_bytes;
    size_t m_numberOfBytes = 0;
    size_t m_capacity = 0;
    std::vector<BatchEntry> m_entries;
    std::vector<uint64_t> m_lines; // of the entries
};
