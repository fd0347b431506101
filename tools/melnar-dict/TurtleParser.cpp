#include "tools/melnar-dict/TurtleParser.h"

#include "tools/melnar-dict/Utf8.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

namespace {

// Large enough that handing a piece over costs nothing beside filling it, small enough to be still in the cache then.
constexpr size_t BYTES_OF_A_FULL_PIECE = 128 * 1024;
constexpr size_t LITERALS_OF_A_FULL_PIECE = 4096;

SerdEnv* newEnvironment(const std::string& base) {
    SerdNode baseNode = serd_node_from_string(SERD_URI, reinterpret_cast<const uint8_t*>(base.c_str()));
    SerdEnv* const environment = serd_env_new(base.empty() ? nullptr : &baseNode);
    if (environment == nullptr)
        throw std::bad_alloc();
    return environment;
}

std::string_view textOf(const SerdChunk& chunk) noexcept {
    return {reinterpret_cast<const char*>(chunk.buf), chunk.len};
}

/// The lines that are whole and valid: all of the text, or what stands before the line with the first invalid byte.
std::string_view validLinesOf(const std::string_view text) noexcept {
    const char* const end = text.data() + text.size();
    const char* const invalidByte = findInvalidUtf8(text.data(), end);
    if (invalidByte == end)
        return text;
    const size_t lineFeed = text.substr(0, static_cast<size_t>(invalidByte - text.data())).rfind('\n');
    return text.substr(0, lineFeed == std::string_view::npos ? 0 : lineFeed + 1);
}

} // namespace

TurtleParser::TurtleParser(const RdfFormat format, const std::string& base, const bool lenient, BlockReader& reader,
                           PieceExchange exchangePiece)
    : m_format(format), m_isLenient(lenient), m_exchangePiece(std::move(exchangePiece)),
      m_environment(newEnvironment(base)), m_text(reader), m_filter(hasGraphs(format)), m_plainTurtle(m_filter) {}

void TurtleParser::parse() {
    m_piece = m_exchangePiece(nullptr);
    while (m_piece && readOn()) {
    }
    if (m_piece)
        m_exchangePiece(std::move(m_piece));
}

/// Reads on from where the text stands, up to a fault or behind the next statements that are not plain; whether there
/// is more to read.
bool TurtleParser::readOn() {
    uint64_t firstLine = 0;
    m_filtered.clear();
    m_filteredOffset = 0;
    m_literalLines.clear();
    m_nextLiteral = 0;
    m_textFault.reset();
    m_startOfPage = m_numberOfBytesGiven;
    m_isStatementFiltered = false;
    std::optional<SerdFault> fault;
    try {
        if (m_format == RdfFormat::TURTLE)
            readPlainStatements();
        firstLine = m_filter.getLine();
        if (m_piece)
            fault = runSerd(m_format == RdfFormat::TRIG ? SERD_TRIG : SERD_TURTLE, *this);
    } catch (...) {
        if (!m_piece)
            throw;
        m_piece->m_errors.push_back(loadErrorOfCurrentException());
        return false;
    }
    if (!m_piece || (!fault && !m_textFault))
        return m_piece && m_isStatementFiltered;
    if (fault && !m_textFault)
        filterRestOfLine(lineOf(*fault, firstLine));
    LoadError error = chooseError(fault, firstLine);
    const uint64_t line = error.m_line;
    const bool goesOn = m_isLenient && error.m_exitCode == ExitCode::BAD_DATA;
    m_piece->m_errors.push_back(std::move(error));
    if (goesOn) {
        m_text.skipStatement(line);
        m_filter.restart(m_text.getFirstLine());
        m_unread = {};
        m_isInvalidBehind = false;
    }
    return goesOn;
}

uint64_t TurtleParser::lineOf(const SerdFault& fault, const uint64_t firstLine) const noexcept {
    return fault.m_line == 0 ? m_filter.getLine() : firstLine + fault.m_line - 1;
}

/// Looks for a fault behind the statement but in the same line.
void TurtleParser::filterRestOfLine(const uint64_t line) {
    while (m_filter.getLine() <= line && hasUnread())
        filterUnread();
}

/// Of serd's fault and the one that ended serd's text, the one that comes first; at the end of its text serd always has
/// something to say.
LoadError TurtleParser::chooseError(const std::optional<SerdFault>& fault, const uint64_t firstLine) const {
    if (fault) {
        const uint64_t line = lineOf(*fault, firstLine);
        if (!m_textFault || line < m_textFault->m_line)
            return {line, ExitCode::BAD_DATA, fault->m_cause};
    }
    return m_textFault->m_error;
}

size_t TurtleParser::provideText(char* const buffer, const size_t size) {
    m_startOfPage = m_numberOfBytesGiven;
    const uint64_t endOfPage = m_startOfPage + size;
    while (m_numberOfBytesGiven != endOfPage && (m_filteredOffset != m_filtered.size() || fillFiltered())) {
        const size_t part = m_filtered.copy(buffer + (m_numberOfBytesGiven - m_startOfPage),
                                            endOfPage - m_numberOfBytesGiven, m_filteredOffset);
        m_filteredOffset += part;
        m_numberOfBytesGiven += part;
    }
    return m_numberOfBytesGiven - m_startOfPage;
}

void TurtleParser::readPlainStatements() {
    while (m_piece && hasUnread()) {
        const char* const end = readPlainStatement();
        if (end == nullptr)
            return;
        m_unread.remove_prefix(static_cast<size_t>(end - m_unread.data()));
        m_filter.skipTo(m_plainTurtle.getLine());
        takePlainStatement();
    }
}

