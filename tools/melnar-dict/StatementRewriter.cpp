#include "tools/melnar-dict/StatementRewriter.h"

#include <algorithm>

void StatementRewriter::rewrite(const std::string_view text, ParsedPiece& piece) {
    m_text.clear();
    parse(text, piece);
}

const char* StatementRewriter::takeLineStatement(const SerdStatement& statement, const LiteralKind kind, uint64_t,
                                                 ParsedPiece& piece) {
    const size_t begin = m_text.size();
    const auto appendAll = [&]() -> const char* {
        if (const char* const cause = appendTerm(*statement.m_subject, m_text))
            return cause;
        m_text += ' ';
        if (const char* const cause = appendTerm(*statement.m_predicate, m_text))
            return cause;
        m_text += ' ';
        if (const char* const cause = appendObject(statement, kind, m_text))
            return cause;
        if (statement.m_graph == nullptr)
            return nullptr;
        m_text += ' ';
        return appendTerm(*statement.m_graph, m_text);
    };
    if (const char* const cause = appendAll()) {
        m_text.resize(begin);
        return cause;
    }
    m_text += " .\n";
    ++piece.m_counts.m_statements;
    return nullptr;
}

const char* StatementRewriter::appendTerm(const SerdNode& term, std::string& output) {
    if (term.type == SERD_BLANK)
        output.append("_:").append(getText(term));
    else
        output.append("<").append(getText(term)).append(">");
    return nullptr;
}

void StatementRewriter::appendUnchangedObject(const SerdStatement& statement, const LiteralKind kind,
                                              std::string& output) {
    const SerdNode& object = *statement.m_object;
    if (object.type == SERD_BLANK) {
        output.append("_:").append(getText(object));
        return;
    }
    if (object.type != SERD_LITERAL) {
        output.append("<").append(getText(object)).append(">");
        return;
    }
    output += '"';
    appendEscaped(getText(object), output);
    output += '"';
    if (statement.m_language != nullptr)
        output.append("@").append(getText(*statement.m_language));
    else if (statement.m_datatype != nullptr && kind != LiteralKind::STRING)
        output.append("^^<").append(getText(*statement.m_datatype)).append(">");
}

void StatementRewriter::appendEscaped(const std::string_view text, std::string& output) {
    for (size_t begin = 0;;) {
        const size_t end = std::min(text.find_first_of("\"\\\n\r", begin), text.size());
        output.append(text, begin, end - begin);
        if (end == text.size())
            return;
        output += '\\';
        output += text[end] == '\n' ? 'n' : text[end] == '\r' ? 'r' : text[end];
        begin = end + 1;
    }
}
