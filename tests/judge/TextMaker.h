#pragma once

#include "tests/judge/Ebnf.h"

#include <cstddef>
#include <map>
#include <random>
#include <string>
#include <string_view>

/// Makes random texts that a grammar derives. They usually satisfy the other rules, too: prefixes are declared and IRIs
/// are absolute. From time to time a character is a neighbour of those that are allowed in its place.
class TextMaker {
public:
    /// The rules must outlive it.
    TextMaker(const EbnfRules& rules, bool hasPrefixes);

    std::string make(std::mt19937& random) const;

private:
    using Random = std::mt19937;

    size_t getCost(const EbnfExpression& expression) const;
    void derive(const EbnfExpression& expression, size_t depth, Random& random, std::string& text) const;
    void appendTerminal(const EbnfExpression& expression, Random& random, std::string& text) const;
    void match(const EbnfExpression& expression, Random& random, std::string& text) const;

    const EbnfRules& m_rules;
    const bool m_hasPrefixes;
    std::map<std::string, size_t, std::less<>> m_costs; // of each rule: the fewest terminals that it can have
};
