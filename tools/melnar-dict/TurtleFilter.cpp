#include "tools/melnar-dict/TurtleFilter.h"

#include "tools/melnar-dict/Escapes.h"
#include "tools/melnar-dict/Keyword.h"
#include "tools/melnar-dict/NameCharacters.h"
#include "tools/melnar-dict/TurtleNumber.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace {

constexpr size_t LONGEST_ESCAPE = 10;

bool isSpace(const char character) noexcept {
    return character == ' ' || character == '\n' || character == '\t' || character == '\r';
}

bool startsName(const char character) noexcept {
    return character == ':' || CHARMAP_ALPHABETIC[static_cast<uint8_t>(character)] != 0 ||
           static_cast<uint8_t>(character) >= 0x80;
}

bool isTagByte(const char character) noexcept {
    return character == '-' || CHARMAP_ALPHANUMERIC[static_cast<uint8_t>(character)] != 0;
}

} // namespace

void TurtleFilter::restart(const uint64_t line) {
    m_fault.reset();
    m_line = line;
    m_before = Before::STATEMENT;
    m_suffix = Suffix::NONE;
    m_heldLineFeeds = 0;
    m_holdsSpace = false;
    m_quote = 0;
    m_nesting = 0;
    m_isInGraph = false;
    m_declaresPrefix = false;
}

std::optional<TurtleFilter::Fault> TurtleFilter::filter(const std::string_view text, std::string& output,
                                                        std::vector<uint64_t>& literalLines) {
    setText(text, output, literalLines);
    while (m_current != m_end && !m_fault)
        takeNext();
    return m_fault;
}

std::optional<TurtleFilter::Fault> TurtleFilter::filterStatement(std::string_view& text, std::string& output,
                                                                 std::vector<uint64_t>& literalLines) {
    setText(text, output, literalLines);
    while (m_current != m_end && !m_fault && !m_isBehindFullStop)
        takeNext();
    text.remove_prefix(static_cast<size_t>(m_current - text.data()));
    return m_fault;
}

void TurtleFilter::setText(const std::string_view text, std::string& output,
                           std::vector<uint64_t>& literalLines) noexcept {
    m_current = text.data();
    m_end = text.data() + text.size();
    m_output = &output;
    m_literalLines = &literalLines;
    m_isBehindFullStop = false;
}

void TurtleFilter::takeNext() {
    if (m_quote != 0)
        takeString();
    else
        takeToken();
}

void TurtleFilter::takeToken() {
    const char first = *m_current;
    if (isSpace(first))
        takeSpace();
    else if (first == '#')
        takeComment();
    else if (m_suffix == Suffix::STRING && first == '@')
        takeAtSign();
    else if (m_suffix == Suffix::STRING && first == '^' && peek(1) == '^')
        takeCaret();
    else if (m_suffix == Suffix::CARETS && (first == '<' || startsName(first))) {
        takeTokenProper();
        endSuffix();
    } else {
        endSuffix();
        takeTokenProper();
    }
}

void TurtleFilter::takeTokenProper() {
    const char first = *m_current;
    if (startsName(first))
        takeName();
    else if (first == '<')
        takeIri();
    else if (first == '"' || first == '\'')
        takeStringStart();
    else if (first == '_' && peek(1) == ':')
        takeLabel();
    else if (first == '@')
        takeAtSign();
    else if (const char* const numberEnd = findNumberEnd(m_current, m_end); numberEnd != m_current)
        takeNumber(numberEnd);
    else if (first != 0 && std::strchr("[](){}", first) != nullptr)
        takeBracket(first);
    else
        takePunctuation(first);
}

void TurtleFilter::takeSpace() {
    const char* const end = std::find_if_not(m_current, m_end, isSpace);
    const auto lineFeeds = static_cast<uint64_t>(std::count(m_current, end, '\n'));
    m_line += lineFeeds;
    if (m_suffix == Suffix::NONE)
        copyTo(end);
    else {
        m_heldLineFeeds += lineFeeds;
        m_holdsSpace = true;
        m_current = end;
    }
}

void TurtleFilter::takeComment() {
    m_current = std::find_if(m_current, m_end, [](const char byte) { return byte == '\n' || byte == '\r'; });
}

