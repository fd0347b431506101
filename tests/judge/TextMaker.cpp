#include "tests/judge/TextMaker.h"

#include "tests/judge/Utf32.h"

#include <algorithm>
#include <cctype>
#include <limits>
#include <vector>

namespace {

using Kind = EbnfExpression::Kind;

constexpr size_t DEEPEST = 12; // from which the shortest expansions are taken
constexpr size_t UNKNOWN = std::numeric_limits<size_t>::max() / 4;

/// Texts for rules of terminals that random choices would hardly ever make meaningful.
const std::map<std::string, std::vector<std::string>, std::less<>> LIKELY_TEXTS{
    {"IRIREF", {"<a:s>", "<a:s>", "<http://e.example/x?q#f>", "<u:\\u00E4\xC3\xA4>", "<a:b/../c>", "<a:%41>"}},
    {"PNAME_NS", {":", "x:", "x:", "y.z:"}},
    {"UCHAR", {"\\u00E4", "\\U0001F600", "\\uFFFF", "\\U0010FFFF", "\\u0061"}},
};

// More texts for Turtle and TriG.
const std::vector<std::string> RELATIVE_IRIS{"<>", "<#f>", "<../x>", "<?q>", "<//h/p>", "<./a/./b>", "<c:>", "</..>"};

const std::string PROLOGUE = "@prefix : <u:> .\nPREFIX x: <http://x.example/y#>\n@prefix y.z: <v:w> . ";

bool isLower(const std::string& name) {
    return std::any_of(name.begin(), name.end(), [](const unsigned char c) { return std::islower(c) != 0; });
}

const std::string& choose(const std::vector<std::string>& texts, std::mt19937& random) {
    return texts[random() % texts.size()];
}

} // namespace

TextMaker::TextMaker(const EbnfRules& rules, const bool hasPrefixes) : m_rules(rules), m_hasPrefixes(hasPrefixes) {
    for (const auto& [name, expression] : rules)
        m_costs[name] = UNKNOWN;
    for (bool hasChanged = true; hasChanged;) {
        hasChanged = false;
        for (const auto& [name, expression] : rules) {
            const size_t cost = std::min(getCost(expression), UNKNOWN);
            hasChanged |= cost != m_costs[name];
            m_costs[name] = cost;
        }
    }
}

size_t TextMaker::getCost(const EbnfExpression& expression) const {
    if (expression.m_kind == Kind::NAME && isLower(expression.m_text))
        return m_costs.at(expression.m_text);
    if (expression.m_parts.empty())
        return 1;
    if (expression.m_kind == Kind::REPEATED)
        return expression.m_isOptional ? 0 : getCost(expression.m_parts.front());
    size_t sum = 0;
    size_t least = UNKNOWN;
    for (const EbnfExpression& part : expression.m_parts) {
        sum += getCost(part);
        least = std::min(least, getCost(part));
    }
    return expression.m_kind == Kind::CHOICE ? least : sum;
}

std::string TextMaker::make(Random& random) const {
    std::string text = m_hasPrefixes && random() % 32 != 0 ? PROLOGUE : "";
    for (size_t count = 1 + random() % 3; count != 0; --count)
        derive(m_rules.at("document"), 0, random, text);
    return text;
}

void TextMaker::derive(const EbnfExpression& expression, const size_t depth, Random& random, std::string& text) const {
    const bool isShort = depth > DEEPEST;
    switch (expression.m_kind) {
    case Kind::NAME:
        if (isLower(expression.m_text))
            return derive(m_rules.at(expression.m_text), depth + 1, random, text);
        [[fallthrough]];
    case Kind::TEXT:
    case Kind::CHARACTERS:
        return appendTerminal(expression, random, text);
    case Kind::SEQUENCE:
        for (const EbnfExpression& part : expression.m_parts)
            derive(part, depth, random, text);
        return;
    case Kind::CHOICE: {
        const EbnfExpression* part = &expression.m_parts[random() % expression.m_parts.size()];
        if (isShort)
            part = &*std::min_element(expression.m_parts.begin(), expression.m_parts.end(),
                                      [&](const EbnfExpression& left, const EbnfExpression& right) {
                                          return getCost(left) < getCost(right);
                                      });
        return derive(*part, depth, random, text);
    }
    case Kind::REPEATED: {
        size_t count = expression.m_isOptional ? 0 : 1;
        if (!isShort)
            count += random() % (expression.m_isEndless ? 3 : 2);
        for (; count != 0; --count)
            derive(expression.m_parts.front(), depth, random, text);
    }
    }
}

void TextMaker::appendTerminal(const EbnfExpression& expression, Random& random, std::string& text) const {
    if (expression.m_text == "IRIREF" && m_hasPrefixes && random() % 4 == 0)
        text += choose(RELATIVE_IRIS, random);
    else
        match(expression, random, text);
    switch (random() % 24) {
    case 0:
    case 1:
    case 2:
        break; // nothing, so that two terminals may become one
    case 3:
        text += "\t ";
        break;
    case 4:
        text += m_hasPrefixes ? "\r\n" : "  ";
        break;
    case 5:
        text += m_hasPrefixes ? "# c ] ' \xC3\xA4\n" : "\t";
        break;
    default:
        text += ' ';
    }
}

/// Appends a text that a terminal matches.
void TextMaker::match(const EbnfExpression& expression, Random& random, std::string& text) const {
    switch (expression.m_kind) {
    case Kind::NAME: {
        const auto likely = LIKELY_TEXTS.find(expression.m_text);
        if (likely == LIKELY_TEXTS.end() || random() % 16 == 0)
            return match(m_rules.at(expression.m_text), random, text);
        text += choose(likely->second, random);
        return;
    }
    case Kind::TEXT:
        for (const char character : expression.m_text)
            text += expression.m_ignoresCase && random() % 4 == 0
                        ? static_cast<char>(std::tolower(static_cast<unsigned char>(character)))
                        : character;
        return;
    case Kind::CHARACTERS: {
        const CharacterRange& range = expression.m_ranges[random() % expression.m_ranges.size()];
        const auto size = range.m_last - range.m_first + 1;
        char32_t character = range.m_first + static_cast<char32_t>(random() % size);
        if (random() % 256 == 0)
            character = random() % 2 == 0 && range.m_first != 0 ? range.m_first - 1 : range.m_last + 1;
        else if (random() % 8 == 0)
            character = random() % 2 == 0 ? range.m_first : range.m_last;
        else if (range.m_first < 0x80) // rarely more than ASCII if a set contains nearly everything
            character =
                range.m_first + static_cast<char32_t>(random() % std::min<char32_t>(size, 0x80 - range.m_first));
        if ((character >= 0xD800 && character <= 0xDFFF) || character > 0x10FFFF)
            character = 0xFFFD;
        text += toUtf8({&character, 1});
        return;
    }
    case Kind::SEQUENCE:
        for (const EbnfExpression& part : expression.m_parts)
            match(part, random, text);
        return;
    case Kind::CHOICE:
        return match(expression.m_parts[random() % expression.m_parts.size()], random, text);
    case Kind::REPEATED: {
        size_t count = expression.m_isOptional ? 0 : 1;
        count += random() % (expression.m_isEndless ? 4 : 2);
        for (; count != 0; --count)
            match(expression.m_parts.front(), random, text);
    }
    }
}
