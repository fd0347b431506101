#include "tests/judge/TerminalAutomaton.h"

#include <algorithm>
#include <cctype>
#include <set>
#include <utility>

using Kind = EbnfExpression::Kind;

void TerminalAutomaton::add(const EbnfExpression& expression, const size_t terminal) {
    const size_t begin = m_steps.size();
    m_steps.emplace_back();
    m_steps.front().m_free.push_back(begin);
    const size_t end = append(expression, begin);
    m_steps[end].m_terminals |= uint64_t(1) << terminal;
}

/// Appends an expression; returns the step that it reaches.
size_t TerminalAutomaton::append(const EbnfExpression& expression, size_t from) {
    switch (expression.m_kind) {
    case Kind::NAME:
        return append(m_rules.at(expression.m_text), from);
    case Kind::CHARACTERS:
        return appendStep(expression.m_ranges, from);
    case Kind::TEXT:
        for (const char character : expression.m_text) {
            const auto byte = static_cast<unsigned char>(character);
            std::vector<CharacterRange> ranges{{byte, byte}};
            if (expression.m_ignoresCase && std::isalpha(byte) != 0)
                ranges.push_back({byte ^ 0x20U, byte ^ 0x20U});
            from = appendStep(ranges, from);
        }
        return from;
    case Kind::SEQUENCE:
        for (const EbnfExpression& part : expression.m_parts)
            from = append(part, from);
        return from;
    case Kind::CHOICE: {
        const size_t end = m_steps.size();
        m_steps.emplace_back();
        for (const EbnfExpression& part : expression.m_parts) {
            const size_t reached = append(part, from);
            m_steps[reached].m_free.push_back(end);
        }
        return end;
    }
    case Kind::REPEATED: {
        // Separate steps keep the repeated part apart from what comes before and after it.
        const size_t begin = m_steps.size();
        const size_t end = begin + 1;
        m_steps.resize(m_steps.size() + 2);
        m_steps[from].m_free.push_back(begin);
        const size_t reached = append(expression.m_parts.front(), begin);
        m_steps[reached].m_free.push_back(end);
        if (expression.m_isOptional)
            m_steps[begin].m_free.push_back(end);
        if (expression.m_isEndless)
            m_steps[reached].m_free.push_back(begin);
        return end;
    }
    }
    return from;
}

/// A step has one set of characters, so expressions with a common start continue in their own steps.
size_t TerminalAutomaton::appendStep(const std::vector<CharacterRange>& ranges, const size_t from) {
    const size_t step = m_steps.size();
    m_steps.resize(m_steps.size() + 2);
    m_steps[from].m_free.push_back(step);
    m_steps[step].m_ranges = ranges;
    m_steps[step].m_next = step + 1;
    return step + 1;
}

size_t TerminalAutomaton::findState(std::vector<size_t> steps) {
    std::set<size_t> all;
    while (!steps.empty()) {
        const size_t step = steps.back();
        steps.pop_back();
        if (all.insert(step).second)
            steps.insert(steps.end(), m_steps[step].m_free.begin(), m_steps[step].m_free.end());
    }
    const auto [place, isNew] =
        m_stateOfSteps.try_emplace(std::vector<size_t>(all.begin(), all.end()), m_states.size());
    if (isNew) {
        uint64_t terminals = 0;
        for (const size_t step : all)
            terminals |= m_steps[step].m_terminals;
        m_states.push_back({place->first, terminals});
    }
    return place->second;
}

size_t TerminalAutomaton::goOn(const size_t state, const char32_t character) {
    const auto known = m_states[state].m_next.find(character);
    if (known != m_states[state].m_next.end())
        return known->second;
    std::vector<size_t> steps;
    for (const size_t step : m_states[state].m_steps)
        for (const CharacterRange& range : m_steps[step].m_ranges)
            if (character >= range.m_first && character <= range.m_last)
                steps.push_back(m_steps[step].m_next);
    const size_t next = findState(std::move(steps));
    m_states[state].m_next.emplace(character, next);
    return next;
}

TerminalAutomaton::Match TerminalAutomaton::findLongest(const std::u32string_view text) {
    if (m_states.empty()) {
        findState({}); // DEAD
        m_start = findState({0});
    }
    Match longest{0, 0};
    size_t state = m_start;
    for (size_t length = 0; length < text.size() && state != DEAD; ++length) {
        state = goOn(state, text[length]);
        if (m_states[state].m_terminals != 0)
            longest = {m_states[state].m_terminals, length + 1};
    }
    return longest;
}
