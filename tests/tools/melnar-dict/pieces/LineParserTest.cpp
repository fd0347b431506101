#include "tools/melnar-dict/pieces/LineParser.h"

#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

namespace {

using Errors = std::vector<std::pair<uint64_t, std::string>>;
using Literals = std::vector<std::pair<uint64_t, std::string>>;

class LineParserTest : public testing::Test {
protected:
    void parse(const std::string& text, const bool lenient = false, const RdfFormat format = RdfFormat::N_TRIPLES) {
        m_piece.clear(0);
        LineParser(makeReaderOptions(format, lenient, DEFAULT_MAXIMUM_LINE), m_collector).parse(text, m_piece);
    }

    Errors getErrors() const {
        Errors errors;
        for (const InputError& error : m_piece.m_errors) {
            EXPECT_EQ(ExitCode::BAD_DATA, error.m_exitCode);
            errors.emplace_back(error.m_line, error.m_cause);
        }
        return errors;
    }

    Literals getLiterals() const {
        Literals literals;
        const FormBatch& batch = m_piece.m_terms;
        for (size_t index = 0; index < batch.getEntries().size(); ++index)
            literals.emplace_back(batch.getLine(index), batch.getEntries()[index].m_lexicalForm);
        return literals;
    }

    LiteralCollector m_collector;
    ParsedPiece m_piece;
};

std::string statement(const std::string& object) {
    return "<a:s> <a:p> " + object + " .\n";
}

TEST_F(LineParserTest, collectsLiteralsWithTheirLines) {
    parse("# comment\n" + statement("\"a\"") + "\n" + statement("<a:o>") + statement("\"b\"@en-US") +
          statement("\"c\"^^<http://www.w3.org/2001/XMLSchema#string>") +
          statement("\"d@en\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral>") +
          statement("\"5\"^^<http://www.w3.org/2001/XMLSchema#integer>"));
    EXPECT_EQ(Errors{}, getErrors());
    EXPECT_EQ((Literals{{2, "a"}, {5, "b@en-US"}, {6, "c"}, {7, "d@en"}}), getLiterals());
    EXPECT_EQ(6u, m_piece.m_counts.m_statements);
    EXPECT_EQ(2u, m_piece.m_counts.m_strings);
    EXPECT_EQ(2u, m_piece.m_counts.m_plainLiterals);
    EXPECT_EQ(6u * 2 + 2, m_piece.m_counts.getNumberOfOtherTerms());
    EXPECT_EQ(8u, m_piece.m_numberOfLineEnds);
}

TEST_F(LineParserTest, countsGraphsAsTerms) {
    parse("<a:s> <a:p> \"x\" <a:g> .\n<a:s> <a:p> \"x\" .\n<a:s> <a:p> <a:o> _:g.\n", false, RdfFormat::N_QUADS);
    EXPECT_EQ(Errors{}, getErrors());
    EXPECT_EQ(3u, m_piece.m_counts.m_statements);
    EXPECT_EQ(2u + 2 + 3 + 2, m_piece.m_counts.getNumberOfOtherTerms());
}

TEST_F(LineParserTest, unescapesFromLeftToRight) {
    parse(statement(R"("\\n \n \\\" \u00e9 \U0001F600 \t\b\f\r")"));
    EXPECT_EQ((Literals{{1, "\\n \n \\\" \xC3\xA9 \xF0\x9F\x98\x80 \t\b\f\r"}}), getLiterals());
}

TEST_F(LineParserTest, keepsZeroBytesInLiteralsAndComments) {
    using namespace std::string_literals;
    parse("# c\0 <a:s> <a:p> \"no\" .\n"s + statement("\"a\0b\""s) + "<a:s> <a:p> \"c\" .#\0<a:s>\n"s +
          statement("\"d\""));
    EXPECT_EQ(Errors{}, getErrors());
    EXPECT_EQ((Literals{{2, "a\0b"s}, {3, "c"}, {4, "d"}}), getLiterals());
}

TEST_F(LineParserTest, endsStatementsAtCarriageReturnsAndCountsLineFeeds) {
    parse("<a:s> <a:p> \"a\" .\r<a:s> <a:p> \"b\" .\r\n# c\r<a:s> <a:p> \"c\" .\n\r\n<a:s> <a:p> \"d\" .");
    EXPECT_EQ(Errors{}, getErrors());
    EXPECT_EQ((Literals{{1, "a"}, {1, "b"}, {2, "c"}, {4, "d"}}), getLiterals());
    EXPECT_EQ(3u, m_piece.m_numberOfLineEnds);
}

TEST_F(LineParserTest, takesAWordThatIsLongerThanAnyBuffer) {
    const std::string text(100000, 'x');
    parse(statement("\"" + text + "\"") + statement("\"y\""));
    EXPECT_EQ((Literals{{1, text}, {2, "y"}}), getLiterals());
}

TEST_F(LineParserTest, stopsAtTheFirstErrorOfEitherKind) {
    parse(statement("\"a\"") + statement("bad") + statement("\"b\"") + statement("\"\\q\""));
    EXPECT_EQ((Errors{{2, "expected an object, found 'bad'"}}), getErrors());
    EXPECT_EQ((Literals{{1, "a"}}), getLiterals());
    parse(statement("\"a\"") + "# c\n" + statement("\"\\q\"") + statement("\"b\"") + statement("bad"));
    EXPECT_EQ((Errors{{3, "expected an escape such as \\n or \\u00E4 after the backslash, found 'q'"}}), getErrors());
    EXPECT_EQ((Literals{{1, "a"}}), getLiterals());
}

TEST_F(LineParserTest, continuesAfterEveryErrorWhenLenient) {
    parse(statement("\"a\"") + statement("\"\\q\"") + statement("\"\\r\\z\"") + statement("bad") + "# c\n" +
              statement("\"b\"") + statement("<a:\\u00>") + statement("\"\xC3\"") + statement("\"c\"") +
              statement("\"\xFF\"") + statement("\"\\uDC00\""),
          true);
    EXPECT_EQ((Errors{{2, "expected an escape such as \\n or \\u00E4 after the backslash, found 'q'"},
                      {3, "expected an escape such as \\n or \\u00E4 after the backslash, found 'z'"},
                      {4, "expected an object, found 'bad'"},
                      {7, "expected four hexadecimal digits after \\u, found '>'"},
                      {8, "expected its closing quote, found the byte 0xC3, which is not UTF-8 here"},
                      {10, "expected its closing quote, found the byte 0xFF, which is not UTF-8 here"},
                      {11, "expected the number of a character, found '\\uDC00', half a surrogate pair"}}),
              getErrors());
    EXPECT_EQ((Literals{{1, "a"}, {6, "b"}, {9, "c"}}), getLiterals());
    EXPECT_EQ(3u, m_piece.m_counts.m_statements);
    EXPECT_EQ(11u, m_piece.m_numberOfLineEnds);
}

TEST_F(LineParserTest, continuesInTheLineAfterAnError) {
    parse("<a:s> <a:p> \"a\" _:g.\n<a:s> <a:p> \"\\q\" _:g.\n<a:s> <a:p> \"b\" _:g.# c\n", true, RdfFormat::N_QUADS);
    EXPECT_EQ((Errors{{2, "expected an escape such as \\n or \\u00E4 after the backslash, found 'q'"}}), getErrors());
    EXPECT_EQ((Literals{{1, "a"}, {3, "b"}}), getLiterals());
}

TEST_F(LineParserTest, readsNothingOfTheRestOfALongLine) {
    for (const std::string& rest : {statement("\"x\""), std::string("<a:s> <a:p> \"x\" .\r"), std::string()}) {
        m_piece.clear(0);
        LineParser(makeReaderOptions(RdfFormat::N_TRIPLES, false, DEFAULT_MAXIMUM_LINE), m_collector)
            .parse(rest + statement("\"y\""), m_piece, rest.size());
        EXPECT_EQ(Errors{}, getErrors());
        const uint64_t line = rest.ends_with('\n') ? 2 : 1;
        EXPECT_EQ((Literals{{line, "y"}}), getLiterals());
        EXPECT_EQ(line, m_piece.m_numberOfLineEnds);
    }
}

TEST_F(LineParserTest, refusesWhatOnlyOtherFormatsHave) {
    for (const std::string line :
         {"@prefix a: <a:b> .\n", "PREFIX a: <a:b>\n", "BASE <a:b>\n", "<a:g> { <a:s> <a:p> <a:o> . }\n",
          "[] <a:p> <a:o> .\n", "<a:s> <a:p> <a:o> , <a:o> .\n", "<a:s> <a:p> <a:o> ; <a:p> <a:o> .\n",
          "<a:s> a <a:o> .\n", "<a:s> <a:p> true .\n", "<a:s> <a:p> '''x''' .\n", "<a:s>\n<a:p> <a:o> .\n",
          "<a:s> <a:p> <a:o> . <a:s> <a:p> <a:o> .\n"})
        for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::N_QUADS}) {
            parse(line, false, format);
            ASSERT_EQ(1u, m_piece.m_errors.size()) << line;
            EXPECT_EQ(1u, m_piece.m_errors[0].m_line) << line;
            EXPECT_EQ(0u, m_piece.m_counts.m_statements) << line;
        }
}

