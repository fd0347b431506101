#include "tools/melnar-dict/saved/TermLines.h"

#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include <algorithm>
#include <utility>

TermLines::TermLines(Receiver receiver) : m_receiver(std::move(receiver)) {}

void TermLines::add(const std::string_view text) {
    if (m_isAnswered) {
        m_reader.clear();
        m_terms.clear();
        m_numbers.clear();
        m_errors.clear();
        m_isAnswered = false;
    }
    ++m_numberOfTerms;
    Term term;
    if (std::optional<InputError> error = m_reader.read(text, term)) {
        error->m_line = m_numberOfTerms;
        m_errors.push_back(std::move(*error));
    } else {
        m_terms.add(term);
        m_numbers.push_back(m_numberOfTerms);
    }
}

void TermLines::addLines(const std::string_view text) {
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        add(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

void TermLines::answer() {
    if (std::exchange(m_isAnswered, true)) // even if a failure interrupts this
        return;
    const std::span<BatchEntry> terms = m_terms.getEntries();
    m_failures.clear();
    m_receiver.m_answerTerms(terms, m_failures);
    auto error = m_errors.begin();
    auto failure = m_failures.begin();
    size_t index = 0;
    while (index != terms.size() || error != m_errors.end())
        if (error != m_errors.end() && (index == terms.size() || error->m_line < m_numbers[index]))
            m_receiver.m_takeError(*error++);
        else {
            if (failure != m_failures.end() && failure->m_entryIndex == index)
                m_receiver.m_takeError({m_numbers[index], ExitCode::BAD_DATA, causeOfRefusal(*failure++)});
            else
                m_receiver.m_takeTerm(terms[index]);
            ++index;
        }
}
