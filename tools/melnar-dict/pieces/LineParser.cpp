#include "tools/melnar-dict/pieces/LineParser.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"

namespace {

/// Returns the whole line of the text that contains these bytes, with its end.
std::string_view lineAround(const std::string_view text, const char* const begin, const char* const end) {
    constexpr std::string_view LINE_ENDS = "\n\r";
    const size_t lineEnd = text.find_first_of(LINE_ENDS, static_cast<size_t>(end - text.data()));
    const std::string_view line = lineEnd == std::string_view::npos
                                      ? text
                                      : text.substr(0, lineEnd + (text.substr(lineEnd).starts_with("\r\n") ? 2 : 1));
    // npos + 1 is 0.
    return line.substr(text.substr(0, static_cast<size_t>(begin - text.data())).find_last_of(LINE_ENDS) + 1);
}

} // namespace

LineParser::LineParser(const Rdf::ReaderOptions& options, StatementConsumer& consumer, const bool keepsRejected)
    : m_consumer(consumer), m_isLenient(options.m_isLenient), m_keepsRejected(keepsRejected), m_reader(options, *this) {
}

void LineParser::parse(const std::string_view text, ParsedPiece& piece, const size_t lengthOfRest) {
    m_text = text;
    m_piece = &piece;
    if (m_keepsRejected)
        piece.m_rejected += text.substr(0, lengthOfRest);
    const size_t firstLine = text.substr(0, lengthOfRest).ends_with('\n') ? 2 : 1;
    m_reader.startAt({firstLine, 1, 1}); // not at the start of a file, where a byte order mark could be
    m_reader.read(text.substr(lengthOfRest), true);
    piece.m_numberOfLineEnds = m_reader.getPlace().m_line - 1;
}

void LineParser::takeStatement(const Rdf::Statement& statement) {
    if (!m_isLenient && !m_piece->m_errors.empty())
        return;
    const uint64_t line = m_reader.getLine();
    if (const char* const cause = m_consumer.take(statement, line, *m_piece))
        m_piece->m_errors.push_back({line, ExitCode::BAD_DATA, cause, 0, m_piece->m_terms.getEntries().size()});
    if (m_keepsRejected && isRefusedTerm(innermostObject(statement)))
        takeSkipped({statement.m_object.m_begin, statement.m_object.m_begin});
}

void LineParser::takeError(const Rdf::SyntaxError& error) {
    if (m_isLenient || m_piece->m_errors.empty())
        m_piece->m_errors.push_back(makeInputError(error, *m_piece));
}

void LineParser::takeSkipped(const std::string_view line) {
    if (m_keepsRejected)
        m_piece->m_rejected += lineAround(m_text, line.data(), line.data() + line.size());
}
