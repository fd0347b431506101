#include "tests/judge/Judge.h"

#include "tests/judge/Refusal.h"
#include "tests/judge/StatementBuilder.h"
#include "tests/judge/Utf32.h"

#include <fstream>
#include <sstream>
#include <stdexcept>
#include <vector>

using Rdf::Syntax;
using Rdf::Version;

namespace {

bool isOfLines(const Syntax syntax) {
    return syntax == Syntax::N_TRIPLES || syntax == Syntax::N_QUADS;
}

EbnfRules readRules(const Syntax syntax, const Version version, const std::string_view otherRules) {
    const bool isLines = isOfLines(syntax);
    const bool isVersion12 = version == Version::RDF_1_2;
    std::vector<std::string> files{"terminals", isLines ? "n-quads-1.1" : "turtle-1.1"};
    if (isVersion12)
        files.emplace_back(isLines ? "n-quads-1.2" : "turtle-1.2");
    if (syntax == Syntax::N_TRIPLES)
        files.emplace_back("n-triples");
    if (syntax == Syntax::TRIG)
        files.emplace_back("trig-1.1");
    if (syntax == Syntax::TRIG && isVersion12)
        files.emplace_back("trig-1.2");
    EbnfRules rules;
    for (const std::string& file : files) {
        std::ifstream input(std::string(MELNAR_GRAMMAR_FOLDER) + "/" + file + ".ebnf");
        std::stringstream text;
        if (!(text << input.rdbuf()))
            throw std::runtime_error("the grammar " + file + " cannot be read");
        readEbnf(text.str(), rules);
    }
    readEbnf(otherRules, rules);
    return rules;
}

} // namespace

Judge::Judge(const Syntax syntax, const Version version, const std::string_view otherRules)
    : m_isVersion12(version == Version::RDF_1_2), m_isLines(isOfLines(syntax)),
      m_parser(readRules(syntax, version, otherRules), "document") {}

Judgement Judge::judge(const std::string_view text, const std::string& base) {
    try {
        std::u32string characters = toUtf32(text);
        if (characters.starts_with(U'\xFEFF'))
            characters.erase(0, 1);
        StatementBuilder builder(m_isLines ? "" : base, m_isVersion12);
        builder.build(m_parser.parse(characters));
        return {"", builder.takeStatements()};
    } catch (const Refusal& refusal) {
        return {refusal.what(), {}};
    }
}
