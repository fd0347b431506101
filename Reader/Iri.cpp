#include "Reader/Iri.h"

#include "Reader/QuotedString.h"
#include "Reader/Utf8.h"

#include <algorithm>

namespace Rdf {

namespace {

size_t findAuthorityEnd(const std::string_view iri, const size_t begin) noexcept {
    if (iri.substr(begin, 2) != "//")
        return begin;
    return std::min(iri.find_first_of("/?#", begin + 2), iri.size());
}

/// Appends a path without its segments "." and "..", which it removes together with the segments that ".." refers to.
/// Nothing of the output before its present end is removed.
void appendWithoutDotSegments(std::string_view path, std::string& output) {
    const size_t begin = output.size();
    const auto startsWithSegment = [&](const std::string_view dots) {
        return path.starts_with(dots) && (path.size() == dots.size() || path[dots.size()] == '/');
    };
    while (startsWithSegment("..") || startsWithSegment("."))
        path.remove_prefix(std::min(path.find('/'), path.size() - 1) + 1);
    while (!path.empty()) {
        const bool isUp = startsWithSegment("/..");
        if (isUp || startsWithSegment("/.")) {
            if (isUp) {
                const size_t slash = output.rfind('/');
                output.resize(slash == std::string::npos ? begin : std::max(begin, slash));
            }
            path.remove_prefix(isUp ? 3 : 2);
            if (path.empty())
                output += '/';
            continue;
        }
        const size_t size = std::min(path.find('/', 1), path.size());
        output.append(path.substr(0, size));
        path.remove_prefix(size);
    }
}

} // namespace

const char* readEscapedIriReference(TextWindow& window, const char* const opening, const char* stop,
                                    std::string_view& iri) {
    const char* begin = opening + 1;
    const char* const closing = ByteScan::find<ByteScan::AnyOf<'>', '\n'>>(begin, window.getEnd());
    char* const text = window.getArena().allocate(static_cast<size_t>(closing - begin));
    char* output = text;
    for (;;) {
        output = std::copy(begin, stop, output);
        const int byte = window.peek(stop);
        if (byte == '>')
            break;
        if (byte == TextWindow::END || byte == '\n' || byte == '\r')
            return window.failUnclosed(opening, "IRI", stop, "'>'");
        const int kind = byte == '\\' ? window.peek(stop + 1) : TextWindow::END;
        if (kind != 'u' && kind != 'U')
            return window.failExpected(stop, "a character of an IRI or '>'");
        uint32_t character;
        const char* const escapeEnd = readUnicodeEscape(window, stop, character);
        if (escapeEnd == nullptr)
            return nullptr;
        if (character < 0x80 && ByteScan::IriStop::matches(static_cast<uint8_t>(character)))
            return window.fail(stop, "expected a character that an IRI can hold, found '" +
                                         std::string(stop, escapeEnd) + "'");
        output = Utf8::encode(character, output);
        begin = escapeEnd;
        stop = ByteScan::find<ByteScan::IriStop>(begin, closing);
    }
    iri = std::string_view(text, static_cast<size_t>(output - text));
    return stop + 1;
}

void IriResolver::setBase(const std::string_view base) {
    m_base = base;
    if (base.empty())
        return;
    m_schemeEnd = base.find(':') + 1;
    m_authorityEnd = findAuthorityEnd(base, m_schemeEnd);
    m_pathEnd = std::min(base.find_first_of("?#", m_authorityEnd), base.size());
    m_queryEnd = std::min(base.find('#', m_pathEnd), base.size());
}

std::string_view IriResolver::resolve(const std::string_view reference, TextArena& arena) const {
    const std::string_view base = m_base;
    const size_t authorityEnd = findAuthorityEnd(reference, 0);
    const size_t pathEnd = std::min(reference.find_first_of("?#", authorityEnd), reference.size());
    const std::string_view path = reference.substr(authorityEnd, pathEnd - authorityEnd);
    std::string result;
    if (authorityEnd != 0) {
        result = base.substr(0, m_schemeEnd);
        result += reference.substr(0, authorityEnd);
        appendWithoutDotSegments(path, result);
    } else if (path.empty()) {
        result = base.substr(0, reference.starts_with('?') ? m_pathEnd : m_queryEnd);
    } else {
        result = base.substr(0, m_authorityEnd);
        const std::string_view basePath = base.substr(m_authorityEnd, m_pathEnd - m_authorityEnd);
        std::string merged;
        if (path.front() == '/')
            merged = path;
        else if (basePath.empty() && m_authorityEnd != m_schemeEnd)
            merged.append("/").append(path);
        else
            merged.append(basePath.substr(0, basePath.rfind('/') + 1)).append(path);
        appendWithoutDotSegments(merged, result);
    }
    result += reference.substr(pathEnd);
    char* const text = arena.allocate(result.size());
    std::copy(result.begin(), result.end(), text);
    return {text, result.size()};
}

} // namespace Rdf
