#include "tools/melnar-dict/saved/LiteralLines.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include <algorithm>
#include <utility>

LiteralLines::LiteralLines(Receiver receiver) : m_receiver(std::move(receiver)) {}

void LiteralLines::add(const std::string_view text) {
    if (m_isAnswered) {
        m_literals.clear();
        m_errors.clear();
        m_isAnswered = false;
    }
    ++m_numberOfLiterals;
    Rdf::Term literal;
    if (std::optional<InputError> error = m_reader.read(text, literal)) {
        error->m_line = m_numberOfLiterals;
        m_errors.push_back(std::move(*error));
    } else
        appendLiteral(literal, literalKindOf(literal), m_numberOfLiterals, m_literals);
}

void LiteralLines::addLines(const std::string_view text) {
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        add(text.substr(begin, end - begin));
        begin = end + 1;
    }
}

void LiteralLines::answer() {
    if (std::exchange(m_isAnswered, true)) // even if a failure interrupts this
        return;
    const std::span<BatchEntry> literals = m_literals.getEntries();
    m_failures.clear();
    m_receiver.m_answerLiterals(literals, m_failures);
    auto error = m_errors.begin();
    auto failure = m_failures.begin();
    size_t index = 0;
    while (index != literals.size() || error != m_errors.end())
        if (error != m_errors.end() && (index == literals.size() || error->m_line < m_literals.getLine(index)))
            m_receiver.m_takeError(*error++);
        else {
            if (failure != m_failures.end() && failure->m_entryIndex == index)
                m_receiver.m_takeError({m_literals.getLine(index), ExitCode::BAD_DATA, causeOfRefusal(*failure++)});
            else
                m_receiver.m_takeLiteral(literals[index]);
            ++index;
        }
}
