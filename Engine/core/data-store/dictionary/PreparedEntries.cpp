#include "Engine/core/data-store/dictionary/PreparedEntries.h"

#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"

#include <algorithm>

void PreparedEntries::prepare(const std::span<const BatchEntry> entries) noexcept {
    const size_t maximumSize = std::min(CAPACITY, entries.size());
    size_t numberOfBytes = 0;
    m_numberOfStrings = 0;
    m_numberOfOthers = 0;
    for (m_size = 0; m_size < maximumSize; ++m_size) {
        std::string_view form = entries[m_size].m_lexicalForm;
        uint8_t datatypeID = entries[m_size].m_datatypeID;
        bool isRefused = form.size() >= AdaptiveResourceSizeEncoding::MAXIMUM_SIZE; // and must not be read
        if (!isRefused && datatypeID != D_XSD_STRING) {
            const PlainLiteralKind kind = classifyPlainLiteral(form.data(), form.size());
            isRefused = kind == PlainLiteralKind::WITHOUT_AT_SIGN || kind == PlainLiteralKind::WITH_MALFORMED_TAG;
            if (kind == PlainLiteralKind::EMPTY_TAG) {
                form.remove_suffix(1);
                datatypeID = D_XSD_STRING;
            }
        }
        if (isRefused)
            form = {};
        numberOfBytes += form.size();
        if (numberOfBytes > MAXIMUM_NUMBER_OF_BYTES && m_size != 0)
            break;
        m_forms[m_size] = form;
        m_datatypeIDs[m_size] = datatypeID;
        m_isRefused[m_size] = isRefused;
        m_numberOfStrings += !isRefused && datatypeID == D_XSD_STRING;
        m_numberOfOthers += !isRefused && datatypeID != D_XSD_STRING;
    }
    m_upcoming = entries.subspan(m_size, std::min(CAPACITY, entries.size() - m_size));
    hashLexicalForms(m_forms.data(), m_size, m_hashes.data(), m_order.data());
    if (m_numberOfStrings != m_size && m_numberOfOthers != m_size)
        groupByDatatype();
}

/// Puts the strings to the front of the order, and what is not refused behind them.
void PreparedEntries::groupByDatatype() noexcept {
    const std::array<uint16_t, CAPACITY> order = m_order;
    size_t nextString = 0;
    size_t nextOther = m_numberOfStrings;
    for (size_t place = 0; place < m_size; ++place)
        if (const uint16_t index = order[place]; !m_isRefused[index])
            m_order[m_datatypeIDs[index] == D_XSD_STRING ? nextString++ : nextOther++] = index;
}
