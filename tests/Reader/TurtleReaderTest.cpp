#include "Reader/TurtleReader.h"

#include "tests/Reader/GraphIsomorphism.h"
#include "tests/Reader/ReadText.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

using namespace Rdf;
using Strings = std::vector<std::string>;

const std::string PREFIX = "@prefix : <u:> .\n";
const std::string RDF = "<http://www.w3.org/1999/02/22-rdf-syntax-ns#";

/// Returns the statements of a text after a prefix declaration, or the errors.
std::string read(const std::string& text, const Version version = Version::RDF_1_2) {
    const ReadResult result = readText(PREFIX + text, strict(Syntax::TURTLE, version));
    EXPECT_EQ(result, readInPieces(PREFIX + text, 1, strict(Syntax::TURTLE, version)));
    return result.m_errors.empty() ? result.m_statements : result.m_errors.front();
}

/// Returns the only object of a statement of :s and :p, in canonical form.
std::string objectOf(const std::string& text) {
    const std::string statements = read(":s :p " + text + " .");
    const std::string_view before = "<u:s> <u:p> ";
    if (!statements.starts_with(before) || statements.find('\n') != statements.size() - 1)
        return statements;
    return statements.substr(before.size(), statements.size() - before.size() - 3);
}

std::string typed(const std::string& text, const std::string& type) {
    return "\"" + text + "\"^^<http://www.w3.org/2001/XMLSchema#" + type + ">";
}

TEST(TurtleReaderTest, numbers) {
    for (const char* const integer : {"0", "007", "-1", "+1", "12345678901234567890"})
        EXPECT_EQ(typed(integer, "integer"), objectOf(integer));
    for (const char* const decimal : {"0.0", "-1.5", "+.5", ".5", "1.25"})
        EXPECT_EQ(typed(decimal, "decimal"), objectOf(decimal));
    for (const char* const number : {"1e1", "1.e1", "1.5E-3", "-.5e+10", "1E0"})
        EXPECT_EQ(typed(number, "double"), objectOf(number));
}

TEST(TurtleReaderTest, aFullStopAfterAnIntegerEndsTheStatement) {
    EXPECT_EQ("<u:s> <u:p> " + typed("123", "integer") + " .\n", read(":s :p 123."));
    EXPECT_EQ("<u:s> <u:p> " + typed("1.5", "decimal") + " .\n<u:s> <u:p> " + typed("2", "integer") + " .\n",
              read(":s :p 1.5.:s :p 2."));
}

TEST(TurtleReaderTest, booleansAreWordsNotPrefixes) {
    EXPECT_EQ(typed("true", "boolean"), objectOf("true"));
    EXPECT_EQ(typed("false", "boolean"), objectOf("false"));
    EXPECT_EQ("<u:s> <u:p> " + typed("true", "boolean") + " .\n", read(":s :p true."));
    EXPECT_EQ("<u:s> <u:p> <v:x> .\n", read("@prefix true: <v:> . :s :p true:x ."));
    EXPECT_EQ("<v:s> <v:p> <v:> .\n", read("@prefix a: <v:> . a:s a:p a: ."));
}

TEST(TurtleReaderTest, stringsInQuotesOfAllKinds) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {"\"x\"", "\"x\""},
        {"'x'", "\"x\""},
        {"\"\"", "\"\""},
        {"''", "\"\""},
        {"\"\"\"\"\"\"", "\"\""},
        {"''''''", "\"\""},
        {"\"it's\"", "\"it's\""},
        {"'a \"b\"'", "\"a \\\"b\\\"\""},
        {"\"\"\"a\nb\r\nc\"\"\"", "\"a\\nb\\r\\nc\""},
        {"'''a''b'c'''", "\"a''b'c\""},
        {"\"\"\"\"a\"\"\"", "\"\\\"a\""},
        {"\"\"\"say \"\\n\"\"\"", "\"say \\\"\\n\""},
        {"\"\"\"a\\\"\"\"\"", "\"a\\\"\""},
        {"'\\t\\b\\n\\r\\f\\\"\\'\\\\\\u00E4\\U0001F600'", "\"\\t\\b\\n\\r\\f\\\"'\\\\\xC3\xA4\xF0\x9F\x98\x80\""},
        {"\"x\"@en", "\"x\"@en"},
        {"\"x\" @en", "\"x\"@en"},
        {"\"x\"# comment\n@en", "\"x\"@en"},
        {"\"x\"@en-GB--rtl", "\"x\"@en-gb--rtl"},
        {"\"x\"^^:d", "\"x\"^^<u:d>"},
        {"\"x\" ^^ <u:d>", "\"x\"^^<u:d>"},
        {"'''x'''^^<d>", "\"x\"^^<http://b.example/d>"},
        {"'x'\n@en", "\"x\"@en"},
        {"'x'\n^^ # comment\n:d", "\"x\"^^<u:d>"},
        {"'x'^^<../a/./b/../d?x/../y>", "\"x\"^^<http://b.example/a/d?x/../y>"},
        {"'x'^^<a/../../b/./c/..>", "\"x\"^^<http://b.example/b/>"},
        {"'x'^^<\\u0075:d>", "\"x\"^^<u:d>"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(expected, objectOf(text)) << text;
}

