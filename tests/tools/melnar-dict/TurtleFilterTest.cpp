#include "tools/melnar-dict/TurtleFilter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

namespace {

using Lines = std::vector<uint64_t>;

class TurtleFilterTest : public testing::Test {
protected:
    /// The filtered text; where there is a fault, its line and cause in brackets.
    std::string filter(const std::string& text, const bool graphsAllowed = false) {
        TurtleFilter filter(graphsAllowed);
        return filterOn(filter, text);
    }

    std::string filterOn(TurtleFilter& filter, const std::string& text) {
        std::string output;
        m_literalLines.clear();
        if (const auto fault = filter.filter(text, output, m_literalLines))
            return "[" + std::to_string(fault->m_line) + ": " + fault->m_cause + "]";
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), std::count(output.begin(), output.end(), '\n')) << text;
        return output;
    }

    Lines m_literalLines;
};

TEST_F(TurtleFilterTest, leavesMostTextAsItIs) {
    for (const std::string text : {"", "<s> <p> <o> .\n", "<s> <p> \"x\" , 'y'@en-US ; <q> \"\"\"l\no\n\"\"\"^^<t> .\n",
                                   "<s> a [ <p> ( 1 \"2\" 3.5 ) ] .\n", "@base <b> .\nBASE <b>\n",
                                   "<s> <p> \"\" , '' , \"\\\"\" , 1 , -1.5 , +.5e10 , true .\n", "\r\n\t "})
        EXPECT_EQ(text, filter(text));
}

TEST_F(TurtleFilterTest, escapesQuotesWithinLongStrings) {
    EXPECT_EQ(R"(<s> <p> """a\"\n""" .)", filter(R"(<s> <p> """a"\n""" .)"));
    EXPECT_EQ(R"(<s> <p> """a\"\"\\n\"b""" .)", filter(R"(<s> <p> """a""\\n"b""" .)"));
    EXPECT_EQ(R"(<s> <p> """\"\"""" .)", filter(R"(<s> <p> """"\"""" .)"));
    EXPECT_EQ(R"(<s> <p> '''a\'\'"b''' .)", filter(R"(<s> <p> '''a''"b''' .)"));
}

TEST_F(TurtleFilterTest, separatesTokensThatSerdWouldJoin) {
    EXPECT_EQ("<s> <p> 123 .", filter("<s> <p> 123."));
    EXPECT_EQ("<s> <p> 1.5 .", filter("<s> <p> 1.5."));
    EXPECT_EQ("@prefix e: <e> . e:s e:p e:o .", filter("@prefix e: <e> . e:s e:p e:o."));
    EXPECT_EQ("@prefix e: <e> . <s> <p> 1 .e:s", filter("@prefix e: <e> . <s> <p> 1.e:s"));
    EXPECT_EQ("@prefix e: <e> . <s> <p> e:a.b\\. ..", filter("@prefix e: <e> . <s> <p> e:a.b\\. .."));
    EXPECT_EQ("<s> a <o> .", filter("<s> a<o> ."));
}

TEST_F(TurtleFilterTest, renamesLabelsAwayFromSerdsOwn) {
    EXPECT_EQ("_:xb1 <p> _:xB1 .", filter("_:b1 <p> _:B1."));
}

TEST_F(TurtleFilterTest, renamesPrefixesAwayFromTheBooleans) {
    EXPECT_EQ("@prefix xtrue: <t> .\nxtrue:s xtrue:p true , false .",
              filter("@prefix true: <t> .\ntrue:s true:p true , false ."));
    EXPECT_EQ("PREFIX xfalse.x: <t> PREFIX xxtrue: <t> xxtrue:s xfalse.x:p <o> .",
              filter("PREFIX false.x: <t> PREFIX xtrue: <t> xtrue:s false.x:p <o> ."));
    EXPECT_EQ("PREFIX tru: <t> tru:s tru:true <o> .", filter("PREFIX tru: <t> tru:s tru:true <o> ."));
}

