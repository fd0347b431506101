#include "Engine/core/data-store/terms/TermBatch.h"

void TermBatch::add(const Term& term) {
    const size_t begin = m_forms.size();
    if (!term.isTextTheForm())
        term.appendLexicalForm(m_forms);
    if (m_madeForms.size() == m_madeForms.capacity())
        m_madeForms.reserve(2 * m_madeForms.size() + 1); // so that nothing fails when the entry is there
    m_entries.push_back({term.m_text, 0, term.getDatatypeID()});
    if (m_forms.size() != begin)
        m_madeForms.push_back({m_entries.size() - 1, begin, m_forms.size() - begin});
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
