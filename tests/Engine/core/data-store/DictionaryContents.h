#pragma once

#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>

/// The contents of dictionaries for tests that apply to both bucket widths, and to strings alone as well as to terms of
/// all families.
struct DictionaryContents {
    uint64_t m_maximumNumberOfResources;
    bool m_hasTerms;

    /// Returns datatype ID and lexical form as functions of a number, of varying length and datatype; all are
    /// different.
    std::pair<uint8_t, std::string> makeLiteral(const size_t number) const {
        const std::string text = std::to_string(number) + std::string(number % 997 == 0 ? 20000 : number % 150, 'x');
        switch (m_hasTerms ? number % 7 : number % 3) {
        case 0:
            return {D_RDF_PLAIN_LITERAL, text + "@en"};
        case 3:
            return {D_IRI, "http://example.org/" + std::to_string(number % 4) + '#' + text};
        case 4:
            return {D_BLANK_NODE, "doc" + std::to_string(number % 3) + '-' + text};
        case 5:
            return {D_TYPED_LITERAL, text + "^^http://example.org/type"};
        case 6:
            return number % 2 == 0 ? std::pair(D_DIRECTIONAL_STRING, text + "@en--ltr")
                                   : std::pair(D_TRIPLE_TERM, "<<( _:b <p> \"" + text + "\" )>>");
        default:
            return {D_XSD_STRING, text};
        }
    }

    uint64_t resolve(Dictionary& dictionary, DictionaryThread& thread, const size_t number) const {
        const auto [datatypeID, lexicalForm] = makeLiteral(number);
        return dictionary.resolveResource(thread, lexicalForm, datatypeID);
    }
};

inline const auto ALL_CONTENTS = testing::Values(DictionaryContents{NARROW, false}, DictionaryContents{WIDE, false},
                                                 DictionaryContents{NARROW, true}, DictionaryContents{WIDE, true});

inline std::string nameContents(const testing::TestParamInfo<DictionaryContents>& parameterInfo) {
    return std::string(parameterInfo.param.m_maximumNumberOfResources == NARROW ? "narrow" : "wide") +
           (parameterInfo.param.m_hasTerms ? "Terms" : "Strings");
}