/// Where the next statement ends, if it is plain.
const char* TurtleParser::readPlainStatement() {
    return m_plainTurtle.read(m_unread.data(), m_unread.data() + m_unread.size(), m_filter.getLine());
}

void TurtleParser::takePlainStatement() {
    const std::vector<PlainTurtle::Literal>& literals = m_plainTurtle.getLiterals();
    const size_t numberOfOtherTriples = m_plainTurtle.getNumberOfTriples() - literals.size();
    m_piece->m_counts.m_statements += numberOfOtherTriples;
    m_piece->m_counts.m_otherTerms += 3 * numberOfOtherTriples;
    for (const PlainTurtle::Literal& literal : literals) {
        const SerdNode* const datatype = literal.m_datatype.type == SERD_NOTHING ? nullptr : &literal.m_datatype;
        const SerdNode* const tag = literal.m_tag.type == SERD_NOTHING ? nullptr : &literal.m_tag;
        collectStatement({nullptr, nullptr, nullptr, &literal.m_text, datatype, tag},
                         datatype == nullptr ? LiteralKind::OTHER : literalKindOf(*datatype), literal.m_line, *m_piece);
        exchangeFullPiece();
        if (!m_piece)
            return;
    }
}

/// Whether there is text to read, after moving to the next one if need be; at the end of the valid text there is a
/// fault, at the end of the file not.
bool TurtleParser::hasUnread() {
    while (m_unread.empty() && !m_textFault) {
        if (m_isInvalidBehind) {
            m_textFault = {m_filter.getLine(), {m_filter.getLine(), ExitCode::BAD_DATA, "invalid UTF-8"}};
            break;
        }
        try {
            if (!m_text.next())
                return false;
        } catch (...) {
            m_textFault = {m_filter.getLine(), loadErrorOfCurrentException()};
            break;
        }
        m_text.keepUntil(m_numberOfBytesGiven, m_startOfPage);
        const std::string_view text = m_text.getText();
        m_unread = validLinesOf(text);
        m_isInvalidBehind = m_unread.size() != text.size();
        m_plainTurtle.reserve(text.size());
    }
    return !m_textFault;
}

/// Filters the next block, or what is there of a statement; false at the end of the text and before a plain statement.
/// May yield nothing, where a block has nothing but comments.
bool TurtleParser::fillFiltered() {
    if (!hasUnread() || (m_isStatementFiltered && readPlainStatement() != nullptr))
        return false;
    m_filtered.clear();
    m_filteredOffset = 0;
    m_literalLines.erase(m_literalLines.begin(), m_literalLines.begin() + static_cast<ptrdiff_t>(m_nextLiteral));
    m_nextLiteral = 0;
    filterUnread();
    m_text.keepUntil(m_numberOfBytesGiven + m_filtered.size(), m_startOfPage);
    return true;
}

void TurtleParser::filterUnread() {
    std::optional<TurtleFilter::Fault> fault;
    if (m_format == RdfFormat::TURTLE) {
        fault = m_filter.filterStatement(m_unread, m_filtered, m_literalLines);
        m_isStatementFiltered = m_filter.isBehindFullStop();
    } else
        fault = m_filter.filter(std::exchange(m_unread, {}), m_filtered, m_literalLines);
    if (fault)
        m_textFault = {fault->m_line, {fault->m_line, ExitCode::BAD_DATA, fault->m_cause}};
}

const char* TurtleParser::takeStatement(const SerdStatement& statement) {
    uint64_t line = 0;
    if (statement.m_object->type == SERD_LITERAL && m_nextLiteral != m_literalLines.size())
        line = m_literalLines[m_nextLiteral++];
    const SerdNode* const datatype = statement.m_datatype;
    collectStatement(statement, datatype == nullptr ? LiteralKind::OTHER : literalKindOf(*datatype), line, *m_piece);
    exchangeFullPiece();
    return m_piece ? nullptr : "nobody takes the pieces";
}

void TurtleParser::exchangeFullPiece() {
    if (m_piece->m_literals.getNumberOfBytes() >= BYTES_OF_A_FULL_PIECE ||
        m_piece->m_literals.getEntries().size() >= LITERALS_OF_A_FULL_PIECE)
        m_piece = m_exchangePiece(std::move(m_piece));
}

LiteralKind TurtleParser::literalKindOf(const SerdNode& datatype) const {
    SerdChunk start{datatype.buf, datatype.n_bytes};
    SerdChunk end{nullptr, 0};
    if (datatype.type == SERD_CURIE)
        return serd_env_expand(m_environment.get(), &datatype, &start, &end) == SERD_SUCCESS
                   ? literalKindOfDatatype(textOf(start), textOf(end))
                   : LiteralKind::OTHER;
    if (serd_uri_string_has_scheme(datatype.buf))
        return literalKindOfDatatype(textOf(start), {});
    SerdNode absolute = serd_env_expand_node(m_environment.get(), &datatype);
    const LiteralKind kind = literalKindOfDatatype(textOf({absolute.buf, absolute.n_bytes}), {});
    serd_node_free(&absolute);
    return kind;
}

const char* TurtleParser::takeBase(const SerdNode& iri) {
    return serd_env_set_base_uri(m_environment.get(), &iri) == SERD_SUCCESS ? nullptr : "not a base IRI";
}

const char* TurtleParser::takePrefix(const SerdNode& name, const SerdNode& iri) {
    return serd_env_set_prefix(m_environment.get(), &name, &iri) == SERD_SUCCESS ? nullptr : "not a prefix";
}
