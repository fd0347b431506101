#include "Reader/LineReader.h"

#include "tests/Reader/ReadText.h"
#include "tests/support/AllocationFaults.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Rdf;

std::string read(const std::string& text) {
    return statementsOf(text, strict(Syntax::N_TRIPLES));
}

std::string readQuads(const std::string& text) {
    return statementsOf(text, strict(Syntax::N_QUADS));
}

std::vector<std::string> literalsOf(const std::string& text, const Version version = Version::RDF_1_2) {
    const ReadResult result = readText(text, strict(Syntax::N_QUADS, version));
    EXPECT_EQ(std::vector<std::string>(), result.m_errors);
    return result.m_literals;
}

using Strings = std::vector<std::string>;

TEST(LineReaderTest, spaceBetweenTermsIsOptional) {
    EXPECT_EQ("<a:s> <a:p> <a:o> .\n", read("<a:s><a:p><a:o>."));
    EXPECT_EQ("<a:s> <a:p> <a:o> .\n", read(" \t<a:s>\t <a:p> <a:o> \t. \t\n"));
    EXPECT_EQ("_:a <a:p> \"x\"@en .\n", read("_:a<a:p>\"x\"@en."));
    EXPECT_EQ("<a:s> <a:p> \"x\"^^<a:d> .\n", read("<a:s> <a:p> \"x\" ^^ <a:d> ."));
    EXPECT_EQ("<a:s> <a:p> \"x\"@en .\n", read("<a:s> <a:p> \"x\" \t@en ."));
    EXPECT_EQ("<a:s> <a:p> <a:o> <a:g> .\n", readQuads("<a:s><a:p><a:o><a:g>."));
    EXPECT_EQ("<a:s> <a:p> _:o _:g .\n", readQuads("<a:s><a:p>_:o _:g."));
}

TEST(LineReaderTest, linesEndAtLineFeedsAndCarriageReturns) {
    EXPECT_EQ("<a:s> <a:p> <a:o> .\n<a:s> <a:p> <a:q> .\n<a:s> <a:p> <a:r> .\n",
              read("<a:s> <a:p> <a:o> .\r<a:s> <a:p> <a:q> .\r\n\n\r<a:s> <a:p> <a:r> ."));
    EXPECT_EQ("", read(""));
    EXPECT_EQ("", read("\n"));
    EXPECT_EQ("", read("\r\n \t\n"));
}

TEST(LineReaderTest, commentsMayEndLines) {
    EXPECT_EQ("<a:s> <a:p> <a:o> .\n", read("# <a:x> \" \\ .\n<a:s> <a:p> <a:o> . # more\n  # end"));
    EXPECT_EQ("<a:s> <a:p> <a:o> .\n", read(std::string("# a zero byte \0 is text\r<a:s> <a:p> <a:o> .#", 44)));
}

TEST(LineReaderTest, stringsAreUnescapedOnceFromLeftToRight) {
    EXPECT_EQ((Strings{"1:13:12 \"\t\b\n\r\f\"'\\\""}), literalsOf("<a:s> <a:p> \"\\t\\b\\n\\r\\f\\\"\\'\\\\\" ."));
    EXPECT_EQ((Strings{"1:13:12 \"\\n\""}), literalsOf("<a:s> <a:p> \"\\\\n\" ."));
    EXPECT_EQ((Strings{"1:13:12 \"\\u0041\""}), literalsOf("<a:s> <a:p> \"\\\\u0041\" ."));
    EXPECT_EQ((Strings{"1:13:12 \"A\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80 end\""}),
              literalsOf("<a:s> <a:p> \"\\u0041\\u00e4\\u20AC\\U0001f600 end\" ."));
    EXPECT_EQ((Strings{"1:13:12 \"'\t'\""}), literalsOf("<a:s> <a:p> \"'\t'\" ."));
}

TEST(LineReaderTest, controlCharactersAreText) {
    const std::string text("<a:s> <a:p> \"a\0b\x01\x7F\" .", 21);
    EXPECT_EQ((Strings{std::string("1:13:12 \"a\0b\x01\x7F\"", 15)}), literalsOf(text));
    EXPECT_EQ((Strings{std::string("1:13:12 \"\0\"", 11)}), literalsOf("<a:s> <a:p> \"\\u0000\" ."));
}

TEST(LineReaderTest, tagsStayAsTheyAreWritten) {
    EXPECT_EQ((Strings{"1:13:12 \"x\"@en-US", "2:13:36 \"\"@DE-1901-a"}),
              literalsOf("<a:s> <a:p> \"x\"@en-US .\n<a:s> <a:p> \"\"@DE-1901-a ."));
    EXPECT_EQ((Strings{"1:13:12 \"x\"@ar--rtl"}), literalsOf("<a:s> <a:p> \"x\"@ar--rtl ."));
    EXPECT_EQ((Strings{"1:13:12 \"x\"@en-GB--ltr"}), literalsOf("<a:s> <a:p> \"x\"@en-GB--ltr."));
    EXPECT_EQ((Strings{"1:13:12 \"x\"@abcdefghij"}), literalsOf("<a:s> <a:p> \"x\"@abcdefghij .", Version::RDF_1_1));
}

