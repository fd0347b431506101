#include "tools/melnar-dict/load/SampleParser.h"

#include "Reader/LineReader.h"
#include "Reader/TurtleReader.h"

void SampleParser::start(const uint64_t offset) {
    const Rdf::ReaderOptions options = makeReaderOptions(m_format, true, DEFAULT_MAXIMUM_LINE, m_base);
    Rdf::StatementSink& sink = *this;
    m_stream.reset();
    const bool isAtStartOfFile = offset == 0;
    const Rdf::Place place{1, 1, offset};
    if (isLineFormat(m_format)) {
        m_reader = std::make_unique<Rdf::LineReader>(options, sink);
        if (!isAtStartOfFile)
            m_reader->startAt(place);
    } else {
        auto reader = std::make_unique<Rdf::TurtleReader>(options, sink);
        if (!isAtStartOfFile)
            reader->startAt(place, {m_context ? m_context : reader->getState().m_context, std::nullopt});
        m_reader = std::move(reader);
    }
    m_stream.emplace(*m_reader);
    m_isAtStart = m_isStarted = isAtStartOfFile;
    m_lastByte = 0;
}

void SampleParser::feed(const std::string_view text, ParsedPiece& piece) {
    m_piece = &piece;
    const size_t begin = m_isStarted ? 0 : findStart(text);
    m_stream->feed(text.substr(begin));
}

void SampleParser::finish(ParsedPiece& piece) {
    m_piece = &piece;
    if (m_isAtStart && !isLineFormat(m_format))
        m_context = static_cast<Rdf::TurtleReader&>(*m_reader).getState().m_context;
    m_stream->finish();
}

/// Returns where a line starts, or probably a statement; the end of the text if there is no such position.
size_t SampleParser::findStart(const std::string_view text) {
    for (size_t lineEnd = text.find('\n'); lineEnd != std::string_view::npos; lineEnd = text.find('\n', lineEnd + 1)) {
        const char before = lineEnd == 0 ? m_lastByte : text[lineEnd - 1];
        m_isStarted = isLineFormat(m_format) || before == '.';
        if (m_isStarted)
            return lineEnd + 1;
    }
    m_lastByte = text.empty() ? m_lastByte : text.back();
    return text.size();
}

void SampleParser::takeStatement(const Rdf::Statement& statement) {
    static_cast<void>(m_consumer.take(statement, 0, *m_piece)); // a refused one is not counted
}

void SampleParser::takeError(const Rdf::SyntaxError&) {}
