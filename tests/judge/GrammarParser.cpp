#include "tests/judge/GrammarParser.h"

#include "tests/judge/Refusal.h"
#include "tests/judge/Utf32.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>
#include <utility>

namespace {

using Kind = EbnfExpression::Kind;

constexpr size_t IGNORED = 0;

uint64_t bitOf(const size_t number) {
    return uint64_t(1) << number;
}

bool isTerminalName(const std::string& name) {
    return std::none_of(name.begin(), name.end(), [](const unsigned char c) { return std::islower(c) != 0; });
}

} // namespace

GrammarParser::GrammarParser(EbnfRules rules, const std::string& startRule)
    : m_rules(std::move(rules)), m_automaton(m_rules) {
    addTerminal("IGNORED", m_rules.at("IGNORED"));
    addTerminal("MISTAKEN", m_rules.at("MISTAKEN"));
    addRule(startRule);
    m_grammarRules.front().m_following = bitOf(END_OF_TEXT);
    findFirst();
    findFollowing();
    for (const Rule& rule : m_grammarRules)
        check(rule.m_node, rule.m_following, rule.m_name);
}

size_t GrammarParser::addRule(const std::string& name) {
    const auto isIt = [&](const Rule& rule) { return rule.m_name == name; };
    const auto known = std::find_if(m_grammarRules.begin(), m_grammarRules.end(), isIt);
    if (known != m_grammarRules.end())
        return static_cast<size_t>(known - m_grammarRules.begin());
    const size_t rule = m_grammarRules.size();
    m_grammarRules.push_back({name});
    const size_t node = addNode(m_rules.at(name));
    m_grammarRules[rule].m_node = node;
    return rule;
}

size_t GrammarParser::addTerminal(const std::string& name, const EbnfExpression& expression) {
    const auto [place, isNew] = m_terminalNumbers.try_emplace(name, m_terminalNames.size());
    if (isNew) {
        if (m_terminalNames.size() == TerminalAutomaton::MAXIMUM_NUMBER_OF_TERMINALS)
            throw std::logic_error("the grammar has too many terminals");
        m_terminalNames.push_back(name);
        m_automaton.add(expression, place->second);
    }
    return place->second;
}

size_t GrammarParser::addNode(const EbnfExpression& expression) {
    Node node{expression.m_kind, expression.m_isOptional, expression.m_isEndless};
    if (expression.m_kind == Kind::TEXT || (expression.m_kind == Kind::NAME && isTerminalName(expression.m_text)))
        node.m_terminal = addTerminal(expression.m_text, expression);
    else if (expression.m_kind == Kind::NAME)
        node.m_rule = addRule(expression.m_text);
    for (const EbnfExpression& part : expression.m_parts)
        node.m_parts.push_back(addNode(part));
    m_nodes.push_back(std::move(node));
    return m_nodes.size() - 1;
}

/// Returns what can be first in the parts of a sequence from one of them on, given what follows the sequence.
GrammarParser::Terminals GrammarParser::combine(const Node& node, const size_t from, const Terminals following) const {
    Terminals first = following;
    for (size_t part = node.m_parts.size(); part-- > from;)
        first = m_nodes[node.m_parts[part]].m_first | (m_nodes[node.m_parts[part]].m_canBeEmpty ? first : 0);
    return first;
}

void GrammarParser::findFirst() {
    for (bool hasChanged = true; hasChanged;) {
        hasChanged = false;
        for (Node& node : m_nodes) {
            const Terminals first = node.m_first;
            const bool canBeEmpty = node.m_canBeEmpty;
            const auto isEmpty = [&](const size_t part) { return m_nodes[part].m_canBeEmpty; };
            if (node.m_terminal != NONE) {
                node.m_first = bitOf(node.m_terminal);
            } else if (node.m_rule != NONE) {
                node.m_first = m_nodes[m_grammarRules[node.m_rule].m_node].m_first;
                node.m_canBeEmpty = m_nodes[m_grammarRules[node.m_rule].m_node].m_canBeEmpty;
            } else if (node.m_kind == Kind::CHOICE) {
                for (const size_t part : node.m_parts)
                    node.m_first |= m_nodes[part].m_first;
                node.m_canBeEmpty = std::any_of(node.m_parts.begin(), node.m_parts.end(), isEmpty);
            } else {
                node.m_first = combine(node, 0, 0);
                node.m_canBeEmpty = node.m_isOptional || std::all_of(node.m_parts.begin(), node.m_parts.end(), isEmpty);
            }
            hasChanged |= first != node.m_first || canBeEmpty != node.m_canBeEmpty;
        }
    }
}

