#include "Reader/StatementSkipper.h"

#include "Reader/ByteScan.h"
#include "Reader/CharacterClass.h"
#include "Reader/QuotedString.h"

namespace Rdf {

namespace {

using ByteScan::AnyOf;
using ByteScan::find;

bool isNamePart(const char character) noexcept {
    const auto byte = static_cast<uint8_t>(character);
    return CharacterClass::is(byte, CharacterClass::LOCAL_NAME) || byte >= 0x80 || byte == '%' || byte == '\\';
}

/// Returns where a name, word or number ends; a full stop at its end belongs to the statement.
const char* skipName(const char* const begin, const char* const end) noexcept {
    const char* at = begin;
    const char* unescaped = begin;
    while (at != end && isNamePart(*at)) {
        const bool isEscape = *at == '\\';
        at += isEscape && end - at > 1 ? 2 : 1;
        if (isEscape)
            unescaped = at;
    }
    if (at != end)
        while (at > unescaped && at[-1] == '.')
            --at;
    return at;
}

} // namespace

void StatementSkipper::start(const size_t distance, const bool hasGraphs, const bool isInGraph) noexcept {
    m_isSkipping = true;
    m_hasGraphs = hasGraphs;
    m_isInGraph = isInGraph;
    m_distance = distance;
    m_depth = 0;
}

const char* StatementSkipper::skip(const char* at, const char* const end, const bool isLast) {
    const char* const failure = at + m_distance;
    while (at != end) {
        const char* const next = skipToken(at, end, isLast);
        if (next == nullptr)
            break;
        const bool isPast = at >= failure;
        if (next - at == 1) {
            const bool isBrace = m_hasGraphs && (*at == '{' || *at == '}');
            if (isBrace && *at == '}' && m_depth == 0 && m_isInGraph && isPast) {
                m_isSkipping = false;
                return at;
            }
            const bool closesGraph = isBrace && *at == '}' && m_depth == 1;
            if (isBrace)
                m_depth = *at == '{' ? m_depth + 1 : m_depth - (m_depth != 0 ? 1 : 0);
            if (isPast && m_depth == 0 && (*at == '.' || closesGraph)) {
                m_isSkipping = false;
                return next;
            }
        }
        at = next;
    }
    m_distance = at < failure ? static_cast<size_t>(failure - at) : 0;
    m_isSkipping = !isLast;
    return at;
}

/// Returns the end of what starts here, or null if more text is needed to tell.
const char* StatementSkipper::skipToken(const char* const at, const char* const end, const bool isLast) {
    const auto cut = [&](const char* const tokenEnd) { return tokenEnd == end && !isLast ? nullptr : tokenEnd; };
    switch (*at) {
    case '"':
    case '\'':
        return skipString(at, end, isLast);
    case '#':
        return cut(find<AnyOf<'\n', '\r'>>(at, end));
    case '<': {
        const char* stop = find<ByteScan::IriStop>(at + 1, end);
        while (stop != end && *stop == '\\')
            stop = find<ByteScan::IriStop>(stop + 1, end);
        return stop != end ? (*stop == '>' ? stop + 1 : at + 1) : isLast ? at + 1 : nullptr;
    }
    case '{':
    case '|':
        if (end - at < 2)
            return cut(end);
        return at[1] == (*at == '{' ? '|' : '}') ? at + 2 : at + 1;
    case '.':
        if (end - at < 2)
            return cut(end);
        if (!CharacterClass::is(static_cast<uint8_t>(at[1]), CharacterClass::DIGIT))
            return at + 1;
        return cut(skipName(at, end));
    default:
        return isNamePart(*at) ? cut(skipName(at, end)) : at + 1;
    }
}

const char* StatementSkipper::skipString(const char* const at, const char* const end, const bool isLast) {
    const bool isDouble = *at == '"';
    if (end - at < 3 && !isLast)
        return nullptr;
    if (end - at >= 3 && at[1] == *at && at[2] == *at) {
        if (m_isKnownUnclosed[isDouble])
            return at + 3;
        const char* const closing = findLongStringEnd(at + 3, end, *at);
        if (closing != end)
            return closing + 3;
        m_isKnownUnclosed[isDouble] = isLast;
        return isLast ? at + 3 : nullptr;
    }
    const char* const stop = findShortStringEnd(at + 1, end, *at);
    if (stop != end && *stop == *at)
        return stop + 1;
    const char* const stringEnd = stop != end && *stop == '\\' ? stop + 1 : stop;
    return stringEnd == end && !isLast ? nullptr : stringEnd;
}

} // namespace Rdf
