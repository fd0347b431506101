#include "tests/torture/NumberedTerms.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <array>
#include <charconv>

void NumberedTerm::make(const uint32_t number) {
    std::array<char, 10> digits;
    char* const end = std::to_chars(digits.begin(), digits.end(), number).ptr;
    const auto addText = [&] { m_form.append(digits.data(), end).append(number % 29, 'x'); };
    m_form.clear();
    switch (number % 16) {
    case 6:
    case 7:
    case 8:
        addText();
        m_form += number % 32 < 16 ? "@en" : "@de-AT";
        m_datatypeID = D_RDF_PLAIN_LITERAL;
        return;
    case 9:
    case 10:
    case 11:
        m_form += "http://example.org/";
        m_form += static_cast<char>('a' + number % 5);
        m_form += '#';
        addText();
        m_datatypeID = D_IRI;
        return;
    case 12:
        m_form += number % 32 < 16 ? "doc1-b" : "doc2-b";
        addText();
        m_datatypeID = D_BLANK_NODE;
        return;
    case 13:
        addText();
        m_form += number % 32 < 16 ? "^^http://example.org/type#first" : "^^http://example.org/type#second";
        m_datatypeID = D_TYPED_LITERAL;
        return;
    case 14:
        addText();
        m_form += "@en--ltr";
        m_datatypeID = D_DIRECTIONAL_STRING;
        return;
    case 15:
        m_form += "<<( _:b <http://example.org/p> \"";
        addText();
        m_form += "\" )>>";
        m_datatypeID = D_TRIPLE_TERM;
        return;
    default:
        addText();
        m_datatypeID = D_XSD_STRING;
    }
}

void NumberedBatch::make(const std::span<const uint32_t> numbers) {
    m_forms.clear();
    m_entries.clear();
    for (const uint32_t number : numbers) {
        m_term.make(number);
        m_forms += m_term.getForm();
        // The address of a form is known when all of them are there.
        m_entries.push_back({{m_forms.data(), m_term.getForm().size()}, 0, m_term.getDatatypeID()});
    }
    const char* form = m_forms.data();
    for (BatchEntry& entry : m_entries) {
        entry.m_lexicalForm = {form, entry.m_lexicalForm.size()};
        form += entry.m_lexicalForm.size();
    }
}
