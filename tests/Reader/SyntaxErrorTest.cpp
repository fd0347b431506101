#include "tests/Reader/ReadText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// The errors of faulty texts and their places.

namespace {

using namespace Rdf;

struct Case {
    std::string m_text;
    std::string m_error; // line, column, message
};

void check(const Syntax syntax, const std::vector<Case>& cases) {
    for (const Case& one : cases) {
        EXPECT_EQ(one.m_error, errorOf(one.m_text, strict(syntax))) << one.m_text;
        EXPECT_EQ(readText(one.m_text, strict(syntax)), readInPieces(one.m_text, 1, strict(syntax))) << one.m_text;
    }
}

TEST(SyntaxErrorTest, ofLinesSayWhatWasFoundAndExpected) {
    check(Syntax::N_TRIPLES,
          {
              {"<a:s> <a:p> <a:o>", "1:18: expected '.', found the end of the text"},
              {"<a:s> <a:p> <a:o> . <a:s>", "1:21: expected the end of the line after the statement, found '<'"},
              {"<a:s> <a:p> \"x\"@en1 .", "1:19: expected '.', found '1'"},
              {"<a:s> <a:p> \"x\"@en- .", "1:20: expected a further part of the language tag, found a space"},
              {"<a:s> <a:p> \"x\"@ .", "1:17: expected a language tag, found a space"},
              {"<a:s> <a:p> \"x\"^<a:b> .", "1:17: expected '^' after '^', found '<'"},
              {"<a:s> <a:p> \"x\"^^\"y\" .", "1:18: expected a datatype, found '\"'"},
              {"<a:s> <a:p> \"x .",
               "1:13: this string is not closed: expected its closing quote, found the end of the text"},
              {"<a:s> <a:p> \"x\\q\" .",
               "1:16: expected an escape such as \\n or \\u00E4 after the backslash, found 'q'"},
              {"<a:s> <a:p> \"x\\u00g0\" .", "1:19: expected four hexadecimal digits after \\u, found 'g0'"},
              {"<a:s> <a:p> \"x\\uD800\" .",
               "1:15: expected the number of a character, found '\\uD800', half a surrogate pair"},
              {"<a:s> <a:p> \"x\\U00110000\" .",
               "1:15: expected the number of a character, found '\\U00110000', which is beyond U+10FFFF"},
              {"<a:s> <a:p> <a b> .", "1:15: expected a character of an IRI or '>', found a space"},
              {"<a:s> <a:p> <a:b\\u0020> .", "1:17: expected a character that an IRI can hold, found '\\u0020'"},
              {"<a:s> <a:p> <a:b\\n> .", "1:17: expected a character of an IRI or '>', found '\\'"},
              {"<a:s> <a:p> <a:b", "1:13: this IRI is not closed: expected '>', found the end of the text"},
              {"<a:s> <a:p> <b> .", "1:13: expected an absolute IRI, found '<b>'"},
              {"<a:s> \"p\" <b> .", "1:7: expected a predicate, found '\"'"},
              {"<a:s> . <b> .", "1:7: expected a predicate, found '.'"},
              {"_:a:b <a:p> <a:o> .", "1:4: expected a predicate, found ':b'"},
              {"_:-b <a:p> <a:o> .", "1:3: expected a label after '_:', found '-b'"},
              {"_b <a:p> <a:o> .", "1:2: expected ':' after '_', found 'b'"},
              {"<a:s> <a:p> _:o. <a:x> .", "1:18: expected the end of the line after the statement, found '<'"},
              {"<a:s> <a:p> <a:o> <a:g> .", "1:19: expected '.', found '<'"},
              {"@prefix a: <b> .", "1:1: expected a subject, found '@prefix'"},
              {"\xC3\xA4\xC3\xB6\xC3\xBC <a:p>\xFF", "1:1: expected a subject, found '\xC3\xA4'"},
              {"<a:\xC3\xA4> \xC3( <a:o>", "1:7: expected a predicate, found the byte 0xC3, which is not UTF-8 here"},
              {"<a:s> <a:p> <<( <a:s> <a:p> <<( <a:s> <a:p> \"x\" )>> .",
               "1:13: this '<<(' is not closed: expected ')>>', found '.'"},
              {"<a:s> <a:p> << <a:s> <a:p> \"x\" >> .", "1:13: expected an object, found '<'"},
              {"VERSION 1.2", "1:9: expected a version in quotes, found '1'"},
              {"version \"1.2\"", "1:1: expected a subject, found 'version'"},
              {"<a:s> <a:p> \"x\"@toolongtag .",
               "1:17: expected at most 8 characters in a part of a language tag, found 'toolongtag'"},
              {"<a:s> <a:p> \"x\"@en--up .", "1:21: expected the direction ltr or rtl, found 'up'"},
              {"<a:s> <a:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#langString> .",
               "1:18: expected a datatype for a literal without language tag, found "
               "'http://www.w3.org/1999/02/22-rdf-syntax-ns#langString'"},
              {"# comment \x80", "1:11: expected a statement, found the byte 0x80, which is not UTF-8 here"},
          });
}

TEST(SyntaxErrorTest, ofTurtleSayWhatWasFoundAndExpected) {
    check(Syntax::TURTLE,
          {
              {"@prefix : <http://e/> .\n:s :p .", "2:7: expected an object, found '.'"},
              {":s :p :o .", "1:1: expected a declared prefix, found ':'"},
              {"@prefix : <http://e/> .\n:s :p [ :q :r . :t :u",
               "2:7: this '[' is not closed: expected ',', ';' or ']', found '.'"},
              {"@prefix : <http://e/> .\n:s :p [ :q",
               "2:7: this '[' is not closed: expected an object, found the end of the text"},
              {"@prefix : <http://e/> .\n:s :p ( 1 2 .",
               "2:7: this '(' is not closed: expected an object or ')', found '.'"},
              {"@prefix : <http://e/> .\n:s :p \"\"\"abc\ndef",
               "2:7: this string is not closed: expected its closing quotes, found the end of the text"},
              {"@prefix : <http://e/> .\n:s :p 'abc\n .",
               "2:7: this string is not closed: expected its closing quote, found the end of the line"},
              {"@prefix : <http://e/>\n:s :p :o .", "2:1: expected '.', found ':s'"},
              {"@prefix ex <http://e/> .", "1:9: expected a prefix and ':', found 'ex'"},
              {"@prefix ex.: <http://e/> .", "1:9: expected a prefix and ':', found 'ex'"},
              {"PREFIX ex: http://e/", "1:12: expected an IRI in '<' and '>', found 'http:'"},
              {"@base \"x\" .", "1:7: expected an IRI in '<' and '>', found '\"'"},
              {"@foo <x> .", "1:1: expected a statement, found '@foo'"},
              {"SELECT * { }", "1:1: expected a subject, found 'SELECT'"},
              {"@prefix : <http://e/> .\n:s :p 12a, 1.5e, +, .5, 1., -1.e3 .",
               "2:9: expected ',', ';' or '.', found 'a'"},
              {"@prefix : <http://e/> .\n:s :p :a%4g .", "2:11: expected two hexadecimal digits after '%', found 'g'"},
              {"@prefix : <http://e/> .\n:s :p :a\\q .",
               "2:10: expected a character that a name can escape after the backslash, found 'q'"},
              {"@prefix : <http://e/> .\n:s :p :a\\.b\\. , :a%4A , :a.b., : , :a:b:c, :1, <#x>, <../y>, <?q>, <//h/p>, "
               "</r/./a/../b>, <>.",
               "2:30: expected a subject, found ','"},
              {"@prefix : <http://e/> .\n\"s\" :p :o .", "2:1: expected a subject, found '\"'"},
              {"@prefix : <http://e/> .\n:s \"p\" :o .", "2:4: expected a predicate, found '\"'"},
              {"@prefix : <http://e/> .\n:s :p foo .", "2:7: expected an object, found 'foo'"},
              {"@prefix : <http://e/> .\n:s foo :o .", "2:4: expected a predicate, found 'foo'"},
              {"@prefix : <http://e/> .\n[] .", "2:4: expected a predicate, found '.'"},
              {"@prefix : <http://e/> .\n(1) .", "2:5: expected a predicate, found '.'"},
              {"@prefix : <http://e/> .\n:s :p :o ; . :s ; :p :o .", "2:17: expected a predicate, found ';'"},
              {"@prefix : <http://e/> .\n:s :p :o , .", "2:12: expected an object, found '.'"},
              {"@prefix : <http://e/> .\n:s :p :o {| |} .", "2:13: expected a predicate, found '|'"},
              {"@prefix : <http://e/> .\n<<( :s :p :o )>> :p :o .", "2:1: expected a subject, found '<'"},
              {"@prefix : <http://e/> .\n:s :p << :a :b",
               "2:7: this '<<' is not closed: expected an object, found the end of the text"},
              {"@prefix : <http://e/> .\n:s :p <<( << :a :b :c >> :d :e )>> .", "2:11: expected a subject, found '<'"},
              {"@prefix : <http://e/> .\n{ :s :p :o }", "2:1: expected a subject, found '{'"},
              {"@prefix : <http://e/> . :s :p \"a\" \"b\" .", "1:35: expected ',', ';' or '.', found '\"'"},
              {"@version '1.2' . VERSION \"x\" VERSION \"\"\"1.2\"\"\"",
               "1:38: expected a version in quotes, found '\"'"},
              {"@prefix : <http://e/> .\n:s :p :o \n:t :p :o .", "3:1: expected ',', ';' or '.', found ':t'"},
              {"@prefix p: <a b> .", "1:14: expected a character of an IRI or '>', found a space"},
          });
}

TEST(SyntaxErrorTest, ofTriGSayWhatWasFoundAndExpected) {
    check(Syntax::TRIG, {
                            {"() { <a:s> <a:p> <a:o> }", "1:4: expected a predicate, found '{'"},
                            {"[ <a:p> <a:o> ] { <a:s> <a:p> <a:o> }", "1:17: expected a predicate, found '{'"},
                            {"<a:s> <a:p> <a:o> ; { <a:s> <a:p> <a:o> }", "1:21: expected a predicate, found '{'"},
                            {"<a:g> { <a:s> <a:p> }", "1:21: expected an object, found '}'"},
                            {"<a:g> { <a:s> <a:p> <a:o> . <a:a>",
                             "1:7: this '{' is not closed: expected a predicate, found the end of the text"},
                            {"<a:g> { <a:s> <a:p> <a:o> .\n ",
                             "1:7: this '{' is not closed: expected a statement or '}', found the end of the text"},
                            {"GRAPH { }", "1:7: expected the label of a graph, found '{'"},
                            {"GRAPH \"x\" { }", "1:7: expected the label of a graph, found '\"'"},
                            {"GRAPH <a:g> <a:s> <a:p> <a:o> .", "1:13: expected '{', found '<'"},
                            {"GRAPH [ <a:p> ] { }", "1:9: expected ']', found '<'"},
                            {"<a:g> { @prefix x: <y> . }", "1:9: expected a subject, found '@prefix'"},
                            {"<a:g> { { } }", "1:9: expected a subject, found '{'"},
                            {"}", "1:1: expected a subject, found '}'"},
                            {"<a:g> { <a:s> <a:p> <a:o> } .", "1:29: expected a subject, found '.'"},
                            {"<a:s> <a:p> <a:o> }", "1:19: expected ',', ';' or '.', found '}'"},
                            {"<a:g> { <a:s> <a:p> \"x } ",
                             "1:21: this string is not closed: expected its closing quote, found the end of the text"},
                        });
}

TEST(SyntaxErrorTest, whatNeverClosesIsReportedWhereItOpens) {
    struct Unclosed {
        Syntax m_syntax;
        std::string m_before; // the opening
        std::string m_text;   // from the opening on
        std::string m_kind;
    };
    for (const Unclosed& one : std::vector<Unclosed>{
             {Syntax::TURTLE, "", "'x ", "string"},
             {Syntax::TURTLE, "", "\"x \\\" .", "string"},
             {Syntax::TURTLE, "", "'''x\n'' . ", "string"},
             {Syntax::TURTLE, "", "\"\"\"x \\\"\"\"", "string"},
             {Syntax::TURTLE, "", "<a:b", "IRI"},
             {Syntax::TURTLE, "", "<a:\\u0061", "IRI"},
             {Syntax::TURTLE, "'x'^^", "<a:b", "IRI"},
             {Syntax::TURTLE, "", "(1 ", "'('"},
             {Syntax::TURTLE, "", "( # )", "'('"},
             {Syntax::TURTLE, "( ", "( 1 .", "'('"},
             {Syntax::TURTLE, "", "[", "'['"},
             {Syntax::TURTLE, "", "[<a:p>", "'['"},
             {Syntax::TURTLE, "", "[ <a:p> 'x'", "'['"},
             {Syntax::TURTLE, "", "[ <a:p> 'x' ;", "'['"},
             {Syntax::TURTLE, "", "[ <a:p> [ ] , ", "'['"},
             {Syntax::TURTLE, "", "<< <a:s>", "'<<'"},
             {Syntax::TURTLE, "", "<< <a:s> <a:p> 'x'@en ~", "'<<'"},
             {Syntax::TURTLE, "", "<< <a:s> <a:p> <<( <a:s> <a:p> 1 )>>", "'<<'"},
             {Syntax::TURTLE, "", "<<(", "'<<('"},
             {Syntax::TURTLE, "", "<<( <a:s> <a:p> 1 ", "'<<('"},
             {Syntax::TURTLE, "<a:o> ", "{| <a:p>", "'{|'"},
             {Syntax::TURTLE, "<a:o> ", "{| <a:p> ( 1 ) ", "'{|'"},
             {Syntax::TURTLE, "<< <a:s> <a:p> ", "[", "'['"},
             {Syntax::TURTLE, "<< <a:s> <a:p> ", "[ .", "'['"},
             {Syntax::TRIG, "<a:o> . <a:g> ", "{ <a:s> <a:p> 1", "'{'"},
             {Syntax::TRIG, "<a:o> . ", "{ <a:s> <a:p> 1 .", "'{'"},
             {Syntax::TRIG, "<a:o> . ", "{ <a:s> <a:p> 1 ; ", "'{'"},
             {Syntax::TRIG, "<a:o> . ", "{ <a:s>", "'{'"},
             {Syntax::N_TRIPLES, "", "\"x", "string"},
             {Syntax::N_TRIPLES, "", "<a:b", "IRI"},
             {Syntax::N_TRIPLES, "", "<<(", "'<<('"},
             {Syntax::N_QUADS, "", "<<( <a:s>", "'<<('"},
             {Syntax::N_QUADS, "", "<<( <a:s> <a:p> \n", "'<<('"},
             {Syntax::N_QUADS, "", "<<( <a:s> <a:p> \"x\" .\n", "'<<('"},
             {Syntax::N_QUADS, "<<( <a:s> <a:p> ", "<<( <a:s> <a:p> <a:o> ", "'<<('"},
             {Syntax::N_QUADS, "", "<<( <a:s> <a:p> <<( <a:s> <a:p> <a:o> )>> ", "'<<('"},
         }) {
        const std::string before = "\n<a:s> <a:p> " + one.m_before;
        const std::string text = before + one.m_text;
        const std::string error = errorOf(text, strict(one.m_syntax));
        const std::string expected = "2:" + std::to_string(before.size()) + ": this " + one.m_kind + " is not closed: ";
        EXPECT_EQ(expected, error.substr(0, expected.size())) << text << '\n' << error;
        EXPECT_EQ(readText(text, strict(one.m_syntax)), readInPieces(text, 1, strict(one.m_syntax))) << text;
        EXPECT_EQ(std::vector<std::string>{error}, readText(text, lenient(one.m_syntax)).m_errors) << text;
    }
    EXPECT_EQ("1:29: expected ')>>', found ')'",
              errorOf("<a:s> <a:p> <<( <a:s> <a:p> )> .", strict(Syntax::N_TRIPLES)).replace(15, 9, "')>>'"))
        << "the text within a bracket may be wrong itself";
}

TEST(SyntaxErrorTest, aMessageStartsWithFileLineAndColumn) {
    SyntaxError error;
    error.m_place = {12, 7, 100};
    error.m_message = "expected a predicate, found '.'";
    EXPECT_EQ("x.ttl:12:7: expected a predicate, found '.'", error.format("x.ttl"));
}

TEST(SyntaxErrorTest, aZeroByteIsNamed) {
    EXPECT_EQ("1:6: expected a predicate, found U+0000",
              errorOf(std::string("<a:s>\0<a:p> <a:o> .", 19), strict(Syntax::N_TRIPLES)));
}

TEST(SyntaxErrorTest, withoutABaseIrisMustBeAbsolute) {
    ReaderOptions options = strict(Syntax::TURTLE);
    options.m_base.clear();
    EXPECT_EQ("1:1: expected an absolute IRI, as there is no base, found '<s>'", errorOf("<s> <p> <o> .", options));
}

TEST(SyntaxErrorTest, rdf11HasNoTripleTermsDirectionsAndVersions) {
    const ReaderOptions options = strict(Syntax::TURTLE, Version::RDF_1_1);
    EXPECT_EQ("1:13: expected an object, found '<'", errorOf("<a:s> <a:p> <<( <a:s> <a:p> <a:o> )>> .", options));
    EXPECT_EQ("1:1: expected a subject, found '<'", errorOf("<< <a:s> <a:p> <a:o> >> <a:p> <a:o> .", options));
    EXPECT_EQ("1:19: expected ',', ';' or '.', found '~'", errorOf("<a:s> <a:p> <a:o> ~ .", options));
    EXPECT_EQ("1:19: expected ',', ';' or '.', found '{'", errorOf("<a:s> <a:p> <a:o> {| <a:p> <a:o> |} .", options));
    EXPECT_EQ("1:20: expected a further part of the language tag, found '-ltr'",
              errorOf("<a:s> <a:p> \"x\"@en--ltr .", options));
    EXPECT_EQ("1:1: expected a statement, found '@version'", errorOf("@version \"1.2\" .", options));
    EXPECT_EQ("1:1: expected a subject, found 'VERSION'", errorOf("VERSION \"1.2\"", options));
}

} // namespace