TEST(LineReaderTest, datatypesAreGivenAsWritten) {
    EXPECT_EQ((Strings{"1:13:12 \"x\"^^http://www.w3.org/2001/XMLSchema#string", "2:13:73 \"x\""}),
              literalsOf("<a:s> <a:p> \"x\"^^<http://www.w3.org/2001/XMLSchema#string> .\n<a:s> <a:p> \"x\" .\n"));
    EXPECT_EQ(
        (Strings{"1:13:12 \"x\"^^http://www.w3.org/1999/02/22-rdf-syntax-ns#langString"}),
        literalsOf("<a:s> <a:p> \"x\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#langString> .", Version::RDF_1_1));
}

TEST(LineReaderTest, irisMayHaveEscapes) {
    EXPECT_EQ("<a:\xC3\xA4> <a:\xF0\x9F\x98\x80> <a:o> .\n", read("<a:\\u00E4> <\\u0061:\\U0001F600> <a:o> ."));
}

TEST(LineReaderTest, labelsMayHaveFullStopsWithinThem) {
    EXPECT_EQ("_:a.b <a:p> _:c .\n", read("_:a.b <a:p> _:c."));
    EXPECT_EQ("_:1 <a:p> _:_ .\n", read("_:1 <a:p> _:_ ."));
    EXPECT_EQ("_:\xC3\xA4\xC2\xB7-1 <a:p> _:a..b .\n", read("_:\xC3\xA4\xC2\xB7-1 <a:p> _:a..b ."));
}

TEST(LineReaderTest, tripleTermsMayBeObjectsWithinEachOther) {
    EXPECT_EQ("<a:s> <a:p> <<( _:a <a:q> <<( <a:t> <a:r> \"x\"@en )>> )>> <a:g> .\n",
              readQuads("<a:s><a:p><<(_:a<a:q><<(<a:t><a:r>\"x\"@en)>>)>><a:g>."));
    EXPECT_EQ((Strings{"1:33:32 \"x\""}), literalsOf("<a:s> <a:p> <<( <a:s> <a:p>     \"x\" )>> ."));
    EXPECT_EQ("1:13: expected an object, found '<'",
              errorOf("<a:s> <a:p> <<( <a:s> <a:p> <a:o> )>> .", strict(Syntax::N_TRIPLES, Version::RDF_1_1)));
}

TEST(LineReaderTest, aVersionGivesNoStatement) {
    EXPECT_EQ("<a:s> <a:p> <a:o> .\n", read("VERSION \"1.2\" # now\n<a:s> <a:p> <a:o> .\nVERSION\"1.1\""));
    EXPECT_EQ("1:1: expected a subject, found 'VERSION'",
              errorOf("VERSION \"1.1\"", strict(Syntax::N_TRIPLES, Version::RDF_1_1)));
}

TEST(LineReaderTest, placesCountCharactersAndBytes) {
    EXPECT_EQ((Strings{"1:13:13 \"x\"", "3:15:37 \"y\""}),
              literalsOf("<a:\xC3\xA4> <a:p> \"x\" .\n\n<a:\xF0\x9F\x98\x80s> <a:p>  \"y\" ."));
}

TEST(LineReaderTest, aByteOrderMarkIsSkippedAtTheStartOnly) {
    EXPECT_EQ("<a:s> <a:p> <a:o> .\n", read("\xEF\xBB\xBF<a:s> <a:p> <a:o> ."));
    EXPECT_EQ("", read("\xEF\xBB\xBF"));
    EXPECT_EQ("2:1: expected a subject, found '\xEF\xBB\xBF'",
              errorOf("\n\xEF\xBB\xBF<a:s> <a:p> <a:o> .", strict(Syntax::N_TRIPLES)));
    EXPECT_EQ((Strings{"1:13:15 \"x\""}), literalsOf("\xEF\xBB\xBF<a:s> <a:p> \"x\" ."));
}