TEST_F(TurtleFilterTest, movesSpaceOutOfLiterals) {
    EXPECT_EQ("<s> <p> \"x\"@en  .", filter("<s> <p> \"x\" @en ."));
    EXPECT_EQ("<s> <p> \"x\"^^<t>\n\n .", filter("<s> <p> \"x\"\n # c\n ^^<t> ."));
    EXPECT_EQ("@prefix e: <e> . <s> <p> \"x\"^^e:t\n.", filter("@prefix e: <e> . <s> <p> \"x\" ^^ # c\n e:t."));
    EXPECT_EQ("<s> <p> \"x\"\n\n.", filter("<s> <p> \"x\" # c\n\n."));
}

TEST_F(TurtleFilterTest, movesSpaceOutOfLiteralsThatGoOverTexts) {
    TurtleFilter filter(false);
    EXPECT_EQ("<s> <p> \"x\"", filterOn(filter, "<s> <p> \"x\""));
    std::string output;
    for (const char* const text : {"\n", " ^^\n", "\n", "<t>"})
        EXPECT_EQ(std::nullopt, filter.filter(text, output, m_literalLines));
    EXPECT_EQ("^^<t>\n\n\n", output);
}

TEST_F(TurtleFilterTest, leavesCommentsOut) {
    using namespace std::string_literals;
    EXPECT_EQ("\n<s> <p> <#o> . \n", filter("# c \0 \"\n<s> <p> <#o> . # <s> <p> \"x\" .\n"s));
    EXPECT_EQ("<s> <p> <o> \r.", filter("<s> <p> <o> # c\r."));
}

TEST_F(TurtleFilterTest, tellsTheLineThatEachLiteralStartsIn) {
    filter("<s>\n<p> \"a\" ,\n'''b\n\n''' , 5 , \"c\"\n@en , true .\n<s> <p> <true> , -1.5.\n");
    EXPECT_EQ((Lines{2, 3, 5, 5, 6, 7}), m_literalLines);
}

TEST_F(TurtleFilterTest, goesOnInALongStringFromTextToText) {
    TurtleFilter filter(false);
    EXPECT_EQ("<s> <p> \"\"\"a\n", filterOn(filter, "<s> <p> \"\"\"a\n"));
    EXPECT_EQ("# no comment \\\"\n", filterOn(filter, "# no comment \"\n"));
    EXPECT_EQ(Lines{}, m_literalLines);
    EXPECT_EQ("\"\"\" . \n", filterOn(filter, "\"\"\" . # c\n"));
    EXPECT_EQ(4u, filter.getLine());
}

TEST_F(TurtleFilterTest, startsAgainOutsideOfEverything) {
    TurtleFilter filter(true);
    filterOn(filter, "@prefix e: <e> .\n{ <s> <p> ((( \"\"\"a\n");
    filter.restart(10);
    EXPECT_EQ("[10: '}' without '{']", filterOn(filter, "}"));
    filter.restart(20);
    EXPECT_EQ("e:s e:p \"x\" .", filterOn(filter, "e:s e:p \"x\" .")) << "prefixes stay declared";
    EXPECT_EQ(Lines{20}, m_literalLines);
}

TEST_F(TurtleFilterTest, refusesEscapesThatStandForNothing) {
    EXPECT_EQ("[1: an escape stands for half of a surrogate pair]", filter("<s> <p> \"x\\uD800\" ."));
    EXPECT_EQ("[3: an escape stands for half of a surrogate pair]", filter("<s> <p> '''x\n\n\\udfff''' ."));
    EXPECT_EQ("[1: an escape stands for a number beyond Unicode]", filter("<s> <p> \"x\\U00110000\" ."));
    EXPECT_EQ("[1: an escape stands for a character that an IRI cannot hold]", filter("<s> <p> <a\\u0020b> ."));
    EXPECT_EQ("<s> <p> \"\\\\uD800\" . \n", filter("<s> <p> \"\\\\uD800\" . # \\uD800\n"));
}

TEST_F(TurtleFilterTest, refusesPrefixesThatAreNotDeclared) {
    EXPECT_EQ("[2: the prefix 'e:' has not been declared]", filter("\ne:s <p> <o> ."));
    EXPECT_EQ("[1: the prefix ':' has not been declared]", filter("<s> :p <o> ."));
    EXPECT_EQ("[1: the prefix 'f:' has not been declared]", filter("@prefix e: <e> . e:s f:p <o> ."));
    EXPECT_EQ("[1: the prefix 'e:' has not been declared]", filter("<s> <p> \"x\"^^e:t ."));
    EXPECT_EQ("@prefix : <e> . :s :p :o .", filter("@prefix : <e> . :s :p :o ."));
}