TEST(TurtleReaderTest, prefixedNames) {
    const std::vector<std::pair<std::string, std::string>> cases{
        {":", "<u:>"},
        {":a", "<u:a>"},
        {":a.b", "<u:a.b>"},
        {":a:b", "<u:a:b>"},
        {"::", "<u::>"},
        {":1", "<u:1>"},
        {":_", "<u:_>"},
        {":a-b", "<u:a-b>"},
        {":%41%4a", "<u:%41%4a>"},
        {":a\\.", "<u:a.>"},
        {":\\~\\.\\-\\!\\$\\&\\'\\(\\)\\*\\+\\,\\;\\=\\/\\?\\#\\@\\%\\_", "<u:~.-!$&'()*+,;=/?#@%_>"},
        {":\xC3\xA4\xC2\xB7\xE2\x80\xBF", "<u:\xC3\xA4\xC2\xB7\xE2\x80\xBF>"},
        {"<x>", "<http://b.example/x>"},
        {"<>", "<http://b.example/>"},
        {"<\\u0061>", "<http://b.example/a>"},
        {"<\\u0061:b>", "<a:b>"},
        {"<x\\U0000002By:b>", "<x+y:b>"},
        {"<u:\\U000000E4>", "<u:\xC3\xA4>"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(expected, objectOf(text)) << text;
    EXPECT_EQ("<v:x> <v:y> <v:z> .\n", read("@prefix \xC3\xA4.1-: <v:> . \xC3\xA4.1-:x \xC3\xA4.1-:y \xC3\xA4.1-:z."));
}

TEST(TurtleReaderTest, aNameMayNotStartWithHyphensOrCombiningCharacters) {
    EXPECT_EQ("2:8: expected ',', ';' or '.', found '-a'", read(":s :p :-a ."));
    EXPECT_EQ("2:8: expected ',', ';' or '.', found '\xC2\xB7'", read(":s :p :\xC2\xB7 ."));
    EXPECT_EQ("2:9: expected a label after '_:', found '-a'", read(":s :p _:-a ."));
}

TEST(TurtleReaderTest, directivesInBothForms) {
    EXPECT_EQ("<v:s> <v:p> <w:x/o> .\n<w:x/s> <v:p> <y:o> .\n",
              read("prefix a: <v:> BASE <w:x/y> a:s a:p <o> . pReFiX b: <y:> <s> a:p b:o ."));
    EXPECT_EQ("<v:s> <v:p> <w:x/o> .\n", read("@prefix a: <v:>. @base <w:x/y>. a:s a:p <o> ."));
    EXPECT_EQ("<w:a/b/s> <u:p> <w:a/> .\n", read("@base <w:a/> . @base <b/c> . <s> :p <../> ."));
    EXPECT_EQ("<u:s> <u:p> <v:o> .\n<u:s> <u:p> <w:o> .\n",
              read("@prefix a: <v:> . :s :p a:o . @prefix a: <w:> . :s :p a:o ."));
    EXPECT_EQ("2:1: expected a statement, found '@PREFIX'", read("@PREFIX a: <v:> ."));
}

TEST(TurtleReaderTest, commentsAreSpace) {
    EXPECT_EQ("<u:s> <u:p> <u:o> .\n", read("# a\n:s#b\r:p#c \" <\n:o#d.\n.#e"));
    EXPECT_EQ("<u:s> <u:p> <u:o#> .\n", read(":s :p <u:o#> ."));
    EXPECT_EQ("<u:s> <u:p> _:anon23 .\n", read(":s :p [ # comment ]\n] ."));
}

TEST(TurtleReaderTest, listsOfPredicatesAndObjects) {
    EXPECT_EQ("<u:s> <u:p> <u:a> .\n<u:s> <u:p> <u:b> .\n<u:s> " + RDF + "type> <u:c> .\n",
              read(":s :p :a , :b ;;; a :c ; ."));
}

TEST(TurtleReaderTest, brackets) {
    EXPECT_TRUE(
        areIsomorphic("_:a <u:p> <u:o> .\n_:a <u:q> _:b .\n_:b <u:r> _:c .\n", read("[ :p :o ; ] :q [ :r [] ] .")));
    EXPECT_EQ("_:anon17 <u:p> <u:o> .\n", read("[ :p :o ] ."));
    EXPECT_EQ("<u:s> <u:p> " + RDF + "nil> .\n", read(":s :p ( ) ."));
    const std::string list = "_:a " + RDF + "first> <u:a> .\n_:a " + RDF + "rest> _:b .\n_:b " + RDF +
                             "first> \"b\" .\n_:b " + RDF + "rest> " + RDF + "nil> .\n";
    EXPECT_TRUE(areIsomorphic("<u:s> <u:p> _:a .\n" + list, read(":s :p (:a 'b') .")));
    EXPECT_TRUE(areIsomorphic("_:a <u:p> <u:o> .\n" + list, read("(:a 'b') :p :o .")));
}

TEST(TurtleReaderTest, nodesWithoutLabelShareNoneWithOthers) {
    EXPECT_EQ("_:anon17 <u:p> _:anon_1 .\n_:anon_ <u:p> _:anon__1 .\n_:ano <u:p> _:b1 .\n",
              read("[] :p _:anon1 . _:anon :p _:anon_1 . _:ano :p _:b1 ."));
}

TEST(TurtleReaderTest, reifiersAndAnnotations) {
    const std::string triple = "<<( <u:s> <u:p> <u:o> )>>";
    const std::string reifies = " " + RDF + "reifies> " + triple + " .\n";
    EXPECT_EQ("<u:s> <u:p> <u:o> .\n<u:r>" + reifies + "<u:r> <u:a> <u:b> .\n_:anon43" + reifies +
                  "_:anon43 <u:c> <u:d> .\n",
              read(":s :p :o ~ :r {| :a :b |} {| :c :d |} ."));
    EXPECT_EQ("<u:s> <u:p> <u:o> .\n_:anon26" + reifies + "_:x" + reifies + "_:anon34" + reifies,
              read(":s :p :o ~ ~_:x ~[] ."));
    EXPECT_EQ("_:anon17" + reifies, read("<<:s :p :o>>."));
    for (const char* const reifier : {":r", "<u:r>"})
        EXPECT_EQ("<u:r>" + reifies + "<u:r> <u:q> " + triple + " .\n",
                  read(std::string("<< :s :p :o ~ ") + reifier + " >> :q <<( :s :p :o )>> ."));
}

TEST(TurtleReaderTest, aFaultyStatementGivesNoTriples) {
    const ReadResult result =
        readText(PREFIX + ":s :p 1 . :s :p 2, 3, [ :q 4 ], 5 ;; :p . :s :p 6 .", lenient(Syntax::TURTLE));
    EXPECT_EQ("<u:s> <u:p> " + typed("1", "integer") + " .\n<u:s> <u:p> " + typed("6", "integer") + " .\n",
              result.m_statements);
    EXPECT_EQ((Strings{"2:41: expected an object, found '.'"}), result.m_errors);
    EXPECT_EQ((Strings{"27-58"}), result.m_skipped);
}

TEST(TurtleReaderTest, placesOfLiterals) {
    const ReadResult result = readText(
        "@prefix : <u:> .\n:s :p \"a\" ,\n\t'''b\n''' , 3 ; :\xC3\xA4 true .\n:s :p ( 'c' ) .", strict(Syntax::TURTLE));
    EXPECT_EQ((Strings{"2:7:23 \"a\"", "3:2:30 \"b\n\"", "4:7:41 \"3\"^^http://www.w3.org/2001/XMLSchema#integer",
                       "4:14:49 \"true\"^^http://www.w3.org/2001/XMLSchema#boolean", "5:9:64 \"c\""}),
              result.m_literals);
}

TEST(TurtleReaderTest, aLiteralWithinATripleTermKeepsItsPlace) {
    const ReadResult result =
        readText("@prefix : <u:> .\n:s :p \"o\"\n {| :q \"x\" ~ |}\n ~ {| :r 'y' |} .", strict(Syntax::TURTLE));
    EXPECT_EQ(
        (Strings{"2:7:23 \"o\"", "2:7:23 \"o\"", "3:8:34 \"x\"", "3:8:34 \"x\"", "2:7:23 \"o\"", "4:10:52 \"y\""}),
        result.m_literals);
}

TEST(TurtleReaderTest, everyNodeWithoutLabelHasALabelOfItsOwn) {
    const std::string statements =
        statementsOf(PREFIX + "([][:p[]](())((1))((<<:s :p :o>>)(<<:s :p :o~>>))(:a\\~[]'~'[]true[])) :p :o .\n"
                              ":s :p :o ~ ~ ~[] {| :p () |} {| :p [] |} .",
                     strict(Syntax::TURTLE));
    std::set<std::string> labels;
    for (size_t at = statements.find("_:"); at != std::string::npos; at = statements.find("_:", at + 1))
        labels.insert(statements.substr(at, statements.find(' ', at) - at));
    constexpr size_t ELEMENTS = 6 + 1 + 2 + 4 + 6;
    constexpr size_t BRACKETS_AND_REIFIERS = 1 + 2 + 2 + 3 + 3 + 2;
    EXPECT_EQ(ELEMENTS + BRACKETS_AND_REIFIERS, labels.size());
}

TEST(TurtleReaderTest, aReaderStartsBetweenStatementsWithTheStateOfAnother) {
    struct Sink : StatementSink {
        void takeStatement(const Statement& statement) final {
            m_last = std::string(statement.m_subject.m_text) + ' ' + std::string(statement.m_object.m_text) + ' ' +
                     std::string(statement.m_graph.m_text);
        }
        void takeError(const SyntaxError& error) final { m_last = error.format("f"); }
        std::string m_last;
    } sink;
    const std::string begin = "@prefix : <u:> . @base <v:> . :g {\n[] :p :o . ";
    const std::string rest = "[] :p <o> .";
    TurtleReader first(strict(Syntax::TRIG), sink);
    first.read(begin, false);
    EXPECT_EQ("anon35 u:o u:g", sink.m_last);
    TurtleReader second(strict(Syntax::TRIG), sink);
    const TurtleState state = first.getState();
    second.startAt(first.getPlace(), state);
    second.read(rest, false);
    EXPECT_EQ("anon46 v:o u:g", sink.m_last);
    EXPECT_EQ(state, second.getState());
    second.read("} @prefix : <u:> . @base <v:> . :g {", false);
    EXPECT_NE(state, second.getState()) << "another graph of that name";
    EXPECT_EQ(state.m_context, second.getState().m_context) << "directives that change nothing";
    second.read("} @prefix : <w:> . [] :p :o . ", false);
    EXPECT_EQ(0u, sink.m_last.find("anon112 w:o")) << sink.m_last;
    first.read(rest, true);
    EXPECT_EQ("f:1:34: this '{' is not closed: expected a statement or '}', found the end of the text", sink.m_last);
    first.startAt({1, 1, 0}, state);
    first.read(":s :p :o }", true);
    EXPECT_EQ("u:s u:o u:g", sink.m_last);
}

TEST(TurtleReaderTest, graphsOfTrig) {
    const auto readTrig = [](const std::string& text) {
        const std::string whole = PREFIX + text;
        EXPECT_EQ(readText(whole, strict(Syntax::TRIG)), readInPieces(whole, 1, strict(Syntax::TRIG)));
        return statementsOf(whole, strict(Syntax::TRIG));
    };
    EXPECT_EQ("<u:a> <u:b> <u:c> .\n<u:s> <u:p> <u:o> .\n", readTrig("{ :a :b :c } :s :p :o ."));
    EXPECT_EQ("<u:a> <u:b> <u:c> <u:g> .\n<u:a> <u:b> <u:d> <u:g> .\n", readTrig(":g{:a :b :c. :a :b :d.}"));
    EXPECT_EQ("<u:a> <u:b> <u:c> _:g .\n", readTrig("_:g { :a :b :c }"));
    EXPECT_EQ("<u:a> <u:b> <u:c> _:anon17 .\n", readTrig("[ ] { :a :b :c }"));
    EXPECT_EQ("<u:a> <u:b> <u:c> <u:g> .\n", readTrig("GRAPH :g { :a :b :c } graph _:h { } {}"));
    EXPECT_EQ("_:anon22 <u:b> _:anon27 <u:g> .\n", readTrig(":g { [ :b [] ] }"));
    EXPECT_EQ("<u:a> <u:b> <u:c> <u:g> .\n<u:a> <v:b> <u:c> .\n",
              readTrig(":g { :a :b :c } @prefix v: <v:> . :a v:b :c ."));
}

/// Records the text of the statement of each triple.
class StatementTexts : public StatementSink {
public:
    void takeStatement(const Statement&) final { m_texts.emplace_back(m_reader->getStatementText()); }
    void takeError(const SyntaxError& error) final { FAIL() << error.m_message; }

    const TurtleReader* m_reader = nullptr;
    Strings m_texts;
};

TEST(TurtleReaderTest, returnsTheTextOfTheStatementOfATriple) {
    ReaderOptions options = strict(Syntax::TRIG);
    StatementTexts sink;
    TurtleReader reader(options, sink);
    sink.m_reader = &reader;
    const std::string text = PREFIX + " :a :b 1 ,\n 2 . # c\n :g { :c :d 3 } :e :f 'x. ' .";
    EXPECT_EQ(text.size(), reader.read(text, true));
    EXPECT_EQ((Strings{":a :b 1 ,\n 2 .", ":a :b 1 ,\n 2 .", ":c :d 3 ", ":e :f 'x. ' ."}), sink.m_texts);
}

} // namespace
