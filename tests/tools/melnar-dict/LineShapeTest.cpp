#include "tools/melnar-dict/LineShape.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using Kind = LineShape::Kind;

LineShape shapeOf(const std::string_view line) {
    return shapeOfLine(line, false);
}

std::string causeOf(const std::string_view line, const bool graphsAllowed = false) {
    const LineShape shape = shapeOfLine(line, graphsAllowed);
    EXPECT_EQ(Kind::FAULTY, shape.m_kind) << line;
    return shape.m_cause == nullptr ? "" : shape.m_cause;
}

TEST(LineShapeTest, knowsLinesWithoutAStatement) {
    for (const std::string_view line : {"", " ", "\t \t", "#", "  # <a:s> <a:p> <a:o> .", "#\""})
        EXPECT_EQ(Kind::BLANK, shapeOf(line).m_kind) << line;
}

TEST(LineShapeTest, knowsStatements) {
    for (const std::string_view line :
         {"<a:s> <a:p> <a:o> .", "<a:s><a:p><a:o>.", "\t<a:s>\t<a:p>\t\"x\"\t.\t", "_:b <a:p> _:c .", "_:b<a:p>_:c.",
          "<a:s> <a:p> \"\" .", "<a:s> <a:p> \"x\"@en-GB .", "<a:s> <a:p> \"x\"^^<a:t>.", "<a:s> <a:p> \"x\"@en.#c",
          "<a:s> <a:p> \"\\\"\" .", "<a:s> <a:p> \"\\\\\" .", "<a:s> <a:p> \"a . <b> # c\" .", "_:a.b <a:p> _:c.d .",
          "_:1 <a:p> _:_ .", "<a:s> <a:p> <a:o> . # comment .", "_:\xC3\xA4 <a:p> <a:o> ."})
        EXPECT_EQ(Kind::STATEMENT, shapeOf(line).m_kind) << line;
}

TEST(LineShapeTest, tellsWhereTheStatementEndsAndTheCommentStarts) {
    const std::string_view line = "<a:s> <a:p> \"#\" . # c";
    EXPECT_EQ(line.data() + line.size() - 3, shapeOf(line).m_end);
    const std::string_view comment = "  # c";
    EXPECT_EQ(comment.data() + 2, shapeOf(comment).m_end);
    const std::string_view plain = "<a:s> <a:p> <a:o> .";
    EXPECT_EQ(plain.data() + plain.size(), shapeOf(plain).m_end);
}

TEST(LineShapeTest, refusesEveryTermThatIsMissingOrOfTheWrongKind) {
    EXPECT_EQ("expected a subject: an IRI or a blank node", causeOf("\"x\" <a:p> <a:o> ."));
    for (const std::string_view line :
         {"a:s <a:p> <a:o> .", "[] <a:p> <a:o> .", "() <a:p> <a:o> .", "@prefix a: <b:> .", "BASE <a:b>",
          "{ <a:s> <a:p> <a:o> . }", ".", "\xEF\xBB\xBF<a:s> <a:p> <a:o> ."})
        EXPECT_EQ("expected a subject: an IRI or a blank node", causeOf(line)) << line;
    for (const std::string_view line :
         {"<a:s>", "<a:s> _:p <a:o> .", "<a:s> a <a:o> .", "<a:s> \"x\" <a:o> .", "<a:s> ."})
        EXPECT_EQ("expected a predicate: an IRI", causeOf(line)) << line;
    for (const std::string_view line : {"<a:s> <a:p>", "<a:s> <a:p> .", "<a:s> <a:p> 5 .", "<a:s> <a:p> 'x' .",
                                        "<a:s> <a:p> a:o .", "<a:s> <a:p> [] ."})
        EXPECT_EQ("expected an object: an IRI, a blank node or a literal", causeOf(line)) << line;
    for (const std::string_view line :
         {"<a:s> <a:p> <a:o>", "<a:s> <a:p> <a:o> ;", "<a:s> <a:p> \"x\"\"y\" .", "<a:s> <a:p> \"\"\"x\"\"\" .",
          "<a:s> <a:p> <a:o> # .", "<a:s> <a:p> <a:o> <a:g> ."})
        EXPECT_EQ("expected '.' behind the statement", causeOf(line)) << line;
    for (const std::string_view line : {"<a:s> <a:p> <a:o> . <a:s> <a:p> <a:o> .", "<a:s> <a:p> <a:o> ..",
                                        "<a:s> <a:p> _:o.. ", "<a:s> <a:p> <a:o> . x"})
        EXPECT_EQ("expected the end of the line behind the statement", causeOf(line)) << line;
}

TEST(LineShapeTest, refusesTermsWithoutAnEnd) {
    EXPECT_EQ("an IRI lacks its '>'", causeOf("<a:s <a:p"));
    EXPECT_EQ("a string lacks its closing quote", causeOf("<a:s> <a:p> \"x ."));
    EXPECT_EQ("a string lacks its closing quote", causeOf("<a:s> <a:p> \"x\\\" ."));
    EXPECT_EQ("a string lacks its closing quote", causeOf("<a:s> <a:p> \""));
}

