#include "Reader/StreamReader.h"

#include "tests/Reader/ReadText.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace Rdf;

const std::string LINES = "\xEF\xBB\xBF<a:s> <a:p> \"\\u00E4\xC3\xA4\"@en-GB . # \xF0\x9F\x98\x80\r\n"
                          "_:b.c <a:p> <<( <a:s> <a:p> \"x\"^^<a:d> )>> .\rfaulty \"\xFF line\n"
                          "<a:\\u0061> <a:p> \"\" .\n\n<a:s> <a:p> \"\xE2\x82";
const std::string STATEMENTS =
    "\xEF\xBB\xBF@prefix : <u:> . # \xC3\xA4\n@base <v:/x/> .\r\n:s a 'a', \"b\"@en--ltr ; :p 1.5, 1. :s :p true.\n"
    "[ :p :a.b ; :q (1 [] ()) ] . <<:s :p :o ~ :r>> :p <<( :s :p '''l\\n\"o\"ng''' )>> .\n"
    ":s :p :o ~ {| :a :b |} . faulty . \"un\nclosed . :s \xFF . :s :p \"\"\"a\"\"b\"\"\" . PREFIX x: <y> x:a x:b\\-c "
    "x:d%41 .\n"
    ":s :p [ :q . :s :p \"\xC3\xA4\" . :s :p '''never closed. ";
const std::string GRAPHS =
    "@prefix : <u:> . { :s :p :o } :g { :s :p 1 . :s :p 2. } GRAPH _:g { faulty . :s :p { } . :a :b :c }\n"
    "[] { :s :p :o ~ {| :a :b |} } x:y { :a :b . } :a :b :c . :g { :s :p 'x' . ";

TEST(StreamReaderTest, howAnInputIsCutDoesNotMatter) {
    for (const auto& [syntax, text] : {std::pair(Syntax::N_TRIPLES, LINES), std::pair(Syntax::TURTLE, STATEMENTS),
                                       std::pair(Syntax::TRIG, GRAPHS), std::pair(Syntax::TRIG, STATEMENTS)})
        for (const bool isLenient : {true, false}) {
            ReaderOptions options = strict(syntax);
            options.m_isLenient = isLenient;
            const ReadResult whole = readText(text, options);
            EXPECT_FALSE(whole.m_errors.empty());
            EXPECT_FALSE(whole.m_statements.empty());
            for (size_t size = 1; size < text.size(); ++size)
                ASSERT_EQ(whole, readInPieces(text, size, options)) << size;
        }
}

TEST(StreamReaderTest, everyCutOfTwoGivesTheSame) {
    for (const auto& [syntax, text] : {std::pair(Syntax::N_TRIPLES, LINES), std::pair(Syntax::TURTLE, STATEMENTS),
                                       std::pair(Syntax::TRIG, GRAPHS)}) {
        struct Sink : StatementSink {
            void takeStatement(const Statement&) final { ++m_statements; }
            void takeError(const SyntaxError& error) final { m_errors += error.format("") + '\n'; }
            size_t m_statements = 0;
            std::string m_errors;
        };
        const ReadResult whole = readText(text, lenient(syntax));
        std::string errors;
        for (const std::string& error : whole.m_errors)
            errors.append(":").append(error).append("\n");
        for (size_t cut = 0; cut <= text.size(); ++cut) {
            Sink sink;
            const std::unique_ptr<SyntaxReader> reader = SyntaxReader::make(lenient(syntax), sink);
            const std::string_view begin = std::string_view(text).substr(0, cut);
            const size_t read = reader->read(begin, false);
            ASSERT_LE(read, cut);
            reader->read(std::string_view(text).substr(read), true);
            ASSERT_EQ(errors, sink.m_errors) << cut;
            ASSERT_EQ(std::count(whole.m_statements.begin(), whole.m_statements.end(), '\n'), sink.m_statements) << cut;
        }
    }
}

TEST(StreamReaderTest, anInputMayBeEmpty) {
    for (const Syntax syntax : {Syntax::N_TRIPLES, Syntax::N_QUADS, Syntax::TURTLE, Syntax::TRIG}) {
        EXPECT_EQ(ReadResult(), readInPieces("", 1, strict(syntax)));
        EXPECT_EQ(ReadResult(), readText("", strict(syntax)));
    }
}

TEST(StreamReaderTest, completeStatementsArePassedOnImmediately) {
    struct Sink : StatementSink {
        void takeStatement(const Statement&) final { ++m_statements; }
        void takeError(const SyntaxError&) final {}
        size_t m_statements = 0;
    };
    for (const Syntax syntax : {Syntax::N_TRIPLES, Syntax::TURTLE}) {
        Sink sink;
        const std::unique_ptr<SyntaxReader> reader = SyntaxReader::make(strict(syntax), sink);
        StreamReader stream(*reader);
        for (size_t number = 1; number < 10; ++number) {
            stream.feed("<a:s> <a:p> <a:o> .\n");
            EXPECT_EQ(number, sink.m_statements);
        }
    }
}

TEST(StreamReaderTest, statementsMayBeLongerThanAnyBuffer) {
    const std::string text(3'000'000, 'x');
    for (const size_t size : {size_t(1000), size_t(1) << 20}) {
        EXPECT_EQ("<a:s> <a:p> \"" + text + "\" .\n",
                  readInPieces("<a:s> <a:p> \"" + text + "\" .\n", size, strict(Syntax::N_TRIPLES)).m_statements);
        EXPECT_EQ("<a:s> <a:p> \"" + text + "\" .\n",
                  readInPieces("<a:s> <a:p> '''" + text + "''' .\n", size, strict(Syntax::TURTLE)).m_statements);
    }
}

TEST(StreamReaderTest, aLongStatementIsReadAFewTimesOnly) {
    std::string text = "<a:s> <a:p> 0";
    for (int number = 1; number < 200'000; ++number)
        text += ", " + std::to_string(number);
    text += " .";
    const ReadResult result = readInPieces(text, 1000, strict(Syntax::TURTLE));
    EXPECT_EQ(200'000u, result.m_literals.size());
    EXPECT_LT(result.m_bytesExamined, 4 * text.size());
}

} // namespace
