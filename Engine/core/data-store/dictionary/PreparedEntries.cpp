#include "Engine/core/data-store/dictionary/PreparedEntries.h"

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"

#include <algorithm>

void PreparedEntries::prepare(const std::span<const BatchEntry> entries) noexcept {
    m_size = entries.size();
    for (const BatchEntry& entry : entries)
        if (entry.m_datatypeID != D_XSD_STRING)
            __builtin_prefetch(entry.m_lexicalForm.data() + entry.m_lexicalForm.size()); // for the tag
    for (size_t index = 0; index < m_size; ++index) {
        std::string_view form = entries[index].m_lexicalForm;
        uint8_t datatypeID = entries[index].m_datatypeID;
        bool isRefused = false;
        if (datatypeID != D_XSD_STRING) {
            const PlainLiteralKind kind = classifyPlainLiteral(form.data(), form.size());
            if (kind == PlainLiteralKind::EMPTY_TAG) {
                form.remove_suffix(1);
                datatypeID = D_XSD_STRING;
            } else
                isRefused = kind != PlainLiteralKind::WITH_TAG;
        }
        isRefused = isRefused || form.size() >= AdaptiveResourceSizeEncoding::MAXIMUM_SIZE;
        m_forms[index] = isRefused ? std::string_view() : form;
        m_datatypeIDs[index] = datatypeID;
        m_isRefused[index] = isRefused;
    }
    hashLexicalForms(m_forms.data(), m_size, m_hashes.data());
}

size_t PreparedEntries::getGroupEnd(const size_t begin) const noexcept {
    const size_t furthestEnd = std::min(m_size, begin + MAXIMUM_GROUP_SIZE);
    size_t numberOfBytes = m_forms[begin].size();
    size_t end = begin + 1;
    while (end < furthestEnd && (numberOfBytes += m_forms[end].size()) <= MAXIMUM_GROUP_BYTES)
        ++end;
    return end;
}
