#include "Reader/StatementSkipper.h"

#include "Reader/ByteScan.h"
#include "Reader/CharacterClass.h"
#include "Reader/QuotedString.h"

#include <algorithm>

namespace Rdf {

namespace {

bool isNamePart(const char character) noexcept {
    const auto byte = static_cast<uint8_t>(character);
    return CharacterClass::is(byte, CharacterClass::LOCAL_NAME) || byte >= 0x80 || byte == '%' || byte == '\\';
}

/// Returns how many bytes are needed to recognize the construct that starts with this one.
ptrdiff_t getLookahead(const char first) noexcept {
    return first == '"' || first == '\'' ? 3 : first == '{' || first == '|' || first == '.' ? 2 : 1;
}

} // namespace

void StatementSkipper::start(const size_t distance, const bool hasGraphs, const bool isInGraph) noexcept {
    m_isSkipping = true;
    m_hasGraphs = hasGraphs;
    m_isInGraph = isInGraph;
    m_in = In::STATEMENT;
    m_distance = distance;
    m_depth = 0;
}

const char* StatementSkipper::skip(const char* at, const char* const end, const bool isLast) {
    const char* const failure = at + m_distance;
    while (at != end && m_isSkipping) {
        if (m_in != In::STATEMENT) {
            at = skipWithin(at, end, isLast);
            if (m_in != In::STATEMENT)
                break;
        } else if (!isLast && end - at < getLookahead(*at)) {
            break;
        } else {
            at = skipToken(at, end, at >= failure);
        }
    }
    m_distance = at < failure ? static_cast<size_t>(failure - at) : 0;
    if (isLast)
        m_isSkipping = false;
    return at;
}

/// Skips the construct that starts here, or skips its first byte and records the construct.
const char* StatementSkipper::skipToken(const char* const at, const char* const end, const bool isPast) {
    const auto isNext = [&](const char character) { return end - at > 1 && at[1] == character; };
    const auto enter = [&](const In in, const ptrdiff_t size) {
        m_in = in;
        return at + size;
    };
    switch (*at) {
    case '"':
    case '\'':
        m_quote = *at;
        m_stringLength = 0;
        if (!isNext(*at) || end - at < 3 || at[2] != *at)
            return enter(In::STRING, 1);
        return m_window.isKnownUnclosed(*at) ? at + 3 : enter(In::LONG_STRING, 3);
    case '#':
        return enter(In::COMMENT, 1);
    case '<':
        return enter(In::IRI, 1);
    case '.':
        if (end - at > 1 && CharacterClass::is(static_cast<uint8_t>(at[1]), CharacterClass::DIGIT))
            return enter(In::NAME, 1);
        m_isSkipping = !isPast || m_depth != 0;
        return at + 1;
    case '{':
        if (isNext('|'))
            return at + 2;
        m_depth += m_hasGraphs ? 1 : 0;
        return at + 1;
    case '|':
        return isNext('}') ? at + 2 : at + 1;
    case '}':
        if (!m_hasGraphs)
            return at + 1;
        if (m_depth == 0) {
            m_isSkipping = !isPast || !m_isInGraph;
            return m_isSkipping ? at + 1 : at;
        }
        --m_depth;
        m_isSkipping = !isPast || m_depth != 0;
        return at + 1;
    default:
        return isNamePart(*at) ? enter(In::NAME, 0) : at + 1;
    }
}

/// Continues the current construct, and records if it ends. Returns the position up to which it is skipped.
const char* StatementSkipper::skipWithin(const char* const at, const char* const end, const bool isLast) {
    switch (m_in) {
    case In::NAME:
        return skipName(at, end, isLast);
    case In::IRI:
        return skipIri(at, end, isLast);
    case In::STRING:
        return skipString(at, end, isLast);
    case In::LONG_STRING:
        return skipLongString(at, end, isLast);
    default: {
        const char* const lineEnd = ByteScan::findLineEnd(at, end);
        if (lineEnd != end)
            m_in = In::STATEMENT;
        return lineEnd;
    }
    }
}

/// Skips a name, word or number. A full stop belongs to it if it continues after that with another character than a
/// full stop.
const char* StatementSkipper::skipName(const char* at, const char* const end, const bool isLast) {
    for (; at != end && isNamePart(*at); ++at) {
        if (*at != '.' && *at != '\\')
            continue;
        if (end - at < 2 && !isLast)
            return at;
        if (*at == '.' && (end - at < 2 || at[1] == '.' || !isNamePart(at[1])))
            break;
        if (*at == '\\' && end - at > 1)
            ++at;
    }
    if (at != end)
        m_in = In::STATEMENT;
    return at;
}

/// Skips an IRI, or its part before a character that is not allowed in IRIs; a full stop before that ends the
/// statement.
const char* StatementSkipper::skipIri(const char* const at, const char* const end, const bool isLast) {
    const char* stop = ByteScan::find<ByteScan::IriStop>(at, end);
    while (stop != end && *stop == '\\')
        stop = ByteScan::find<ByteScan::IriStop>(stop + 1, end);
    if (stop != end || isLast)
        m_in = In::STATEMENT;
    if (stop != end && *stop == '>')
        return stop + 1;
    return stop != at && stop[-1] == '.' ? stop - 1 : stop;
}

/// Skips a string that ends with its quote or with its line.
const char* StatementSkipper::skipString(const char* const at, const char* const end, const bool isLast) {
    const char* const stop = findShortStringEnd(at, end, m_quote);
    if (stop == end || (*stop == '\\' && end - stop < 2))
        return isLast ? end : stop;
    m_in = In::STATEMENT;
    return *stop == m_quote || *stop == '\\' ? stop + 1 : stop;
}

const char* StatementSkipper::skipLongString(const char* const at, const char* const end, const bool isLast) {
    const size_t maximum = m_maximumLength - m_stringLength;
    const bool mayReachMaximum = static_cast<size_t>(end - at) >= maximum;
    const char* const limit = mayReachMaximum ? at + maximum : end;
    const char* const stop = findLongStringEnd(at, limit, m_quote);
    const bool isClosed = limit - stop >= 3;
    if (isClosed || mayReachMaximum) {
        m_in = In::STATEMENT;
        return isClosed ? stop + 3 : limit;
    }
    m_stringLength += static_cast<size_t>(stop - at);
    return isLast ? end : stop;
}

} // namespace Rdf
