#include "tools/melnar-dict/LiteralBatch.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

void LiteralBatch::append(const std::string_view lexicalForm, const uint8_t datatypeID, const uint64_t line) {
    m_entries.push_back({m_bytes.size(), lexicalForm.size(), line, datatypeID});
    m_bytes.append(lexicalForm);
}

void LiteralBatch::appendTagged(const std::string_view text, const std::string_view tag, const uint64_t line) {
    m_entries.push_back({m_bytes.size(), text.size() + 1 + tag.size(), line, D_RDF_PLAIN_LITERAL});
    m_bytes.append(text).append(1, '@').append(tag);
}

void LiteralBatch::clear() noexcept {
    m_bytes.clear();
    m_entries.clear();
}
