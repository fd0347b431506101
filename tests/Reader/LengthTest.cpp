#include "tests/Reader/ReadText.h"

#include "Reader/StatementSink.h"
#include "Reader/SyntaxReader.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Rdf;
using Strings = std::vector<std::string>;

ReaderOptions limited(ReaderOptions options, const size_t maximumLength) {
    options.m_maximumLength = maximumLength;
    return options;
}

const std::string TRIPLE = "<a:s> <a:p> <a:o> .";

TEST(LengthTest, aLineOfTheMaximumIsReadAndALongerOneIsAnErrorWhereItBegins) {
    for (const char* const lineEnd : {"", "\n", "\r"}) {
        EXPECT_EQ(TRIPLE + "\n", statementsOf(TRIPLE + lineEnd, limited(strict(Syntax::N_TRIPLES), TRIPLE.size())));
        EXPECT_EQ("2:1: expected a line of at most 18 bytes, found a longer one",
                  errorOf("\n" + TRIPLE + lineEnd, limited(strict(Syntax::N_TRIPLES), TRIPLE.size() - 1)));
    }
}

TEST(LengthTest, linesOfEachKindAreLimited) {
    for (const std::string line : {"# comment", "         ", "faulty   ", "VERSION '", "\"unclosed", "<a:\xFF<a:s>"})
        EXPECT_EQ("1:1: expected a line of at most 8 bytes, found a longer one",
                  errorOf(line, limited(strict(Syntax::N_TRIPLES), 8)))
            << line;
    EXPECT_EQ("1:1: expected a line of at most 13 bytes, found a longer one",
              errorOf("VERSION \"1.2\" ", limited(strict(Syntax::N_TRIPLES), 13)));
}

TEST(LengthTest, aStatementOfTheMaximumIsReadAndALongerOneIsAnErrorWhereItBegins) {
    for (const char* const after : {"", "\n", " <a:s> <a:p> 1 ."}) {
        const std::string text = "\n  " + TRIPLE;
        EXPECT_EQ(TRIPLE + "\n", statementsOf(text, limited(strict(Syntax::TURTLE), TRIPLE.size())));
        EXPECT_EQ("2:3: expected a statement of at most 18 bytes, found a longer one",
                  errorOf(text + after, limited(strict(Syntax::TURTLE), TRIPLE.size() - 1)));
    }
}

TEST(LengthTest, unitsOfEachKindAreLimited) {
    for (const std::string unit :
         {"@prefix : <u:> .", "PREFIX : <u:xx> ", "@base <u:xxxxx> .", "VERSION \"1.2345\"", "<a:s> <a:p> '''unclosed",
          "GRAPH <a:graph> {", "<a:gggggggggg> { }", "_:s <a:p> [ <a:q> 1 ] .", "<a:s> <a:p> \"\xC3\xA4\xC3\xA4\" ."})
        EXPECT_EQ("1:1: expected a statement of at most 13 bytes, found a longer one",
                  errorOf(unit, limited(strict(Syntax::TRIG), 13)))
            << unit;
}

TEST(LengthTest, aDirectiveThatIsTooLongHasNoEffect) {
    const ReadResult result =
        readText("@prefix : <u:> . @prefix : <v:0123456789> . :s :p :o .", limited(lenient(Syntax::TURTLE), 16));
    EXPECT_EQ((Strings{"1:18: expected a statement of at most 16 bytes, found a longer one"}), result.m_errors);
    EXPECT_EQ("<u:s> <u:p> <u:o> .\n", result.m_statements);
}

TEST(LengthTest, commentsAndWhiteSpaceBetweenStatementsAreNotLimitedAndNotKept) {
    const std::string text = TRIPLE + std::string(1000, ' ') + "# " + std::string(1000, 'c') + "\xC3\xA4# <a:s>\n" +
                             TRIPLE + "#" + std::string(1000, '\n') + "# " + TRIPLE;
    const ReaderOptions options = limited(strict(Syntax::TURTLE), TRIPLE.size());
    for (const size_t size : std::initializer_list<size_t>{1, 2, 3, 7, 100}) {
        const ReadResult result = readInPieces(text, size, options);
        EXPECT_EQ(TRIPLE + "\n" + TRIPLE + "\n", result.m_statements);
        EXPECT_EQ(Strings{}, result.m_errors);
    }
}

