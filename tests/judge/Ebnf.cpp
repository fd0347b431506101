#include "tests/judge/Ebnf.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <utility>

namespace {

using Kind = EbnfExpression::Kind;

constexpr char32_t LAST_CHARACTER = 0x10FFFF;

class RuleReader {
public:
    explicit RuleReader(const std::string_view text) : m_text(text) {}

    void readRule(EbnfRules& rules) {
        const std::string name = readName();
        skipSpace();
        require(name != "" && m_text.substr(m_at, 3) == "::=");
        m_at += 3;
        rules[name] = readChoice();
        require(m_at == m_text.size());
    }

private:
    void require(const bool isRight) const {
        if (!isRight)
            throw std::runtime_error("no rule, from byte " + std::to_string(m_at) + ": " + std::string(m_text));
    }

    void skipSpace() {
        while (isAt(' ') || isAt('\n'))
            ++m_at;
    }

    bool isAt(const char character) const { return m_at < m_text.size() && m_text[m_at] == character; }

    bool take(const char character) {
        const bool isThere = isAt(character);
        m_at += isThere;
        return isThere;
    }

    std::string readName() {
        const size_t begin = m_at;
        while (m_at < m_text.size() && (std::isalnum(static_cast<unsigned char>(m_text[m_at])) != 0 || isAt('_')))
            ++m_at;
        return std::string(m_text.substr(begin, m_at - begin));
    }

    EbnfExpression readChoice() {
        EbnfExpression choice{Kind::CHOICE};
        do
            choice.m_parts.push_back(readSequence());
        while (take('|'));
        return choice.m_parts.size() == 1 ? std::move(choice.m_parts.front()) : choice;
    }

    EbnfExpression readSequence() {
        EbnfExpression sequence{Kind::SEQUENCE};
        for (skipSpace(); m_at < m_text.size() && !isAt('|') && !isAt(')'); skipSpace())
            sequence.m_parts.push_back(readRepeated());
        require(!sequence.m_parts.empty());
        return sequence.m_parts.size() == 1 ? std::move(sequence.m_parts.front()) : sequence;
    }

    EbnfExpression readRepeated() {
        EbnfExpression part = readPart();
        const char sign = m_at < m_text.size() ? m_text[m_at] : ' ';
        if (sign != '?' && sign != '*' && sign != '+')
            return part;
        ++m_at;
        EbnfExpression repeated{Kind::REPEATED};
        repeated.m_parts.push_back(std::move(part));
        repeated.m_isOptional = sign != '+';
        repeated.m_isEndless = sign != '?';
        return repeated;
    }

    EbnfExpression readPart() {
        if (take('(')) {
            EbnfExpression inner = readChoice();
            require(take(')'));
            return inner;
        }
        if (take('['))
            return readCharacters();
        if (isAt('\'') || isAt('"')) {
            EbnfExpression text{Kind::TEXT};
            text.m_ignoresCase = isAt('"');
            const size_t end = m_text.find(m_text[m_at], m_at + 1);
            require(end != std::string_view::npos);
            text.m_text = m_text.substr(m_at + 1, end - m_at - 1);
            m_at = end + 1;
            return text;
        }
        if (isAt('#')) {
            const char32_t character = readCharacter();
            EbnfExpression characters{Kind::CHARACTERS};
            characters.m_ranges = {{character, character}};
            return characters;
        }
        EbnfExpression name{Kind::NAME};
        name.m_text = readName();
        require(name.m_text != "");
        return name;
    }

    char32_t readCharacter() {
        require(m_at < m_text.size());
        if (m_text.substr(m_at, 2) != "#x")
            return static_cast<unsigned char>(m_text[m_at++]);
        size_t digits = 0;
        const unsigned long number = std::stoul(std::string(m_text.substr(m_at + 2, 6)), &digits, 16);
        m_at += 2 + digits;
        return static_cast<char32_t>(number);
    }

    EbnfExpression readCharacters() {
        EbnfExpression characters{Kind::CHARACTERS};
        const bool isInverted = take('^');
        while (!isAt(']')) {
            const char32_t first = readCharacter();
            const bool isRange = isAt('-') && m_at + 1 < m_text.size() && m_text[m_at + 1] != ']';
            m_at += isRange;
            characters.m_ranges.push_back({first, isRange ? readCharacter() : first});
        }
        ++m_at;
        if (isInverted)
            invert(characters.m_ranges);
        return characters;
    }

    static void invert(std::vector<CharacterRange>& ranges) {
        std::sort(ranges.begin(), ranges.end(),
                  [](const CharacterRange& left, const CharacterRange& right) { return left.m_first < right.m_first; });
        std::vector<CharacterRange> others;
        char32_t next = 0;
        for (const CharacterRange& range : ranges) {
            if (range.m_first > next)
                others.push_back({next, range.m_first - 1});
            next = std::max<char32_t>(next, range.m_last + 1);
        }
        others.push_back({next, LAST_CHARACTER});
        ranges = others;
    }

    const std::string_view m_text;
    size_t m_at = 0;
};

} // namespace

void readEbnf(const std::string_view text, EbnfRules& rules) {
    for (size_t begin = 0, end = 0; begin < text.size(); begin = end) {
        end = begin;
        do
            end = std::min(text.find('\n', end), text.size() - 1) + 1;
        while (end < text.size() && text[end] == ' ');
        std::string_view rule = text.substr(begin, end - begin);
        while (rule.ends_with('\n'))
            rule.remove_suffix(1);
        if (!rule.empty() && !rule.starts_with("//"))
            RuleReader(rule).readRule(rules);
    }
}
