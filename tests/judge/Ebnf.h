#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

struct CharacterRange {
    char32_t m_first;
    char32_t m_last;
};

/// The right side of a rule, or a part of it, in the notation of the W3C's recommendations.
struct EbnfExpression {
    enum class Kind : uint8_t { TEXT, CHARACTERS, NAME, SEQUENCE, CHOICE, REPEATED };

    Kind m_kind = Kind::SEQUENCE;
    std::string m_text{};                   // of TEXT, which is ASCII; for NAME, the name
    bool m_ignoresCase = false;             // of TEXT: written in double quotes
    std::vector<CharacterRange> m_ranges{}; // of CHARACTERS
    std::vector<EbnfExpression> m_parts{};  // of SEQUENCE and CHOICE; of REPEATED the only one
    bool m_isOptional = false;              // of REPEATED: it may be absent
    bool m_isEndless = false;               // of REPEATED: it may occur more than once
};

/// The rules of a grammar by their names.
using EbnfRules = std::map<std::string, EbnfExpression, std::less<>>;

/// Reads rules such as `NAME ::= 'text' [a-z#x7F] (OTHER | [^"])*`. A rule continues in indented lines after it, and
/// replaces an earlier one with its name; lines that start with `//` are comments. Throws std::runtime_error for
/// anything else.
void readEbnf(std::string_view text, EbnfRules& rules);