void TurtleFilter::takeIri() {
    const char* const end = std::find_if(
        m_current, m_end, [](const char byte) { return byte == '>' || static_cast<uint8_t>(byte) <= ' '; });
    if (const char* const cause = findFaultInIri({m_current, end}))
        return fail(cause);
    copyTo(end == m_end || *end != '>' ? end : end + 1);
    m_before = m_before == Before::DIRECTIVE ? Before::STATEMENT : Before::OTHER;
}

void TurtleFilter::takeStringStart() {
    const char quote = *m_current;
    m_literalLines->push_back(m_line);
    m_before = Before::OTHER;
    if (peek(1) == quote && peek(2) != quote) {
        copyTo(m_current + 2);
        m_suffix = Suffix::STRING;
        return;
    }
    m_quote = quote;
    m_isLongString = peek(1) == quote;
    copyTo(m_current + (m_isLongString ? 3 : 1));
}

void TurtleFilter::takeString() {
    const char* const special = std::find_if(m_current, m_end, [this](const char byte) {
        return byte == m_quote || byte == '\\' || byte == '\n' || byte == '\r';
    });
    copyTo(special);
    if (special == m_end)
        return;
    if (*special == '\\')
        takeEscapeInString();
    else if (*special == m_quote)
        m_isLongString ? takeQuoteInLongString() : endString();
    else if (m_isLongString) {
        m_line += *special == '\n' ? 1 : 0;
        copyTo(special + 1);
    } else
        m_quote = 0; // the line end is serd's to refuse
}

void TurtleFilter::takeQuoteInLongString() {
    if (peek(1) == m_quote && peek(2) == m_quote) {
        copyTo(m_current + 2);
        endString();
        return;
    }
    m_output->push_back('\\');
    copyTo(m_current + 1);
}

void TurtleFilter::takeEscapeInString() {
    const size_t length = std::min(LONGEST_ESCAPE, static_cast<size_t>(m_end - m_current));
    const bool isNumeric = peek(1) == 'u' || peek(1) == 'U';
    if (const char* const cause = isNumeric ? findFaultInString({m_current, length}) : nullptr)
        return fail(cause);
    copyTo(m_current + (length == 1 || isSpace(peek(1)) ? 1 : 2));
}

/// Takes the closing quote.
void TurtleFilter::endString() {
    copyTo(m_current + 1);
    m_quote = 0;
    m_suffix = Suffix::STRING;
}

void TurtleFilter::takeAtSign() {
    const char* const end = std::find_if_not(m_current + 1, m_end, isTagByte);
    const std::string_view word(m_current + 1, end);
    if (m_suffix == Suffix::NONE) {
        m_declaresPrefix = word == "prefix";
        if (word != "prefix" && word != "base" && (word.starts_with("prefix") || word.starts_with("base")))
            return fail("unknown directive '@" + std::string(word) + "'");
    }
    copyTo(end);
    endSuffix();
    m_before = Before::OTHER;
}

void TurtleFilter::takeCaret() {
    copyTo(m_current + 2);
    m_suffix = Suffix::CARETS;
}

void TurtleFilter::takeNumber(const char* const end) {
    m_literalLines->push_back(m_line);
    copyTo(end);
    separate();
    m_before = Before::OTHER;
}

void TurtleFilter::takeLabel() {
    const char* const label = m_current + 2;
    const char* end = std::find_if_not(label, m_end, isNameByte);
    while (end != label && end[-1] == '.')
        --end;
    if (end == label || !startsBlankNodeLabel(label))
        return fail("a blank node has no label or a wrong one");
    // With one letter more in front, no label looks like those that serd makes itself.
    m_output->append("_:x");
    m_current = label;
    copyTo(end);
    separate();
    m_before = Before::OTHER;
}

void TurtleFilter::takeName() {
    const char* end = m_current;
    while (end != m_end && (isNameByte(*end) || *end == ':' || *end == '%' || *end == '\\'))
        end += *end == '\\' && m_end - end > 1 && !isSpace(end[1]) ? 2 : 1;
    while (end - m_current > 1 && end[-1] == '.' && end[-2] != '\\')
        --end;
    const std::string_view name(m_current, end);
    const size_t colon = name.find(':');
    if (colon == std::string_view::npos)
        takeWord(name);
    else
        takePrefixedName(name, colon);
    if (m_fault)
        return;
    copyTo(end);
    if (m_suffix == Suffix::NONE)
        separate();
    else
        m_holdsSpace = true;
}

