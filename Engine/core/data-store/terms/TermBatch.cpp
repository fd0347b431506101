#include "Engine/core/data-store/terms/TermBatch.h"

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

/// Adds an entry. Its form has been appended at `formBegin`, unless its text is the form.
void TermBatch::add(const std::string_view text, const uint8_t datatypeID, const size_t formBegin) {
    if (m_madeForms.size() == m_madeForms.capacity())
        m_madeForms.reserve(2 * m_madeForms.size() + 1); // so that nothing fails after the entry was added
    m_entries.push_back({text, 0, datatypeID});
    if (m_forms.size() != formBegin)
        m_madeForms.push_back({m_entries.size() - 1, formBegin, m_forms.size() - formBegin});
}

void TermBatch::add(const Term& term) {
    const size_t begin = m_forms.size();
    if (!term.isTextTheForm())
        term.appendLexicalForm(m_forms);
    add(term.m_text, term.getDatatypeID(), begin);
}

void TermBatch::addPlainLiteral(const std::string_view text, const std::string_view languageTag) {
    const size_t begin = m_forms.size();
    if (text.size() < AdaptiveResourceSizeEncoding::MAXIMUM_SIZE) // A longer one is refused and must not be read.
        m_forms.append(text).append(1, '@').append(languageTag);
    add(text, D_RDF_PLAIN_LITERAL, begin);
}

std::span<BatchEntry> TermBatch::getEntries() noexcept {
    for (const MadeForm& form : m_madeForms)
        m_entries[form.m_entryIndex].m_lexicalForm = {m_forms.data() + form.m_begin, form.m_length};
    return m_entries;
}

void TermBatch::clear() noexcept {
    m_entries.clear();
    m_madeForms.clear();
    m_forms.clear();
}
