#pragma once

#include "Engine/core/data-store/terms/Term.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"

#include <cstdint>
#include <deque>
#include <random>
#include <string>
#include <vector>

/// Terms of all kinds, valid and refused, with their texts.
class ModelTerms {
public:
    /// Makes a valid term: that of the model's literal.
    Term make(const uint32_t number) {
        const DictionaryModel::Literal literal = DictionaryModel::makeLiteral(number).getStored();
        return Term::parse(literal.m_datatypeID, keep(literal.m_lexicalForm));
    }

    /// Makes a term that every dictionary refuses; half of these have joined forms, no two the same.
    Term makeRefused(const uint32_t number) {
        using Kind = Term::Kind;
        const std::string_view text = keep("no " + std::to_string(number));
        switch (number % 8) {
        case 0:
            return {};
        case 1:
            return {.m_kind = Kind::IRI};
        case 2:
            return {.m_kind = Kind::BLANK_NODE, .m_text = text};
        case 3:
            return {.m_kind = Kind::TRIPLE_TERM, .m_text = text};
        case 4:
            return {.m_kind = Kind::LITERAL, .m_text = text, .m_language = "e n"};
        case 5:
            return {.m_kind = Kind::LITERAL, .m_text = "a", .m_language = text};
        case 6:
            return {.m_kind = Kind::LITERAL,
                    .m_direction = Term::Direction::RIGHT_TO_LEFT,
                    .m_text = text,
                    .m_language = "e n"};
        default:
            return {.m_kind = Kind::LITERAL, .m_text = text, .m_language = "en", .m_datatype = "x:y"};
        }
    }

    /// Draws valid terms with numbers below `endNumber`.
    std::vector<Term> draw(const size_t numberOfTerms, const uint32_t endNumber, std::minstd_rand& random) {
        std::vector<Term> terms;
        while (terms.size() < numberOfTerms)
            terms.push_back(make(static_cast<uint32_t>(random()) % endNumber));
        return terms;
    }

private:
    std::string_view keep(std::string text) { return m_texts.emplace_back(std::move(text)); }

    std::deque<std::string> m_texts;
};
