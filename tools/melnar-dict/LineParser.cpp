#include "tools/melnar-dict/LineParser.h"

#include "tools/melnar-dict/SerdRun.h"
#include "tools/melnar-dict/Utf8.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

namespace {

// With this letter in front, no label is one of serd's keywords.
constexpr char DISGUISE = 'x';

const char* findByte(const char* const begin, const char* const end, const char byte) noexcept {
    const void* const found = begin == end ? nullptr : std::memchr(begin, byte, static_cast<size_t>(end - begin));
    return found == nullptr ? end : static_cast<const char*>(found);
}

} // namespace

void LineParser::parse(const std::string_view text, ParsedPiece& piece) {
    m_piece = &piece;
    m_line = 1;
    m_unread = text.data();
    m_end = text.data() + text.size();
    m_firstInvalidByte = findInvalidUtf8(m_unread, m_end);
    m_statementLines.clear();
    m_replacements.clear();
    m_plainLine.reserve(text.size());
    if (readLines())
        runSerdTo(m_end);
    piece.m_numberOfLineEnds = m_line - 1;
}

/// Goes over all lines; false when the block is done with because of an error.
bool LineParser::readLines() {
    for (const char* begin = m_unread; begin != m_end;) {
        const char* lineEnd = m_plainLine.read(begin, m_end);
        if (lineEnd != nullptr && lineEnd <= m_firstInvalidByte) {
            if (!takePlainLine(begin, lineEnd))
                return false;
        } else {
            lineEnd = findByte(begin, findByte(begin, m_end, '\n'), '\r');
            if (!takeLine(begin, lineEnd, lineEnd == m_end ? m_end : lineEnd + 1))
                return false;
        }
        if (lineEnd == m_end)
            return true;
        m_line += *lineEnd == '\n' ? 1 : 0;
        begin = lineEnd + 1;
    }
    return true;
}

/// Takes the statement of a line that is plain, behind those of the lines before it.
bool LineParser::takePlainLine(const char* const begin, const char* const end) {
    if (!m_statementLines.empty() && !runSerdTo(begin))
        return false;
    m_replacements.clear();
    m_unread = end;
    const char* const cause = takeStatement(m_plainLine.getStatement(), m_line);
    return cause == nullptr || addError(m_line, cause);
}

/// Takes a line that may not be plain.
bool LineParser::takeLine(const char* const begin, const char* const end, const char* const next) {
    LineShape shape{LineShape::Kind::FAULTY, "invalid UTF-8"};
    if (m_firstInvalidByte >= end)
        shape = shapeOfLine({begin, end}, hasGraphs(m_format));
    else
        m_firstInvalidByte = findInvalidUtf8(next, m_end);
    if (shape.m_kind == LineShape::Kind::FAULTY) {
        if (!runSerdTo(begin) || !addError(m_line, shape.m_cause))
            return false;
        m_unread = next;
        return true;
    }
    if (shape.m_kind == LineShape::Kind::STATEMENT)
        m_statementLines.push_back({m_line, next, shape.m_keyword != nullptr});
    if (shape.m_keyword != nullptr)
        m_replacements.push_back({shape.m_keyword, shape.m_keyword, DISGUISE});
    if (shape.m_gap != nullptr)
        m_replacements.push_back({shape.m_gap, shape.m_gap, ' '});
    if (shape.m_end != end)
        m_replacements.push_back({shape.m_end, end, ' '}); // serd takes a zero byte for a comment's end
    return true;
}

/// Has serd read the unread text up to here; false when the block is done with because of an error.
bool LineParser::runSerdTo(const char* const end) {
    m_numberOfStatementsRead = 0;
    m_unreadEnd = end;
    while (m_numberOfStatementsRead != m_statementLines.size()) {
        m_nextReplacement = 0;
        while (m_nextReplacement != m_replacements.size() && m_replacements[m_nextReplacement].m_begin < m_unread)
            ++m_nextReplacement;
        const std::optional<SerdFault> fault =
            runSerd(m_format == RdfFormat::N_QUADS ? SERD_NQUADS : SERD_NTRIPLES, *this);
        if (m_numberOfStatementsRead == m_statementLines.size())
            break;
        const StatementLine& faultyLine = m_statementLines[m_numberOfStatementsRead++];
        if (!addError(faultyLine.m_line, fault ? fault->m_cause : "not a statement"))
            return false;
        m_unread = faultyLine.m_next;
    }
    m_unread = end;
    m_statementLines.clear();
    m_replacements.clear();
    return true;
}

/// Whether to go on.
bool LineParser::addError(const uint64_t line, const std::string_view cause) {
    m_piece->m_errors.push_back({line, ExitCode::BAD_DATA, std::string(cause)});
    return m_isLenient;
}

size_t LineParser::provideText(char* const buffer, const size_t size) {
    size_t length = 0;
    while (length != size && m_unread != m_unreadEnd) {
        const Replacement* const replacement =
            m_nextReplacement == m_replacements.size() ? nullptr : &m_replacements[m_nextReplacement];
        if (replacement != nullptr && replacement->m_begin == m_unread) {
            buffer[length++] = replacement->m_byte;
            m_unread = replacement->m_end;
            ++m_nextReplacement;
            continue;
        }
        const char* const end = replacement == nullptr ? m_unreadEnd : replacement->m_begin;
        const size_t part = std::min(size - length, static_cast<size_t>(end - m_unread));
        std::memcpy(buffer + length, m_unread, part);
        length += part;
        m_unread += part;
    }
    return length;
}

const char* LineParser::takeStatement(const SerdStatement& statement) {
    if (m_numberOfStatementsRead == m_statementLines.size())
        return "more statements than lines";
    const StatementLine& line = m_statementLines[m_numberOfStatementsRead];
    SerdNode subject = *statement.m_subject;
    if (line.m_isSubjectDisguised) {
        ++subject.buf;
        --subject.n_bytes;
        --subject.n_chars;
    }
    SerdStatement undisguised = statement;
    undisguised.m_subject = &subject;
    const char* const cause = takeStatement(undisguised, line.m_line);
    if (cause == nullptr)
        ++m_numberOfStatementsRead;
    return cause;
}

const char* LineParser::takeStatement(const SerdStatement& statement, const uint64_t line) {
    const SerdNode* const datatype = statement.m_datatype;
    const LiteralKind kind =
        datatype == nullptr
            ? LiteralKind::OTHER
            : literalKindOfDatatype({reinterpret_cast<const char*>(datatype->buf), datatype->n_bytes}, {});
    return takeLineStatement(statement, kind, line, *m_piece);
}

const char* LineParser::takeLineStatement(const SerdStatement& statement, const LiteralKind kind, const uint64_t line,
                                          ParsedPiece& piece) {
    collectStatement(statement, kind, line, piece);
    return nullptr;
}

const char* LineParser::takeBase(const SerdNode&) {
    return "a base IRI";
}

const char* LineParser::takePrefix(const SerdNode&, const SerdNode&) {
    return "a prefix";
}
