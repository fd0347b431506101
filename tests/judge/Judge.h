#pragma once

#include "tests/judge/GrammarParser.h"
#include "tests/judge/JudgedStatements.h"

#include "Reader/ReaderOptions.h"

#include <string>
#include <string_view>

/// What a text is by the grammar.
struct Judgement {
    std::string m_refusal; // why it is refused; empty if it is not
    JudgedStatements m_statements;
};

/// A strict reader that shares nothing with the one that it judges but the names of the syntaxes: it interprets the
/// grammar rules of the W3C's recommendations, which are the files in the folder `grammars`.
///
/// Beside the grammar and what StatementBuilder checks, a byte order mark at the start is skipped. What the grammar files
/// decide where the recommendations leave it open is said in them.
///
/// Depth    That of GrammarParser.
/// Threads  One at a time.
class Judge {
public:
    /// Rules in EBNF may replace those of the grammar, to see what a wrong one does.
    Judge(Rdf::Syntax syntax, Rdf::Version version, std::string_view otherRules = "");

    /// The base may be empty when there is none. N-Triples and N-Quads have none.
    Judgement judge(std::string_view text, const std::string& base);

    const EbnfRules& getRules() const { return m_parser.getRules(); }

private:
    const bool m_isVersion12;
    const bool m_isLines;
    GrammarParser m_parser;
};