TEST_F(LineParserTest, refusesRelativeIris) {
    for (const std::string line :
         {"<s> <a:p> <a:o> .\n", "<a:s> <p> <a:o> .\n", "<a:s> <a:p> <o> .\n", "<a:s> <a:p> \"x\"^^<t> .\n"}) {
        parse(line);
        ASSERT_EQ(1u, m_piece.m_errors.size()) << line;
        EXPECT_TRUE(m_piece.m_errors[0].m_cause.starts_with("expected an absolute IRI, found '<")) << line;
    }
    parse("<a:s> <a:p> <> .\n");
    EXPECT_EQ((Errors{{1, "expected an absolute IRI, found '<>'"}}), getErrors());
}

TEST_F(LineParserTest, takesKeywordsForTheLabelsThatTheyAre) {
    for (const std::string label : {"base", "prefix", "graph", "BASE", "Prefix", "gRAPH"})
        for (const RdfFormat format : {RdfFormat::N_TRIPLES, RdfFormat::N_QUADS}) {
            const std::string start = "_:" + label + " <a:p> ";
            parse(start + "\"plain\" .\n" + start + "\"commented\" . # c\n" + start + "\"\\q\" . # c\n" + start +
                      "<a:\\u00e9> .\n" + start + "_:" + label + ".\n" + start + "\"end\" .",
                  true, format);
            EXPECT_EQ((Errors{{3, "expected an escape such as \\n or \\u00E4 after the backslash, found 'q'"}}),
                      getErrors())
                << label;
            EXPECT_EQ((Literals{{1, "plain"}, {2, "commented"}, {6, "end"}}), getLiterals()) << label;
            EXPECT_EQ(5u, m_piece.m_counts.m_statements) << label;
        }
    parse("_:base <a:p> \"x\" _:graph. # c\n_:graph <a:p> \"y\" <a:g> .\n", false, RdfFormat::N_QUADS);
    EXPECT_EQ(Errors{}, getErrors());
    EXPECT_EQ((Literals{{1, "x"}, {2, "y"}}), getLiterals());
}