TEST_F(TurtleFilterTest, refusesWhatSerdTakesFromOtherLanguages) {
    EXPECT_EQ("[1: Turtle has no graphs]", filter("{ <s> <p> <o> }"));
    EXPECT_EQ("[1: unexpected '=']", filter("<s> <p> [ == <o> ; ] ."));
    EXPECT_EQ("[1: unexpected '=']", filter("<s> = <o> ."));
    EXPECT_EQ("[1: a zero byte]", filter(std::string("<s> <p> <o> .\0", 14)));
}

TEST_F(TurtleFilterTest, refusesStatementsWithoutSubjectOrPredicate) {
    EXPECT_EQ("[1: expected a subject instead of 'abc']", filter("abc <p> <o> ."));
    EXPECT_EQ("[1: expected a subject instead of 'a']", filter("a <p> <o> ."));
    EXPECT_EQ("[2: expected a subject instead of 'true']", filter("<s> <p> <o> .\ntrue <p> <o> ."));
    EXPECT_EQ("[1: expected a predicate]", filter("[] ."));
    EXPECT_EQ("[1: expected a predicate]", filter("PREFIX e: <e> [ ] ."));
    EXPECT_EQ("[1: expected a predicate]", filter("{ [] }", true));
    EXPECT_EQ("[1: expected a predicate]", filter("<g> { <s> <p> <o> . [] . }", true));
    EXPECT_EQ("<s> <p> [] . [] <p> <o> . [ <p> <o> ] .", filter("<s> <p> [] . [] <p> <o> . [ <p> <o> ] ."));
    EXPECT_EQ("[] { <s> <p> [] }", filter("[] { <s> <p> [] }", true));
}

TEST_F(TurtleFilterTest, refusesDirectivesGluedToANameAndGraphsThatDoNotStart) {
    EXPECT_EQ("[1: unknown directive '@prefixe']", filter("@prefixe: <e> ."));
    EXPECT_EQ("[1: unknown directive '@base-x']", filter("@base-x <e> ."));
    EXPECT_EQ("[1: '}' without '{']", filter("<s> <p> <o> . }", true));
    EXPECT_EQ("@prefix: <e> . :s :p :o .", filter("@prefix: <e> . :s :p :o ."));
    EXPECT_EQ("<s> <p> \"x\"@prefix .", filter("<s> <p> \"x\"@prefix ."));
}

TEST_F(TurtleFilterTest, refusesLabelsThatAreNone) {
    for (const std::string text : {"_: <p> <o> .", "_:-a <p> <o> .", "_:. <p> <o> .", "_:\xC2\xB7 <p> <o> ."})
        EXPECT_EQ("[1: a blank node has no label or a wrong one]", filter(text));
}

TEST_F(TurtleFilterTest, refusesNestingThatSerdsStackDoesNotBear) {
    const std::string deep =
        std::string(TurtleFilter::MAXIMUM_NESTING, '(') + std::string(TurtleFilter::MAXIMUM_NESTING, ')');
    EXPECT_EQ(deep, filter(deep));
    EXPECT_EQ("[1: brackets are nested too deeply]", filter("[" + deep));
    EXPECT_EQ(deep + deep, filter(deep + deep)) << "brackets that are closed no longer count";
}

TEST_F(TurtleFilterTest, handsMistakesOnForSerdToJudge) {
    for (const std::string text :
         {"<s> <p> \"x\ny .\n", "<s <p> <o> .\n", "<s> <p> \"x\\q\" .\n", "@forAll .\n", "] ) .\n",
          "<s> <p> \"x\"^ ^<t> .\n", "<s> <p> \"x\"@ en .\n", "<s> <p> \"x\\\n", "% ! $ \\ & \n", "_ \n"})
        EXPECT_EQ(text, filter(text));
}

} // namespace
