#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

/// Terms between a parser and the dictionary, in the order of the file: their lexical forms one after the other in one
/// piece of memory, and their lines. This is the only copy between the parser and the dictionary.
///
/// Ownership  Owns its bytes; a form's address is valid until the batch changes.
/// Threads    One at a time.
class FormBatch {
public:
    /// Appends a term with this lexical form; the line counts from the start of the parsed text.
    void append(std::string_view lexicalForm, uint8_t datatypeID, uint64_t line);

    /// Appends the rdf:PlainLiteral for a text with a language tag.
    void appendTagged(std::string_view text, std::string_view tag, uint64_t line);

    /// Empties the batch and keeps its memory.
    void clear() noexcept;

    /// Returns the terms, as the dictionary takes them.
    std::span<BatchEntry> getEntries() noexcept { return m_entries; }
    std::span<const BatchEntry> getEntries() const noexcept { return m_entries; }

    /// Returns the line of the entry with this index.
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
