#include "Engine/core/data-store/dictionary/PreparedEntries.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

namespace melnar {

/// Hashes the forms, and groups them by datatype.
void PreparedEntries::hash() noexcept {
    hashLexicalForms(m_forms.data(), m_size, m_hashes.data(), m_order.data());
    if (m_numberOfStrings != m_size && m_numberOfOthers != m_size)
        groupByDatatype();
}

/// Moves the strings to the front of the order, and the other forms that are not refused after them.
void PreparedEntries::groupByDatatype() noexcept {
    const std::array<uint16_t, CAPACITY> order = m_order;
    size_t nextString = 0;
    size_t nextOther = m_numberOfStrings;
    for (size_t place = 0; place < m_size; ++place)
        if (const uint16_t index = order[place]; !m_isRefused[index])
            m_order[m_datatypeIDs[index] == D_XSD_STRING ? nextString++ : nextOther++] = index;
}

} // namespace melnar
