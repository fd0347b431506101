#include "tools/melnar-dict/load/SampleParser.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Forms = std::vector<std::string>;

Forms formsOf(const ParsedPiece& piece) {
    Forms forms;
    for (const BatchEntry& entry : piece.m_literals.getEntries())
        forms.emplace_back(entry.m_lexicalForm);
    return forms;
}

TEST(SampleParserTest, readsLinesFromTheFirstThatBegins) {
    SampleParser parser(RdfFormat::N_TRIPLES);
    for (const std::string cut : {"a> <a:p> \"x\" .\n", "\n"}) {
        ParsedPiece piece;
        parser.start(false);
        parser.feed(cut + "<a:s> <a:p> \"a\" .\nbad\n<a:s> <a:p> \"b", piece);
        parser.feed("c\" .\n", piece);
        parser.finish(piece);
        EXPECT_EQ((Forms{"a", "bc"}), formsOf(piece));
        EXPECT_EQ(2u, piece.m_counts.m_statements);
    }
    ParsedPiece piece;
    parser.start(true);
    parser.feed("\xEF\xBB\xBF<a:s> <a:p> \"a\" .", piece);
    parser.finish(piece);
    EXPECT_EQ(Forms{"a"}, formsOf(piece)) << "the start of a file is the start of a line";
}

TEST(SampleParserTest, findsNothingWhereNoLineBegins) {
    SampleParser parser(RdfFormat::N_TRIPLES);
    ParsedPiece piece;
    parser.start(false);
    parser.feed("<a:s> <a:p> \"a\" .", piece);
    parser.finish(piece);
    EXPECT_EQ(Forms{}, formsOf(piece));
}

TEST(SampleParserTest, readsTurtleAfterAFullStopWithThePrefixesOfTheBeginning) {
    for (const RdfFormat format : {RdfFormat::TURTLE, RdfFormat::TRIG}) {
        SampleParser parser(format);
        ParsedPiece piece;
        parser.start(true);
        parser.feed("@prefix : <a:> . :s :p 'a' . :s :p '", piece);
        parser.finish(piece);
        EXPECT_EQ(Forms{"a"}, formsOf(piece));
        for (const size_t cut : {0u, 12u, 13u, 14u, 20u}) {
            const std::string text = "x' ,\n :y 'z'.\n:s :p 'b' . :s :p :o ,\n 'c' . } :s :p";
            piece.clear(0);
            parser.start(false);
            parser.feed(text.substr(0, cut), piece);
            parser.feed(text.substr(cut), piece);
            parser.finish(piece);
            EXPECT_EQ((Forms{"b", "c"}), formsOf(piece)) << cut;
        }
    }
}

} // namespace
