#include "tools/melnar-dict/pieces/FormBatch.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <algorithm>
#include <utility>

void FormBatch::append(const std::string_view lexicalForm, const uint8_t datatypeID, const uint64_t line) {
    std::copy(lexicalForm.begin(), lexicalForm.end(), appendEntry(lexicalForm.size(), datatypeID, line));
}

void FormBatch::appendTagged(const std::string_view text, const std::string_view tag, const uint64_t line) {
    char* output = appendEntry(text.size() + 1 + tag.size(), D_RDF_PLAIN_LITERAL, line);
    output = std::copy(text.begin(), text.end(), output);
    *output = '@';
    std::copy(tag.begin(), tag.end(), output + 1);
}

void FormBatch::clear() noexcept {
    m_numberOfBytes = 0;
    m_entries.clear();
    m_lines.clear();
}

/// Appends an entry whose form must still be written to the returned address.
char* FormBatch::appendEntry(const size_t length, const uint8_t datatypeID, const uint64_t line) {
    if (m_capacity - m_numberOfBytes < length)
        grow(std::max(2 * m_capacity, m_numberOfBytes + length));
    char* const form = m_bytes.get() + m_numberOfBytes;
    m_lines.push_back(line);
    m_entries.push_back({{form, length}, 0, datatypeID});
    m_numberOfBytes += length;
    return form;
}

void FormBatch::grow(const size_t capacity) {
    auto bytes = std::make_unique_for_overwrite<char[]>(capacity);
    std::copy_n(m_bytes.get(), m_numberOfBytes, bytes.get());
    for (BatchEntry& entry : m_entries)
        entry.m_lexicalForm = {bytes.get() + (entry.m_lexicalForm.data() - m_bytes.get()), entry.m_lexicalForm.size()};
    m_bytes = std::move(bytes);
    m_capacity = capacity;
}