void TurtleFilter::takeWord(const std::string_view word) {
    const bool startsStatement = std::exchange(m_before, Before::OTHER) == Before::STATEMENT;
    const bool isPrefix = isKeyword(word, "prefix");
    if (word == "true" || word == "false")
        m_literalLines->push_back(m_line);
    if (!startsStatement)
        return;
    if (isPrefix || isKeyword(word, "base")) {
        m_before = Before::DIRECTIVE;
        m_declaresPrefix = isPrefix;
    } else if (!isKeyword(word, "graph"))
        fail("expected a subject instead of '" + std::string(word) + "'");
}

void TurtleFilter::takePrefixedName(const std::string_view name, const size_t colon) {
    const std::string_view prefix = name.substr(0, colon);
    if (std::exchange(m_declaresPrefix, false))
        m_prefixes.emplace(prefix);
    else {
        m_before = Before::OTHER;
        if (!isDeclared(prefix))
            return fail("the prefix '" + std::string(prefix) + ":' has not been declared");
    }
    if (looksLikeBoolean(prefix))
        m_output->push_back('x');
}

bool TurtleFilter::looksLikeBoolean(std::string_view prefix) noexcept {
    prefix.remove_prefix(std::min(prefix.find_first_not_of('x'), prefix.size()));
    return prefix.starts_with("true") || prefix.starts_with("false");
}

bool TurtleFilter::isDeclared(const std::string_view prefix) {
    if (m_lastPrefix != prefix && m_prefixes.contains(std::string(prefix)))
        m_lastPrefix = prefix;
    return m_lastPrefix == prefix;
}

void TurtleFilter::takeBracket(const char bracket) {
    const bool endsEmptyNode = bracket == ']' && m_before == Before::EMPTY_BRACKET;
    const bool isEmptyStatement = bracket == '}' && m_before == Before::EMPTY_NODE;
    if (isEmptyStatement)
        return fail("expected a predicate");
    if (bracket == '{' || bracket == '}') {
        if (!m_graphsAllowed)
            return fail("Turtle has no graphs");
        if (bracket == '}' && !m_isInGraph)
            return fail("'}' without '{'");
        m_isInGraph = bracket == '{';
        m_before = Before::STATEMENT;
    } else if (bracket == '[' || bracket == '(') {
        if (++m_nesting > MAXIMUM_NESTING)
            return fail("brackets are nested too deeply");
        m_before = bracket == '[' && m_before == Before::STATEMENT ? Before::EMPTY_BRACKET : Before::OTHER;
    } else {
        m_nesting -= m_nesting == 0 ? 0 : 1;
        m_before = endsEmptyNode ? Before::EMPTY_NODE : Before::OTHER;
    }
    copyTo(m_current + 1);
}

void TurtleFilter::takePunctuation(const char punctuation) {
    if (punctuation == '=' || punctuation == 0)
        return fail(punctuation == 0 ? "a zero byte" : "unexpected '='");
    if (punctuation == '.' && m_before == Before::EMPTY_NODE)
        return fail("expected a predicate");
    m_before = punctuation == '.' ? Before::STATEMENT : Before::OTHER;
    m_declaresPrefix = false;
    m_isBehindFullStop = punctuation == '.' && m_nesting == 0;
    copyTo(m_current + 1);
}

/// Gives out the space that stood within the literal that ends here.
void TurtleFilter::endSuffix() {
    if (m_heldLineFeeds != 0)
        m_output->append(std::exchange(m_heldLineFeeds, 0), '\n');
    else if (m_holdsSpace)
        m_output->push_back(' ');
    m_holdsSpace = false;
    m_suffix = Suffix::NONE;
}

void TurtleFilter::copyTo(const char* const end) {
    m_output->append(m_current, static_cast<size_t>(end - m_current));
    m_current = end;
}

/// Keeps serd from reading on into the next token.
void TurtleFilter::separate() {
    if (m_current != m_end && !isSpace(*m_current))
        m_output->push_back(' ');
}

char TurtleFilter::peek(const size_t distance) const noexcept {
    return static_cast<size_t>(m_end - m_current) > distance ? m_current[distance] : '\0';
}

void TurtleFilter::fail(std::string cause) {
    m_fault = {m_line, std::move(cause)};
}
