#include "tools/melnar-dict/pieces/LineParser.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"

LineParser::LineParser(const RdfFormat format, const bool lenient, const size_t maximumLine)
    : m_isLenient(lenient), m_reader(makeReaderOptions(format, lenient, maximumLine), *this) {}

void LineParser::parse(const std::string_view text, ParsedPiece& piece, const size_t lengthOfRest) {
    m_piece = &piece;
    const size_t firstLine = text.substr(0, lengthOfRest).ends_with('\n') ? 2 : 1;
    m_reader.startAt({firstLine, 1, 1}); // not at the start of a file, where a byte order mark could be
    m_reader.read(text.substr(lengthOfRest), true);
    piece.m_numberOfLineEnds = m_reader.getPlace().m_line - 1;
}

void LineParser::takeStatement(const Rdf::Statement& statement) {
    if (!m_isLenient && !m_piece->m_errors.empty())
        return;
    const Rdf::Place place = m_reader.locate(statement.m_object);
    if (const char* const cause = takeLineStatement(statement, place.m_line, *m_piece))
        m_piece->m_errors.push_back({place.m_line, ExitCode::BAD_DATA, cause});
}

void LineParser::takeError(const Rdf::SyntaxError& error) {
    if (m_isLenient || m_piece->m_errors.empty())
        m_piece->m_errors.push_back(
            {error.m_place.m_line, ExitCode::BAD_DATA, error.m_message, error.m_place.m_column});
}

const char* LineParser::takeLineStatement(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) {
    collectStatement(statement, line, piece);
    return nullptr;
}
