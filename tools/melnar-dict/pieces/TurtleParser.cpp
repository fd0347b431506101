#include "tools/melnar-dict/pieces/TurtleParser.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"

void TurtleParser::parse(const Block& block, ParsedPiece& piece) {
    m_piece = &piece;
    m_runner.read({block.m_sequence, block.getText(), block.m_place, block.m_cut});
}

void TurtleParser::parseEnd(ParsedPiece& piece) {
    m_piece = &piece;
    m_runner.finishText();
}

void TurtleParser::takeStatement(const Rdf::Statement& statement) {
    if (!m_isLenient && !m_piece->m_errors.empty())
        return;
    const Rdf::Term& object = innermostObject(statement);
    const uint64_t line = m_runner.locateLine(object);
    if (const char* const cause = m_consumer.take(statement, line, *m_piece))
        m_piece->m_errors.push_back({line, ExitCode::BAD_DATA, cause, 0, m_piece->m_terms.getEntries().size()});
    if (m_keepsRejected && isRefusedTerm(object))
        rejectStatement(object);
}

/// Rejects the current statement, which contains a refused literal, unless another of its literals has done so.
void TurtleParser::rejectStatement(const Rdf::Term& literal) {
    const std::string_view statement = m_runner.getStatementText();
    const uint64_t offset = m_runner.locateOffset(literal) - static_cast<uint64_t>(literal.m_begin - statement.data());
    if (offset == m_lastRejectedStatement)
        return;
    m_lastRejectedStatement = offset;
    m_piece->m_rejected.append(statement).append("\n");
}

void TurtleParser::takeError(const Rdf::SyntaxError& error) {
    m_piece->m_errors.push_back(makeInputError(error, *m_piece));
    std::string& rejected = m_piece->m_rejected;
    if (rejected.empty())
        m_piece->m_endsRejectedLine = true;
    else if (rejected.back() != '\n' && rejected.back() != '\r')
        rejected += '\n';
}

void TurtleParser::takeSkipped(const std::string_view bytes) {
    if (m_keepsRejected)
        m_piece->m_rejected += bytes;
}

void TurtleParser::withdraw() {
    m_piece->clear(m_piece->m_sequence);
    m_lastRejectedStatement = NO_STATEMENT;
    m_consumer.withdraw();
}
