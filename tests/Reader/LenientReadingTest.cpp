#include "tests/Reader/ReadText.h"

#include "Reader/SyntaxReader.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace {

using namespace Rdf;
using Strings = std::vector<std::string>;

const std::string PREFIX = "@prefix : <u:> . ";

/// Returns the remaining statements, one word each, among those with :a to :z as the subject.
std::string subjectsOf(const std::string& text, const Syntax syntax = Syntax::TRIG) {
    const ReadResult result = readText(PREFIX + text, lenient(syntax));
    std::string subjects;
    for (size_t line = 0; line < result.m_statements.size(); line = result.m_statements.find('\n', line) + 1)
        subjects += result.m_statements.substr(line + 3, 1);
    return subjects + ' ' + std::to_string(result.m_errors.size());
}

TEST(LenientReadingTest, continuesAfterTheFullStopOfTheStatement) {
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b . :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b :p \"x. y\" 'z. ' <u:x.y> x:y.z 1.5 _:b.c # . \n . :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b :p '''x. \n y. ''' x\\. . :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b :p '\\q. ' . :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b :p [ [ ( :x . :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b :p \xFF . :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . @prefix y <v:> . :c :p 1 ."));
    EXPECT_EQ("a 1", subjectsOf(":a :p 1 . :b :p"));
    EXPECT_EQ("ac 3", subjectsOf(":a :p 1 . . . . :c :p 1 ."));
}

TEST(LenientReadingTest, anUnclosedStringCostsItsLine) {
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b :p \"x . :y :p 1 .\n . :c :p 1 ."));
    EXPECT_EQ("acd 1", subjectsOf(":a :p 1 . :b :p \"\"\"x . :c :p 1 . :d :p 1 ."));
    EXPECT_EQ("ac 3", subjectsOf(":a :p 1 . :b \"x . :y :p 1 .\n . :c :p 1 . :d :p ''' . :e :p \"\"\" . "));
}

TEST(LenientReadingTest, aLongStringThatIsSkippedIsNoLongerThanAStatement) {
    const std::string begin = PREFIX + ":a :p 1 . :b bad '''" + std::string(27, 'x');
    for (const std::string end : {"xxx . :d :p 1 .", "''' . :d :p 1 .", "xxx'' :e :p 1 . :d :p 1 ."})
        for (size_t size = 1; size < 100; ++size) {
            ReaderOptions options = lenient(Syntax::TURTLE);
            options.m_maximumLength = 30;
            const ReadResult result = readInPieces(begin + end, size, options);
            EXPECT_EQ(1u, result.m_errors.size());
            EXPECT_NE(std::string::npos, result.m_statements.find("<u:d>")) << end;
            EXPECT_EQ(std::string::npos, result.m_statements.find("<u:e>")) << end;
            options.m_maximumLength = 1000;
            EXPECT_EQ(end.starts_with("'''"),
                      readInPieces(begin + end, size, options).m_statements.find("<u:d>") != std::string::npos)
                << "it never closes";
        }
}

TEST(LenientReadingTest, fullStopsInSkippedTextAreDistinguished) {
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b bad <x . :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b bad <x. :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b bad < x. :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b bad <x.\\y.> x\\.. :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b bad .5 -.5e3 1.x. :c :p 1 ."));
    EXPECT_EQ("ac 1", subjectsOf(":a :p 1 . :b bad '' \"\" '.' \"\"\".\\\"\"\" .\"\"\". :c :p 1 ."));
}

TEST(LenientReadingTest, whatIsSkippedIsNotKept) {
    for (const std::string opening :
         {"'", "'''", "\"", "\"\"\"", "<", "<a:", "#", "x", "1.", "\\", "", "[ ( { {| ", "<<("})
        for (const std::string filling : {"x", "x.y", " ", "\\\"", "\xC3\xA4", "'\\'\"", "..", "\n"}) {
            struct Sink : StatementSink {
                void takeStatement(const Statement&) final { ++m_statements; }
                void takeError(const SyntaxError&) final {}
                size_t m_statements = 0;
            } sink;
            const std::unique_ptr<SyntaxReader> reader = SyntaxReader::make(lenient(Syntax::TRIG), sink);
            std::string kept = "<a:s> <a:p> 1 . <a:s> bad " + opening;
            for (int count = 0; count < 2000; ++count) {
                kept += filling;
                kept.erase(0, reader->read(kept, false));
                ASSERT_LT(kept.size(), 60u) << opening << filling;
            }
            EXPECT_EQ(1u, sink.m_statements);
        }
}