TEST(LineShapeTest, refusesDatatypesThatAreNoIri) {
    for (const std::string_view line : {"<a:s> <a:p> \"x\"^^a:b .", "<a:s> <a:p> \"x\"^<a:b> .", "<a:s> <a:p> \"x\"^^",
                                        "<a:s> <a:p> \"x\"^^ <a:b> .", "<a:s> <a:p> \"x\"^"})
        EXPECT_EQ("expected a datatype: '^^' and an IRI", causeOf(line)) << line;
}

TEST(LineShapeTest, refusesTagsWhoseLettersADigitFollows) {
    for (const std::string_view line : {"<a:s> <a:p> \"x\"@en1 .", "<a:s> <a:p> \"x\"@z7h-Hant ."})
        EXPECT_EQ("a language tag does not start with letters alone", causeOf(line)) << line;
    for (const std::string_view line : {"<a:s> <a:p> \"x\"@1 .", "<a:s> <a:p> \"x\"@ .", "<a:s> <a:p> \"x\"@-1 ."})
        EXPECT_EQ(Kind::STATEMENT, shapeOf(line).m_kind) << "the parser refuses it itself: " << line;
}

TEST(LineShapeTest, refusesBlankNodesThatAreNone) {
    EXPECT_EQ("a blank node lacks its ':'", causeOf("_ <a:p> <a:o> ."));
    EXPECT_EQ("a blank node lacks its ':'", causeOf("_b <a:p> <a:o> ."));
    for (const std::string_view line :
         {"_: <a:p> <a:o> .", "_:-a <a:p> <a:o> .", "_:.a <a:p> <a:o> .", "_:. <a:p> <a:o> .",
          "_:\xC2\xB7 <a:p> <a:o> .", "_:\xCC\x80 <a:p> <a:o> .", "_:\xE2\x80\xBF <a:p> <a:o> ."})
        EXPECT_EQ("a blank node has no label or a wrong one", causeOf(line)) << line;
    EXPECT_EQ("expected a predicate: an IRI", causeOf("_:a:b <a:p> <a:o> ."));
    EXPECT_EQ("a subject ends with '.'", causeOf("_:a. <a:p> <a:o> ."));
}

TEST(LineShapeTest, refusesEscapesThatStandForNothing) {
    EXPECT_EQ("an escape stands for half of a surrogate pair", causeOf("<a:s> <a:p> \"\\uD800\" ."));
    EXPECT_EQ("an escape stands for a character that an IRI cannot hold", causeOf("<a:s> <a:\\u0020> <a:o> ."));
    EXPECT_EQ("an escape stands for a number beyond Unicode", causeOf("<a:s> <a:p> \"x\"^^<a:\\U00110000> ."));
    EXPECT_EQ(Kind::STATEMENT, shapeOf("<a:s> <a:p> <a:o> . # \\uD800").m_kind);
}

TEST(LineShapeTest, takesAGraphOnlyWhereThereAreGraphs) {
    for (const std::string_view line :
         {"<a:s> <a:p> <a:o> <a:g> .", "<a:s> <a:p> \"x\" _:g .", "<a:s> <a:p> \"x\"@en<a:g>."}) {
        EXPECT_EQ(Kind::STATEMENT, shapeOfLine(line, true).m_kind) << line;
        EXPECT_EQ(Kind::FAULTY, shapeOfLine(line, false).m_kind) << line;
    }
    EXPECT_EQ(Kind::STATEMENT, shapeOfLine("<a:s> <a:p> <a:o> .", true).m_kind);
    EXPECT_EQ("expected '.' behind the statement", causeOf("<a:s> <a:p> <a:o> <a:g> <a:h> .", true));
    EXPECT_EQ("expected '.' behind the statement", causeOf("<a:s> <a:p> <a:o> \"g\" .", true));
}

TEST(LineShapeTest, tellsWhichSubjectsAreKeywordsForTheParser) {
    for (const std::string_view line :
         {"_:base <a:p> <a:o> .", "_:PREFIX <a:p> <a:o> .", "_:gRAPH<a:p> <a:o> .", "_:base <a:p> _:graph ."})
        EXPECT_EQ(line.data() + 2, shapeOf(line).m_keyword) << line;
    for (const std::string_view line : {"_:bas <a:p> <a:o> .", "_:base1 <a:p> <a:o> .", "<base:> <a:p> <a:o> .",
                                        "_:b <a:p> _:base .", "_:base.base <a:p> <a:o> ."})
        EXPECT_EQ(nullptr, shapeOf(line).m_keyword) << line;
}

TEST(LineShapeTest, asksForASpaceBetweenAGraphsLabelAndTheFullStop) {
    const std::string_view line = "<a:s> <a:p> _:o _:g.";
    EXPECT_EQ(line.data() + line.size() - 1, shapeOfLine(line, true).m_gap);
    EXPECT_EQ(nullptr, shapeOfLine("<a:s> <a:p> _:o _:g .", true).m_gap);
    EXPECT_EQ(nullptr, shapeOfLine("<a:s> <a:p> _:o.", true).m_gap);
}

} // namespace
