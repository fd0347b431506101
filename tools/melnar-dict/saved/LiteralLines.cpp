#include "tools/melnar-dict/saved/LiteralLines.h"

#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include <algorithm>
#include <utility>

namespace {

// After an object of N-Quads, and not within a comment, this is a graph and the full stop.
constexpr std::string_view END_OF_STATEMENT = " <g:> .\n";

} // namespace

LiteralLines::LiteralLines(Receiver receiver) : m_receiver(std::move(receiver)) {}

void LiteralLines::parse(const std::string_view text) {
    m_statements.clear();
    uint64_t numberOfLines = 0;
    for (size_t begin = 0; begin < text.size(); ++numberOfLines) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        appendStatement(text.substr(begin, end - begin));
        begin = end + 1;
    }
    m_piece.clear(0);
    m_parser.parse(m_statements, m_piece);
    std::stable_sort(m_piece.m_errors.begin(), m_piece.m_errors.end(),
                     [](const InputError& left, const InputError& right) { return left.m_line < right.m_line; });
    const std::span<BatchEntry> literals = m_piece.m_literals.getEntries();
    m_failures.clear();
    m_receiver.m_answerLiterals(literals, m_failures);
    auto error = m_piece.m_errors.begin();
    auto failure = m_failures.begin();
    size_t nextLiteral = 0;
    for (uint64_t line = 1; line <= numberOfLines; ++line)
        if (error != m_piece.m_errors.end() && error->m_line == line) {
            m_receiver.m_takeError(m_numberOfLines + line, error->m_cause);
            ++error;
        } else if (nextLiteral != literals.size() && m_piece.m_literals.getLine(nextLiteral) == line) {
            if (failure != m_failures.end() && failure->m_entryIndex == nextLiteral)
                m_receiver.m_takeError(m_numberOfLines + line, causeOfRefusal(literals[nextLiteral], *failure++));
            else
                m_receiver.m_takeLiteral(literals[nextLiteral]);
            ++nextLiteral;
        } else
            m_receiver.m_takeError(m_numberOfLines + line, "not a string literal");
    m_numberOfLines += numberOfLines;
}

/// Appends a line with the statement whose object is the given text, or an empty line, in which there is no literal,
/// where the text would not stay within its line.
void LiteralLines::appendStatement(std::string_view object) {
    if (object.ends_with('\r'))
        object.remove_suffix(1);
    if (object.find('\r') == std::string_view::npos)
        m_statements.append("<s:> <p:> ").append(object).append(END_OF_STATEMENT);
    else
        m_statements += '\n';
}

const char* LiteralLines::ObjectParser::takeLineStatement(const Rdf::Statement& statement, const uint64_t line,
                                                          ParsedPiece& piece) {
    // The statement ends where its line does, or the text had an end of its own and a comment.
    const char* const graph = statement.m_graph.m_begin;
    if (statement.m_object.m_kind == Rdf::TermKind::TRIPLE || statement.m_graph.m_kind == Rdf::TermKind::NONE ||
        !END_OF_STATEMENT.ends_with({graph, graph + 7}))
        return "not a string literal";
    return LineParser::takeLineStatement(statement, line, piece);
}
