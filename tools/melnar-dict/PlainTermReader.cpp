#include "tools/melnar-dict/PlainTermReader.h"

#include "tools/melnar-dict/CodePoint.h"
#include "tools/melnar-dict/NameCharacters.h"

#include "Engine/core/platform/CharacterMaps.h"

#include <algorithm>
#include <array>
#include <bit>
#include <optional>
#include <string_view>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace {

/// The bytes that end a run of ordinary ones within an IRI's angle brackets: the closing one and all that must not be.
struct IriEnd {
    static constexpr CharacterMap MAP = [] {
        CharacterMap map{};
        for (unsigned byte = 0; byte <= ' '; ++byte)
            map[byte] = 1;
        for (const char character : std::string_view("<>\"{}|^`\\"))
            map[static_cast<uint8_t>(character)] = 1;
        return map;
    }();

#if defined(__SSE2__)
    static __m128i find(const __m128i bytes) noexcept {
        const auto all = [](const char byte) { return _mm_set1_epi8(byte); };
        const __m128i isBlankOrControl = _mm_cmpeq_epi8(_mm_min_epu8(bytes, all(' ')), bytes);
        const __m128i isAngle = _mm_cmpeq_epi8(_mm_or_si128(bytes, all('<' ^ '>')), all('>'));
        const __m128i isBackslashOrCaret = _mm_cmpeq_epi8(_mm_or_si128(bytes, all('\\' ^ '^')), all('^'));
        const __m128i beyondBrace = _mm_sub_epi8(bytes, all('{')); // then come the bar and the closing brace
        const __m128i isBraceOrBar = _mm_cmpeq_epi8(_mm_min_epu8(beyondBrace, all('}' - '{')), beyondBrace);
        const __m128i isQuote = _mm_or_si128(_mm_cmpeq_epi8(bytes, all('"')), _mm_cmpeq_epi8(bytes, all('`')));
        return _mm_or_si128(_mm_or_si128(isBlankOrControl, isQuote),
                            _mm_or_si128(isAngle, _mm_or_si128(isBackslashOrCaret, isBraceOrBar)));
    }
#endif
};

/// The same within a string's quotes.
struct StringEnd {
    static constexpr CharacterMap MAP = [] {
        CharacterMap map{};
        for (const char character : std::string_view("\"\\\n\r"))
            map[static_cast<uint8_t>(character)] = 1;
        return map;
    }();

#if defined(__SSE2__)
    static __m128i find(const __m128i bytes) noexcept {
        const auto isEqual = [bytes](const char byte) { return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(byte)); };
        return _mm_or_si128(_mm_or_si128(isEqual('"'), isEqual('\\')), _mm_or_si128(isEqual('\n'), isEqual('\r')));
    }
#endif
};

/// The first byte of this kind, or the end.
template<class Kind>
const char* findFirst(const char* current, const char* const end) noexcept {
#if defined(__SSE2__)
    for (; end - current >= 16; current += 16) {
        const __m128i found = Kind::find(_mm_loadu_si128(reinterpret_cast<const __m128i*>(current)));
        if (const auto mask = static_cast<unsigned>(_mm_movemask_epi8(found)); mask != 0)
            return current + std::countr_zero(mask);
    }
#endif
    while (current != end && Kind::MAP[static_cast<uint8_t>(*current)] == 0)
        ++current;
    return current;
}

bool isIn(const CharacterMap& map, const char character) noexcept {
    return map[static_cast<uint8_t>(character)] != 0;
}

constexpr CharacterMap CHARMAP_SCHEME = [] {
    CharacterMap map = CHARMAP_ALPHANUMERIC;
    map['+'] = map['-'] = map['.'] = 1;
    return map;
}();

constexpr CharacterMap CHARMAP_LABEL_START = [] {
    CharacterMap map = CHARMAP_ALPHANUMERIC;
    map['_'] = 1;
    return map;
}();

/// What the character behind a backslash stands for, 0 when it is not one of these.
constexpr std::array<char, 256> ESCAPED_CHARACTERS = [] {
    std::array<char, 256> characters{};
    characters['t'] = '\t';
    characters['b'] = '\b';
    characters['n'] = '\n';
    characters['r'] = '\r';
    characters['f'] = '\f';
    characters['"'] = '"';
    characters['\''] = '\'';
    characters['\\'] = '\\';
    return characters;
}();

char* writeUtf8(const uint32_t codePoint, char* output) noexcept {
    const auto write = [&output](const uint32_t byte) { *output++ = static_cast<char>(byte); };
    if (codePoint < 0x80)
        write(codePoint);
    else if (codePoint < 0x800) {
        write(0xC0 | codePoint >> 6);
        write(0x80 | (codePoint & 0x3F));
    } else if (codePoint < 0x10000) {
        write(0xE0 | codePoint >> 12);
        write(0x80 | (codePoint >> 6 & 0x3F));
        write(0x80 | (codePoint & 0x3F));
    } else {
        write(0xF0 | codePoint >> 18);
        write(0x80 | (codePoint >> 12 & 0x3F));
        write(0x80 | (codePoint >> 6 & 0x3F));
        write(0x80 | (codePoint & 0x3F));
    }
    return output;
}

void setNode(SerdNode& node, const SerdType type, const char* const begin, const char* const end) noexcept {
    node.buf = reinterpret_cast<const uint8_t*>(begin);
    node.n_bytes = static_cast<size_t>(end - begin);
    node.type = type;
}

} // namespace

