#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/Term.h"

#include <memory>
#include <string>
#include <string_view>
#include <vector>

/// A term, and its text as the tool prints it.
struct SampleTerm {
    Term m_term;
    std::string m_text;
};

/// Makes terms of all families, some of which share texts with others.
inline std::vector<SampleTerm> makeSampleTerms() {
    using Kind = Term::Kind;
    using Direction = Term::Direction;
    const auto literal = [](const std::string_view text, const std::string_view language = {},
                            const std::string_view datatype = {}, const Direction direction = Direction::NONE) {
        return Term{Kind::LITERAL, direction, text, language, datatype};
    };
    const auto term = [](const Kind kind, const std::string_view text) { return Term{.m_kind = kind, .m_text = text}; };
    return {
        {literal("text"), R"("text")"},
        {literal("a@b", "en-GB"), R"("a@b"@en-GB)"},
        {term(Kind::IRI, "http://example.org/1"), "<http://example.org/1>"},
        {term(Kind::IRI, "http://example.org/2"), "<http://example.org/2>"},
        {term(Kind::IRI, "http://example.org/3"), "<http://example.org/3>"},
        {term(Kind::IRI, "http://example.org/4"), "<http://example.org/4>"},
        {term(Kind::IRI, "http://example.org/5"), "<http://example.org/5>"},
        {term(Kind::IRI, "http://example.org/"), "<http://example.org/>"},
        {term(Kind::IRI, "a:\x7F\xC2\x9B\xC3\xA4"), "<a:\\u007F\\u009B\xC3\xA4>"},
        {term(Kind::BLANK_NODE, "b0"), "_:b0"},
        {term(Kind::BLANK_NODE, "doc2-b0"), "_:doc2-b0"},
        {literal("5", {}, "http://www.w3.org/2001/XMLSchema#int"), R"("5"^^<http://www.w3.org/2001/XMLSchema#int>)"},
        {literal("a^^\n", {}, "a:t"), R"("a^^\n"^^<a:t>)"},
        {literal("", {}, "a:t"), R"(""^^<a:t>)"},
        {literal("x@y", "en", {}, Direction::LEFT_TO_RIGHT), R"("x@y"@en--ltr)"},
        {literal("\xC2\x85", "ar-EG", {}, Direction::RIGHT_TO_LEFT), R"("\u0085"@ar-EG--rtl)"},
        {term(Kind::TRIPLE_TERM, R"(<<( _:b0 <a:p> "\n"@en-GB )>>)"), R"(<<( _:b0 <a:p> "\n"@en-GB )>>)"},
        {term(Kind::TRIPLE_TERM, "<<( <a:s> <a:p> <<( <a:s> <a:p> \"\xC2\x9B\" )>> )>>"),
         R"(<<( <a:s> <a:p> <<( <a:s> <a:p> "\u009B" )>> )>>)"}};
}

/// Makes a dictionary with these terms, whose IDs count from 1.
inline std::unique_ptr<Dictionary> makeDictionaryOfTerms() {
    auto dictionary = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000});
    DictionaryThread thread(*dictionary);
    for (const SampleTerm& sample : makeSampleTerms())
        dictionary->resolveTerm(thread, sample.m_term);
    dictionary->commit();
    return dictionary;
}
