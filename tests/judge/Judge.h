#pragma once

#include "tests/judge/GrammarParser.h"
#include "tests/judge/JudgedStatements.h"

#include "Reader/ReaderOptions.h"

#include <string>
#include <string_view>

/// The verdict of the grammar on a text.
struct Judgement {
    std::string m_refusal; // why it is refused; empty if it is not
    JudgedStatements m_statements;
};

/// A strict reader that shares only the names of the syntaxes with the reader that it judges. It interprets the grammar
/// rules of the W3C's recommendations, which are the files in the folder `grammars`.
///
/// In addition to the grammar and the checks of StatementBuilder, it skips a byte order mark at the start. The grammar
/// files state what they decide where the recommendations leave it open.
///
/// Depth    That of GrammarParser.
/// Threads  One at a time.
class Judge {
public:
    /// Rules in EBNF may replace those of the grammar, to test the effect of a wrong one.
    Judge(Rdf::Syntax syntax, Rdf::Version version, std::string_view otherRules = "");

    /// The base is empty if there is none. N-Triples and N-Quads have none.
    Judgement judge(std::string_view text, const std::string& base);

    const EbnfRules& getRules() const { return m_parser.getRules(); }

private:
    const bool m_isVersion12;
    const bool m_isLines;
    GrammarParser m_parser;
};