void PlainTermReader::reserve(const size_t lengthOfText) {
    if (m_capacity >= lengthOfText)
        return;
    m_unescaped = std::make_unique_for_overwrite<char[]>(lengthOfText);
    m_capacity = lengthOfText;
}

void PlainTermReader::start(const char* const begin, const char* const end) noexcept {
    m_current = begin;
    m_end = end;
    m_unescapedEnd = m_unescaped.get();
}

/// Reads an IRI with a scheme.
bool PlainTermReader::readAbsoluteIri(SerdNode& node) noexcept {
    if (!readIri(node))
        return false;
    const char* const begin = reinterpret_cast<const char*>(node.buf);
    const char* const end = begin + node.n_bytes;
    const char* const schemeEnd =
        std::find_if_not(begin, end, [](const char byte) { return isIn(CHARMAP_SCHEME, byte); });
    return schemeEnd != end && *schemeEnd == ':' && isIn(CHARMAP_ALPHABETIC, *begin);
}

bool PlainTermReader::readIri(SerdNode& node) noexcept {
    if (!isAt('<'))
        return false;
    const char* const iri = m_current + 1;
    m_current = findFirst<IriEnd>(iri, m_end);
    if (!isAt('>'))
        return false;
    setNode(node, SERD_URI, iri, m_current);
    ++m_current;
    return true;
}

bool PlainTermReader::readLabel(SerdNode& node) noexcept {
    if (m_end - m_current < 4 || m_current[0] != '_' || m_current[1] != ':' || !isIn(CHARMAP_LABEL_START, m_current[2]))
        return false;
    const char* const label = m_current + 2;
    m_current = std::find_if_not(label + 1, m_end, [](const char byte) { return isIn(CHARMAP_PLAIN_NAME, byte); });
    setNode(node, SERD_BLANK, label, m_current);
    return true;
}

/// Reads a string, from its opening quote on.
bool PlainTermReader::readString(SerdNode& node) noexcept {
    const char* const text = m_current + 1;
    m_current = findFirst<StringEnd>(text, m_end);
    if (isAt('"'))
        setNode(node, SERD_LITERAL, text, m_current);
    else {
        char* const unescaped = m_unescapedEnd;
        m_unescapedEnd = std::copy(text, m_current, unescaped);
        while (isAt('\\')) {
            if (!readEscapes())
                return false;
            const char* const run = m_current;
            m_current = findFirst<StringEnd>(run, m_end);
            m_unescapedEnd = std::copy(run, m_current, m_unescapedEnd);
        }
        if (!isAt('"'))
            return false;
        setNode(node, SERD_LITERAL, unescaped, m_unescapedEnd);
    }
    ++m_current;
    return true;
}

/// Reads a long string, from its first quote on, and counts its line feeds.
bool PlainTermReader::readLongString(SerdNode& node, uint64_t& line) noexcept {
    constexpr std::string_view QUOTES = "\"\"\"";
    char* const unescaped = m_unescapedEnd;
    m_current += QUOTES.size();
    for (;;) {
        const char* const run = m_current;
        m_current = findFirst<StringEnd>(run, m_end);
        m_unescapedEnd = std::copy(run, m_current, m_unescapedEnd);
        if (std::string_view(m_current, m_end).starts_with(QUOTES))
            break;
        if (m_current == m_end)
            return false;
        if (*m_current == '\\') {
            if (!readEscapes())
                return false;
        } else {
            line += *m_current == '\n' ? 1 : 0;
            *m_unescapedEnd++ = *m_current++;
        }
    }
    setNode(node, SERD_LITERAL, unescaped, m_unescapedEnd);
    m_current += QUOTES.size();
    return true;
}

/// Reads escapes as long as one follows the other, which is how texts beyond ASCII are often written.
bool PlainTermReader::readEscapes() noexcept {
    do {
        if (m_end - m_current < 2)
            return false;
        const char kind = m_current[1];
        m_current += 2;
        if (kind == 'u' || kind == 'U') {
            const unsigned numberOfDigits = kind == 'u' ? 4 : 8;
            if (m_end - m_current < numberOfDigits)
                return false;
            const std::optional<uint32_t> codePoint = parseHexadecimalDigits(m_current, numberOfDigits);
            if (!codePoint || isSurrogate(*codePoint) || *codePoint > LAST_CODE_POINT)
                return false;
            m_current += numberOfDigits;
            m_unescapedEnd = writeUtf8(*codePoint, m_unescapedEnd);
        } else {
            *m_unescapedEnd = ESCAPED_CHARACTERS[static_cast<uint8_t>(kind)];
            if (*m_unescapedEnd++ == 0)
                return false;
        }
    } while (isAt('\\'));
    return true;
}

/// Reads a tag, from its '@' on.
bool PlainTermReader::readTag(SerdNode& node) noexcept {
    const char* const tag = m_current + 1;
    m_current = std::find_if_not(tag, m_end, [](const char byte) { return isIn(CHARMAP_ALPHABETIC, byte); });
    if (m_current == tag)
        return false;
    while (isAt('-'))
        m_current =
            std::find_if_not(m_current + 1, m_end, [](const char byte) { return isIn(CHARMAP_ALPHANUMERIC, byte); });
    setNode(node, SERD_LITERAL, tag, m_current);
    return true;
}