TEST(LengthTest, lenientReadingContinuesAfterTextThatIsTooLong) {
    const std::string text = "<a:s> <a:p> 'some long text. ', <a:o> . " + TRIPLE;
    const ReadResult statements = readText(text, limited(lenient(Syntax::TURTLE), TRIPLE.size()));
    EXPECT_EQ(TRIPLE + "\n", statements.m_statements);
    EXPECT_EQ((Strings{"0-39"}), statements.m_skipped);
    const ReadResult lines =
        readText(TRIPLE + "# x\n" + TRIPLE + "\n ", limited(lenient(Syntax::N_TRIPLES), TRIPLE.size()));
    EXPECT_EQ(TRIPLE + "\n", lines.m_statements);
    EXPECT_EQ((Strings{"0-22"}), lines.m_skipped);
}

TEST(LengthTest, howAnInputIsCutDoesNotMatterForAnyMaximum) {
    const std::string lines = "<a:s> <a:p> \"x\" .\n\n  # comment \xF0\x9F\x98\x80\r\n<a:s> <a:p> \"\xC3\xA4\xC3\xA4\" "
                              ".\nfaulty line\n<a:s> \xFF <a:p>\r<a:s> <a:p> <a:o> . # \xC3\xA4";
    const std::string units = "@prefix : <u:> . # \xF0\x9F\x98\x80 comment\n\n:s :p 1.5, 2 . :g { :s :p '''\xC3\xA4\n'o"
                              "''' . :b . [ :p (1 2. ) ] {| } GRAPH :h { faulty \xFF } :s :p 1. PREFIX : <v:> :s :p "
                              "\"unclosed\n . :s :p \"\"\"x";
    for (const auto& [syntax, text] : {std::pair(Syntax::N_TRIPLES, lines), std::pair(Syntax::TRIG, units)})
        for (const bool isLenient : {true, false})
            for (size_t maximum = 1; maximum <= text.size() + 1; ++maximum) {
                ReaderOptions options = limited(strict(syntax), maximum);
                options.m_isLenient = isLenient;
                const ReadResult whole = readText(text, options);
                EXPECT_FALSE(whole.m_errors.empty());
                for (size_t size = 1; size < text.size(); ++size)
                    ASSERT_EQ(whole, readInPieces(text, size, options)) << maximum << ' ' << size;
            }
}

TEST(LengthTest, whatIsTooLongIsRefusedBeforeItIsAllThere) {
    struct Sink : StatementSink {
        void takeStatement(const Statement&) final {}
        void takeError(const SyntaxError& error) final { m_error = error.format(""); }
        std::string m_error;
    };
    for (const Syntax syntax : {Syntax::N_TRIPLES, Syntax::TURTLE}) {
        Sink sink;
        const std::unique_ptr<SyntaxReader> reader = SyntaxReader::make(limited(strict(syntax), 100), sink);
        const std::string text = "<a:" + std::string(97, 'x');
        EXPECT_EQ(0u, reader->read(text, false));
        EXPECT_FALSE(reader->isStopped());
        EXPECT_EQ(101u, reader->read(text + 'x', false));
        EXPECT_TRUE(reader->isStopped());
        EXPECT_NE(std::string::npos, sink.m_error.find(":1:1: expected a ")) << sink.m_error;
    }
}

TEST(LengthTest, effortIsLinearWhateverTheMaximumIs) {
    std::string text;
    while (text.size() < 300'000)
        text += "<a:s> <a:p> 'text. ' , <a:o> .\n";
    for (const Syntax syntax : {Syntax::N_TRIPLES, Syntax::TURTLE})
        for (const size_t maximum : std::initializer_list<size_t>{1, 10, 30, 31, 1000}) {
            const ReaderOptions options = limited(lenient(syntax), maximum);
            EXPECT_LT(readInPieces(text, 1000, options).m_bytesExamined, 6 * text.size());
        }
}

} // namespace
