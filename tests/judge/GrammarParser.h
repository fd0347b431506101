#pragma once

#include "tests/judge/Ebnf.h"
#include "tests/judge/TerminalAutomaton.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <vector>

/// The structure of a text: a rule with its parts, or a terminal with its text.
struct SyntaxTree {
    std::string_view m_name; // of the rule; for a terminal its name, or its text in the grammar
    std::u32string_view m_text;
    std::vector<SyntaxTree> m_parts;
};

/// Parses texts by a grammar that is given as data.
///
/// Method   Terminals are names without lower-case letters, and texts in quotes. The longest match is taken, as the
///          recommendations require. Matches of the rule IGNORED are skipped; what MISTAKEN matches is in no rule.
///          Parsing starts at the start rule, and the next terminal decides every choice. The constructor checks that
///          this is always possible (the grammar is LL(1)), so the parser accepts everything that the grammar allows.
/// Depth    Nested rules use the stack: some thousand brackets are too many.
/// Threads  One at a time.
class GrammarParser {
public:
    /// Throws std::logic_error if the grammar needs more than one terminal to decide.
    GrammarParser(EbnfRules rules, const std::string& startRule);

    GrammarParser(const GrammarParser&) = delete;
    GrammarParser& operator=(const GrammarParser&) = delete;

    /// Parses a whole text. The tree refers to the text and to this parser. Throws Refusal.
    SyntaxTree parse(std::u32string_view text);

    const EbnfRules& getRules() const { return m_rules; }

private:
    using Terminals = uint64_t; // a bit for each

    struct Token {
        Terminals m_terminals;
        std::u32string_view m_text;
    };

    /// A part of a rule, with what can be first in it and after it.
    struct Node {
        EbnfExpression::Kind m_kind{};
        bool m_isOptional = false;
        bool m_isEndless = false;
        std::vector<size_t> m_parts{};
        size_t m_rule = NONE;     // to which it refers
        size_t m_terminal = NONE; // that it is
        Terminals m_first = 0;
        bool m_canBeEmpty = false;
    };

    struct Rule {
        std::string m_name;
        size_t m_node = NONE;
        Terminals m_following = 0;
    };

    static constexpr size_t NONE = std::numeric_limits<size_t>::max();
    static constexpr size_t END_OF_TEXT = TerminalAutomaton::MAXIMUM_NUMBER_OF_TERMINALS;

    size_t addRule(const std::string& name);
    size_t addNode(const EbnfExpression& expression);
    size_t addTerminal(const std::string& name, const EbnfExpression& expression);
    void findFirst();
    void findFollowing();
    bool spread(size_t node, Terminals following);
    void check(size_t node, Terminals following, const std::string& rule) const;
    Terminals combine(const Node& node, size_t from, Terminals following) const;

    std::vector<Token> tokenise(std::u32string_view text);
    void parseNode(const Node& node, const Token*& next, SyntaxTree& tree) const;
    [[noreturn]] static void refuse(const Token& found);

    const EbnfRules m_rules;
    TerminalAutomaton m_automaton;
    std::map<std::string, size_t> m_terminalNumbers;
    std::vector<std::string> m_terminalNames;
    std::vector<Node> m_nodes;
    std::vector<Rule> m_grammarRules; // those that are reachable from the start rule, which is the first
};
