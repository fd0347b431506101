#include "tests/Reader/ReadText.h"
#include "tests/judge/Judge.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// Texts for which serd 0.30 or raptor 2.0.15 has another verdict. tests/fuzz/fuzz_comparison.cpp has found them, and
// the judge has decided them by the grammars of RDF 1.1.

namespace {

using namespace Rdf;

struct Case {
    Syntax m_syntax;
    std::string m_text;
    std::string m_result; // an error, or statements
};

void check(const std::vector<Case>& cases) {
    for (const Case& one : cases) {
        const ReaderOptions options = strict(one.m_syntax, Version::RDF_1_1);
        const ReadResult result = readText(one.m_text, options);
        EXPECT_EQ(one.m_result, result.m_errors.empty() ? result.m_statements : result.m_errors.front()) << one.m_text;
        const std::string refusal = Judge(one.m_syntax, options.m_version).judge(one.m_text, options.m_base).m_refusal;
        EXPECT_EQ(result.m_errors.empty(), refusal.empty()) << one.m_text << ": " << refusal;
    }
}

TEST(OtherReadersTest, textsThatOthersAccept) {
    check({
        {Syntax::TURTLE, ": : x: .", "1:1: expected a declared prefix, found ':'"},
        {Syntax::TURTLE, "<s> <p> _Bo .", "1:10: expected ':' after '_', found 'Bo'"},
        {Syntax::TURTLE, "<s> <p> _:-b .", "1:11: expected a label after '_:', found '-b'"},
        {Syntax::TURTLE, "[ <ep) ] .", "1:7: expected a character of an IRI or '>', found a space"},
        {Syntax::TURTLE, "[ <p> ] .", "1:7: expected an object, found ']'"},
        {Syntax::TURTLE, "[ <p> (] .", "1:8: expected an object or ')', found ']'"},
        {Syntax::TURTLE, "[ <p> <o> .", "1:1: this '[' is not closed: expected ',', ';' or ']', found '.'"},
        {Syntax::TURTLE, "[ .\n#", "1:1: this '[' is not closed: expected a predicate, found '.'"},
        {Syntax::TURTLE, "@prefixP: <u:> .", "1:1: expected a statement, found '@prefixP:'"},
        {Syntax::TURTLE, "<s> <p> '\\/r' .",
         "1:11: expected an escape such as \\n or \\u00E4 after the backslash, found '/'"},
        {Syntax::TURTLE, "<s> <p> '''\\ud801''' .",
         "1:12: expected the number of a character, found '\\ud801', half a surrogate pair"},
        {Syntax::TURTLE, "<s> <p> '\\U1000006F' .",
         "1:10: expected the number of a character, found '\\U1000006F', which is beyond U+10FFFF"},
        {Syntax::TURTLE, "<s> <p> <\\udfff> .",
         "1:10: expected the number of a character, found '\\udfff', half a surrogate pair"},
        {Syntax::TURTLE, "<\\u001C> <p> <o> .", "1:2: expected a character that an IRI can hold, found '\\u001C'"},
        {Syntax::TURTLE, "[ <h\\u00] .", "1:9: expected four hexadecimal digits after \\u, found ']'"},
        {Syntax::TURTLE, "<s> <p> \"H\"@en--ltr .", "1:16: expected a further part of the language tag, found '-ltr'"},
        {Syntax::TURTLE, "<s> <p> \"1\"^^yte .", "1:14: expected a datatype, found 'yte'"},
        {Syntax::TRIG, "GRAPH :g { }", "1:7: expected a declared prefix, found ':'"},
        {Syntax::TRIG, "G { }", "1:1: expected a subject, found 'G'"},
        {Syntax::TRIG, "{ [ <p> <o> ] y. }", "1:15: expected a predicate, found 'y'"},
        {Syntax::N_QUADS, "<a:s> <a:p> <a:o> \n. <a:g>", "1:19: expected a graph or '.', found the end of the line"},
        {Syntax::N_TRIPLES, "<a:s> <a:p> \"x\"@en-GB\n.", "1:22: expected '.', found the end of the line"},
        {Syntax::N_TRIPLES, "_:s<a:p>_:o..", "1:13: expected the end of the line after the statement, found '.'"},
        {Syntax::N_TRIPLES, "<a:s> <p> <a:o> .", "1:7: expected an absolute IRI, found '<p>'"},
    });
}

TEST(OtherReadersTest, textsThatOthersRefuse) {
    check({
        {Syntax::TURTLE, "", ""},
        {Syntax::TURTLE, "<a:s> <a:p> ''# no directive\n@base .", "<a:s> <a:p> \"\"@base .\n"},
        {Syntax::TURTLE, "<a:s> <a:p> 'x' @en .", "<a:s> <a:p> \"x\"@en .\n"},
        {Syntax::TRIG, "base <a:/>\n{<s> <p> <o> .}", "<a:/s> <a:/p> <a:/o> .\n"},
        {Syntax::TRIG, "@prefix t: <a:t> . { <a:s> <a:p> \"2\"^^ t: . }", "<a:s> <a:p> \"2\"^^<a:t> .\n"},
        {Syntax::TRIG, "_:g { <a:s> <a:p> <a:o> }", "<a:s> <a:p> <a:o> _:g .\n"},
        {Syntax::TRIG, "@prefix : <a:> . GRAPH :g { }", ""},
        {Syntax::N_QUADS, "<a:s> <a:p> \"2\"^^  <a:t>  <a:g>  .", "<a:s> <a:p> \"2\"^^<a:t> <a:g> .\n"},
        {Syntax::N_QUADS, "<a:s> <a:p> _:o _:gT.", "<a:s> <a:p> _:o _:gT .\n"},
        {Syntax::N_QUADS, "<a:s> <a:p> \"s\"@e_:k .", "<a:s> <a:p> \"s\"@e _:k .\n"},
        {Syntax::N_TRIPLES, "<a:s> <a:p> \"\\'\" .", "<a:s> <a:p> \"'\" .\n"},
        {Syntax::N_TRIPLES, "<a:s> <a:p> \"\\uFFFF\" .", "<a:s> <a:p> \"\\uFFFF\" .\n"},
        {Syntax::N_TRIPLES, "<a:s> <a:p> \"2\"  ^^ <a:t> .", "<a:s> <a:p> \"2\"^^<a:t> .\n"},
        {Syntax::N_TRIPLES, "<a:s> <http://www.w3.org/1999/02/22-rdf-syntax-ns#_0> \"1\" .",
         "<a:s> <http://www.w3.org/1999/02/22-rdf-syntax-ns#_0> \"1\" .\n"},
        {Syntax::N_TRIPLES, "\xEF\xBB\xBF", ""},
    });
}

TEST(OtherReadersTest, textsInWhichOthersFindSomethingElse) {
    const std::string integer = "\"-1\"^^<http://www.w3.org/2001/XMLSchema#integer>";
    check({
        {Syntax::TRIG, "{<a:c> <a:p> -1.}", "<a:c> <a:p> " + integer + " .\n"},
        {Syntax::TURTLE, "<ht:p> <http:/./a> \"\" .", "<ht:p> <http:/./a> \"\" .\n"},
        {Syntax::N_TRIPLES, "<a:s> <a:p> \"o\" . # comment'\n<a:s> <a:p> \"p\" .\n",
         "<a:s> <a:p> \"o\" .\n<a:s> <a:p> \"p\" .\n"},
        {Syntax::N_TRIPLES, "<a:s> <a:p> \"\\u0000x\" .", std::string("<a:s> <a:p> \"\\u0000x\" .\n")},
    });
}

} // namespace
