#pragma once

#include "tests/judge/Ebnf.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <string_view>
#include <unordered_map>
#include <vector>

/// Finds the longest text that a terminal of a grammar matches: a nondeterministic automaton made from the rules, whose
/// deterministic states are computed when they are reached.
class TerminalAutomaton {
public:
    static constexpr size_t MAXIMUM_NUMBER_OF_TERMINALS = 63;

    /// The names in terminals are those of the rules.
    explicit TerminalAutomaton(const EbnfRules& rules) : m_rules(rules), m_steps(1) {}

    /// Adds a terminal with its number. All must be added before the first search.
    void add(const EbnfExpression& expression, size_t terminal);

    struct Match {
        uint64_t m_terminals; // a bit for the number of each terminal that matches the longest text
        size_t m_length;      // 0 if there is none
    };

    /// Finds the longest match at the start of a text.
    Match findLongest(std::u32string_view text);

private:
    /// A state of the nondeterministic automaton.
    struct Step {
        std::vector<size_t> m_free{}; // the states to which it moves without a character
        std::vector<CharacterRange> m_ranges{};
        size_t m_next = 0;        // with a character of the ranges
        uint64_t m_terminals = 0; // that end here
    };

    /// A set of steps.
    struct State {
        std::vector<size_t> m_steps;
        uint64_t m_terminals;
        std::unordered_map<char32_t, size_t> m_next{}; // by character; those computed so far
    };

    static constexpr size_t DEAD = 0; // the state without steps

    size_t append(const EbnfExpression& expression, size_t from);
    size_t appendStep(const std::vector<CharacterRange>& ranges, size_t from);
    size_t findState(std::vector<size_t> steps);
    size_t goOn(size_t state, char32_t character);

    const EbnfRules& m_rules;
    std::vector<Step> m_steps; // all terminals start at the first one
    std::vector<State> m_states;
    std::map<std::vector<size_t>, size_t> m_stateOfSteps;
    size_t m_start = 0;
};
