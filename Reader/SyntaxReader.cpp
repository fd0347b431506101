#include "Reader/SyntaxReader.h"

#include "Reader/LineReader.h"
#include "Reader/TurtleReader.h"
#include "Reader/Utf8.h"

namespace Rdf {

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

} // namespace

std::unique_ptr<SyntaxReader> SyntaxReader::make(const ReaderOptions& options, StatementSink& sink) {
    if (options.m_syntax == Syntax::N_TRIPLES || options.m_syntax == Syntax::N_QUADS)
        return std::make_unique<LineReader>(options, sink);
    return std::make_unique<TurtleReader>(options, sink);
}

size_t SyntaxReader::read(const std::string_view text, const bool isLast) {
    if (m_isStopped)
        return text.size();
    const char* begin = text.data();
    const char* const end = begin + text.size();
    m_places.startText(begin);
    if (m_places.getOffset(begin) == 0) {
        if (!isLast && text.size() < BYTE_ORDER_MARK.size())
            return 0;
        if (text.starts_with(BYTE_ORDER_MARK)) {
            begin += BYTE_ORDER_MARK.size();
            m_places.startText(begin, {1, 1, BYTE_ORDER_MARK.size()});
        }
    }
    const char* const rest = readText(begin, end, isLast);
    m_places.endText(rest);
    return static_cast<size_t>((m_isStopped ? end : rest) - text.data());
}

void SyntaxReader::openWindow(const char* const begin, const char* const end, const bool isLast) {
    const char* const invalid = Utf8::findInvalid(begin, end);
    if (invalid != end && (isLast || !Utf8::isCutSequence(invalid, end)))
        m_window.open(invalid, TextWindow::Beyond::INVALID_BYTE);
    else
        m_window.open(invalid, isLast ? TextWindow::Beyond::NOTHING : TextWindow::Beyond::MORE_TEXT);
}

SyntaxError SyntaxReader::takeFailure(const char* const statement) {
    return {m_places.find(m_window.getFailurePlace()), m_window.takeFailure(), m_places.getOffset(statement), 0};
}

void SyntaxReader::report(SyntaxError& error, const char* const skippedEnd) {
    error.m_skippedEnd = m_options.m_isLenient ? m_places.getOffset(skippedEnd) : error.m_place.m_offset;
    m_isStopped = !m_options.m_isLenient;
    m_sink->takeError(error);
}

} // namespace Rdf