void GrammarParser::findFollowing() {
    for (bool hasChanged = true; hasChanged;) {
        hasChanged = false;
        for (size_t rule = 0; rule < m_grammarRules.size(); ++rule)
            hasChanged |= spread(m_grammarRules[rule].m_node, m_grammarRules[rule].m_following);
    }
}

/// Propagates to the rules in a node what follows them. Returns whether that has added anything.
bool GrammarParser::spread(const size_t index, const Terminals following) {
    const Node& node = m_nodes[index];
    if (node.m_rule != NONE) {
        Terminals& known = m_grammarRules[node.m_rule].m_following;
        return std::exchange(known, known | following) != (known | following);
    }
    bool hasChanged = false;
    for (size_t part = 0; part < node.m_parts.size(); ++part)
        hasChanged |= spread(node.m_parts[part], node.m_kind == Kind::SEQUENCE
                                                     ? combine(node, part + 1, following)
                                                     : following | (node.m_isEndless ? node.m_first : 0));
    return hasChanged;
}

void GrammarParser::check(const size_t index, const Terminals following, const std::string& rule) const {
    const Node& node = m_nodes[index];
    bool isClear = true;
    if (node.m_kind == Kind::REPEATED)
        isClear = (node.m_first & following) == 0 && !m_nodes[node.m_parts.front()].m_canBeEmpty;
    else if (node.m_kind == Kind::CHOICE) {
        Terminals all = 0;
        for (const size_t part : node.m_parts) {
            const Terminals first = m_nodes[part].m_first | (m_nodes[part].m_canBeEmpty ? following : 0);
            isClear = isClear && (std::exchange(all, all | first) & first) == 0;
        }
    }
    if (!isClear)
        throw std::logic_error("the next terminal does not decide in the rule " + rule);
    for (size_t part = 0; part < node.m_parts.size(); ++part)
        check(node.m_parts[part],
              node.m_kind == Kind::SEQUENCE ? combine(node, part + 1, following)
                                            : following | (node.m_isEndless ? node.m_first : 0),
              rule);
}

std::vector<GrammarParser::Token> GrammarParser::tokenise(const std::u32string_view text) {
    std::vector<Token> tokens;
    for (size_t at = 0; at < text.size();) {
        const TerminalAutomaton::Match match = m_automaton.findLongest(text.substr(at));
        if (match.m_length == 0)
            throw Refusal("there is no terminal here: " + toUtf8(text.substr(at, 20)));
        if (match.m_terminals != bitOf(IGNORED))
            tokens.push_back({match.m_terminals, text.substr(at, match.m_length)});
        at += match.m_length;
    }
    tokens.push_back({bitOf(END_OF_TEXT), {}});
    return tokens;
}

void GrammarParser::refuse(const Token& found) {
    throw Refusal("the grammar does not allow this here: " + (found.m_text.empty() ? "the end" : toUtf8(found.m_text)));
}

void GrammarParser::parseNode(const Node& node, const Token*& next, SyntaxTree& tree) const {
    if (node.m_terminal != NONE) {
        if ((next->m_terminals & node.m_first) == 0)
            refuse(*next);
        tree.m_parts.push_back({m_terminalNames[node.m_terminal], next->m_text, {}});
        ++next;
    } else if (node.m_rule != NONE) {
        SyntaxTree part{m_grammarRules[node.m_rule].m_name, {}, {}};
        parseNode(m_nodes[m_grammarRules[node.m_rule].m_node], next, part);
        tree.m_parts.push_back(std::move(part));
    } else if (node.m_kind == Kind::SEQUENCE) {
        for (const size_t part : node.m_parts)
            parseNode(m_nodes[part], next, tree);
    } else if (node.m_kind == Kind::CHOICE) {
        for (const size_t part : node.m_parts)
            if ((next->m_terminals & m_nodes[part].m_first) != 0)
                return parseNode(m_nodes[part], next, tree);
        if (!node.m_canBeEmpty)
            refuse(*next);
    } else {
        bool isNeeded = !node.m_isOptional;
        while (isNeeded || (next->m_terminals & node.m_first) != 0) {
            parseNode(m_nodes[node.m_parts.front()], next, tree);
            isNeeded = false;
            if (!node.m_isEndless)
                break;
        }
    }
}

SyntaxTree GrammarParser::parse(const std::u32string_view text) {
    const std::vector<Token> tokens = tokenise(text);
    const Token* next = tokens.data();
    SyntaxTree tree{m_grammarRules.front().m_name, {}, {}};
    parseNode(m_nodes[m_grammarRules.front().m_node], next, tree);
    if (next->m_terminals != bitOf(END_OF_TEXT))
        refuse(*next);
    return tree;
}