TEST(LenientReadingTest, aBackslashAtTheEndOfALineDoesNotHideIt) {
    EXPECT_EQ("c 1", subjectsOf(":a :p \"x\\\n . :c :p 1 ."));
    EXPECT_EQ("c 1", subjectsOf(":a :p 'x\\\r . :c :p 1 ."));
}

TEST(LenientReadingTest, graphsStayWhatTheyAre) {
    EXPECT_EQ("ac 1", subjectsOf(":g { :a :p 1 . :b . :c :p 1 }"));
    EXPECT_EQ("ac 1", subjectsOf(":g { :a :p 1 . :b } :c :p 1 ."));
    EXPECT_EQ("c 1", subjectsOf("x:g { :a :p 1 . :b :p 1 } :c :p 1 ."));
    EXPECT_EQ("c 1", subjectsOf("GRAPH { :a :p 1 . { :b :p 1 } } :c :p 1 ."));

    const ReadResult result = readText(PREFIX + ":g { :b . :c :p 1 . } :d :p 1 .", lenient(Syntax::TRIG));
    EXPECT_NE(std::string::npos, result.m_statements.find("<u:g> .\n<u:d>"));
}

TEST(LenientReadingTest, whatIsSkippedIsKnownByItsPlace) {
    const std::string text = PREFIX + ":a :p 1 .\n:b :p .\n:c :p 1 . :d\n";
    const ReadResult result = readText(text, lenient(Syntax::TURTLE));
    EXPECT_EQ((Strings{"27-34", "45-48"}), result.m_skipped);
    EXPECT_EQ(":b :p .", text.substr(27, 7));
}

/// Returns the bytes examined per byte of many copies of a text, most of which are faulty.
double effort(const std::string& piece, const Syntax syntax, const size_t size) {
    std::string text = PREFIX;
    while (text.size() < size)
        text += piece;
    const ReadResult whole = readText(text, lenient(syntax));
    EXPECT_FALSE(whole.m_errors.empty()) << piece;
    const ReadResult pieces = readInPieces(text, 10'000, lenient(syntax));
    EXPECT_EQ(whole.m_errors, pieces.m_errors);
    return static_cast<double>(std::max(whole.m_bytesExamined, pieces.m_bytesExamined)) /
           static_cast<double>(text.size());
}

TEST(LenientReadingTest, effortIsLinearWhateverTheTextIs) {
    for (const char* const piece : {". ",
                                    "x ",
                                    "\" ",
                                    "' \n",
                                    "\"\"\" ",
                                    "''' ",
                                    "\\\"\"\" ",
                                    "\\''' \"\"\" ",
                                    "< ",
                                    "<a:b",
                                    "<<( ",
                                    "[ ",
                                    "( ",
                                    "{ ",
                                    "} ",
                                    "{| ",
                                    ":a :b :c ",
                                    ":a :b 'x\\q' . ",
                                    "\xFF",
                                    "\xC3 . ",
                                    "# x\n.",
                                    ":g { ",
                                    "@prefix ",
                                    "\"\n",
                                    ":a :b \"\"\"x \\\"\"\" . ",
                                    "_: ",
                                    "1e",
                                    ":a.b.",
                                    "<u:a",
                                    "^^ "})
        for (const Syntax syntax : {Syntax::TURTLE, Syntax::TRIG, Syntax::N_QUADS})
            EXPECT_LT(effort(piece, syntax, 100'000), 8.0) << piece << static_cast<int>(syntax);
}

TEST(LenientReadingTest, manyErrorsAndManyPrefixesAreReadInLinearEffort) {
    std::string errors = PREFIX;
    for (int number = 0; number < 300'000; ++number)
        errors += ":s :p .\n";
    std::string prefixes;
    for (int number = 0; number < 40'000; ++number)
        prefixes += "@prefix p" + std::to_string(number) + ": <u:> .\np" + std::to_string(number) + ":s p1:p x:o .\n";
    for (const std::string& text : {errors, prefixes})
        for (const size_t size : {size_t(1000), size_t(1) << 18}) {
            const ReadResult result = readInPieces(text, size, lenient(Syntax::TURTLE));
            EXPECT_GE(result.m_errors.size(), 40'000u);
            EXPECT_LT(result.m_bytesExamined, 3 * text.size());
        }
}

} // namespace