TEST(LineReaderTest, aBlockStatesWhereItStarts) {
    struct Sink : StatementSink {
        void takeStatement(const Statement& statement) final { m_place = m_reader->locate(statement.m_object); }
        void takeError(const SyntaxError& error) final { m_error = error; }
        LineReader* m_reader = nullptr;
        Place m_place;
        SyntaxError m_error;
    } sink;
    LineReader reader(lenient(Syntax::N_TRIPLES), sink);
    sink.m_reader = &reader;
    reader.startAt({7, 1, 1000});
    EXPECT_EQ(21u, reader.read("\n<a:s> <a:p> <a:o> .\n", true));
    EXPECT_EQ((Place{8, 13, 1013}), sink.m_place);
    EXPECT_EQ(10u, reader.read("<a:s> x .\n", true));
    EXPECT_EQ((Place{9, 7, 1027}), sink.m_error.m_place);
    EXPECT_EQ(1021u, sink.m_error.m_skippedBegin);
    EXPECT_EQ(1030u, sink.m_error.m_skippedEnd);
    EXPECT_EQ(0u, reader.read("<a:s> <a:p> <a:x> .", false)) << "a line without its end is not read yet";
}

TEST(LineReaderTest, returnsOnlyTheLineOfTheStatement) {
    struct Sink : StatementSink {
        void takeStatement(const Statement&) final { m_lines.push_back(m_reader->getLine()); }
        void takeError(const SyntaxError&) final {}
        LineReader* m_reader = nullptr;
        std::vector<uint64_t> m_lines;
    } sink;
    LineReader reader(lenient(Syntax::N_TRIPLES), sink);
    sink.m_reader = &reader;
    reader.startAt({7, 1, 1000});
    reader.read("<a:s> <a:p> <a:o> .\r<a:s> <a:p> <a:o> .\r\n\nx\n<a:s> <a:p> \"y\" .", true);
    EXPECT_EQ((std::vector<uint64_t>{7, 7, 10}), sink.m_lines);
}

TEST(LineReaderTest, escapesStandAnywhereInTheMemoryThatThereIs) {
    constexpr size_t MEMORY_AT_FIRST = 4096;
    for (size_t size = MEMORY_AT_FIRST - 30; size < MEMORY_AT_FIRST + 10; ++size) {
        const std::string plain(size, 'x');
        const std::string text =
            "<a:s> <a:p> \"\\n\" .\n<a:s> <a:p> \"" + plain + "\\U0001F600\\u00E4\\t" + plain + "\" .\n";
        const std::string unescaped = plain + "\xF0\x9F\x98\x80\xC3\xA4\\t" + plain;
        EXPECT_EQ("<a:s> <a:p> \"\\n\" .\n<a:s> <a:p> \"" + unescaped + "\" .\n", read(text));
        EXPECT_EQ("2:13: this string is not closed: expected its closing quote, found the end of the line",
                  errorOf(text.substr(0, text.size() - 4) + "\n", strict(Syntax::N_TRIPLES)));
    }
}

TEST(LineReaderTest, itsMemoryIsThatOfTheLongestStatement) {
    struct Sink : StatementSink {
        void takeStatement(const Statement&) final { ++m_numberOfStatements; }
        void takeError(const SyntaxError&) final {}
        size_t m_numberOfStatements = 0;
    } sink;
    const std::string line = "<a:s> <a:p> \"\\u00E4" + std::string(1000, 'x') + "\" .\n";
    std::string text;
    for (size_t number = 0; number < 100; ++number)
        text += line;
    LineReader reader(strict(Syntax::N_TRIPLES), sink);
    reader.read(line, false);
    const AllocationFaults faults = AllocationFaults::failAfter(0);
    reader.read(text, false);
    EXPECT_FALSE(faults.hasFailed());
    EXPECT_EQ(101u, sink.m_numberOfStatements);
}

TEST(LineReaderTest, aStoppedReaderReadsNothingMore) {
    const ReadResult result = readText("x\n<a:s> <a:p> <a:o> .\ny\n", strict(Syntax::N_TRIPLES));
    EXPECT_EQ("", result.m_statements);
    EXPECT_EQ((Strings{"1:1: expected a subject, found 'x'"}), result.m_errors);
    EXPECT_EQ((Strings{"0-0"}), result.m_skipped);
}

TEST(LineReaderTest, lenientReadingLosesFaultyLinesOnly) {
    const ReadResult result =
        readText("x\n<a:s> <a:p> <a:o> .\n<a:s> <a:p> \"\xFF\" .\r\n\"\xFF\n<a:s> <a:p> <a:q> .\n<a:s>",
                 lenient(Syntax::N_TRIPLES));
    EXPECT_EQ("<a:s> <a:p> <a:o> .\n<a:s> <a:p> <a:q> .\n", result.m_statements);
    EXPECT_EQ((Strings{"1:1: expected a subject, found 'x'",
                       "3:14: expected its closing quote, found the byte 0xFF, which is not UTF-8 here",
                       "4:1: expected a subject, found '\"'", "6:6: expected a predicate, found the end of the text"}),
              result.m_errors);
    EXPECT_EQ((Strings{"0-1", "22-39", "41-43", "64-69"}), result.m_skipped);
}

} // namespace