TEST_F(LineParserTest, passesLiteralsWithADirection) {
    parse(statement("\"a\"@ar--rtl") + statement("\"b\"@ar"));
    EXPECT_EQ(Errors{}, getErrors());
    EXPECT_EQ((Literals{{2, "b@ar"}}), getLiterals());
    EXPECT_EQ(2u * 2 + 1, m_piece.m_counts.getNumberOfOtherTerms());
}

TEST_F(LineParserTest, reportsTheColumnOfAnError) {
    parse(statement("\"a\"") + "<a:\xC3\xA4> <a:p> bad .\n");
    ASSERT_EQ(1u, m_piece.m_errors.size());
    EXPECT_EQ(13u, m_piece.m_errors[0].m_column);
}

TEST_F(LineParserTest, refusesTheLineOfAWrongTagAndNotTheNext) {
    const std::string wrong = statement("\"a\"@en1");
    for (const std::string& text : {wrong, wrong + statement("\"b\"")}) {
        parse(text, true);
        EXPECT_EQ((Errors{{1, "expected '.', found '1'"}}), getErrors());
        EXPECT_EQ(text == wrong ? Literals{} : (Literals{{2, "b"}}), getLiterals());
    }
}

TEST_F(LineParserTest, isTheSameParserForBlockAfterBlock) {
    LineParser parser(makeReaderOptions(RdfFormat::N_TRIPLES, false, DEFAULT_MAXIMUM_LINE), m_collector);
    parser.parse(statement("bad"), m_piece);
    EXPECT_EQ(1u, m_piece.m_errors.size());
    m_piece.clear(1);
    parser.parse(statement("\"good\""), m_piece);
    EXPECT_EQ(Errors{}, getErrors());
    EXPECT_EQ((Literals{{1, "good"}}), getLiterals());
}

} // namespace
