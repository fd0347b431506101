#include "tools/melnar-dict/load/SampleParser.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using Forms = std::vector<std::string>;

Forms formsOf(const ParsedPiece& piece) {
    Forms forms;
    for (const BatchEntry& entry : piece.m_terms.getEntries())
        forms.emplace_back(entry.m_lexicalForm);
    return forms;
}

/// Collects the subjects of statements.
class SubjectCollector final : public StatementConsumer {
public:
    const char* take(const Rdf::Statement& statement, uint64_t, ParsedPiece&) override {
        m_subjects.emplace_back(statement.m_subject.m_text);
        return nullptr;
    }

    void endBlock(ParsedPiece&) override {}

    std::vector<std::string> m_subjects;
};

TEST(SampleParserTest, readsLinesFromTheFirstThatBegins) {
    LiteralCollector collector;
    SampleParser parser(RdfFormat::N_TRIPLES, "", collector);
    for (const std::string cut : {"a> <a:p> \"x\" .\n", "\n"}) {
        ParsedPiece piece;
        parser.start(100);
        parser.feed(cut + "<a:s> <a:p> \"a\" .\nbad\n<a:s> <a:p> \"b", piece);
        parser.feed("c\" .\n", piece);
        parser.finish(piece);
        EXPECT_EQ((Forms{"a", "bc"}), formsOf(piece));
        EXPECT_EQ(2u, piece.m_counts.m_statements);
    }
    ParsedPiece piece;
    parser.start(0);
    parser.feed("\xEF\xBB\xBF<a:s> <a:p> \"a\" .", piece);
    parser.finish(piece);
    EXPECT_EQ(Forms{"a"}, formsOf(piece)) << "the start of a file is the start of a line";
}

TEST(SampleParserTest, findsNothingWhereNoLineBegins) {
    LiteralCollector collector;
    SampleParser parser(RdfFormat::N_TRIPLES, "", collector);
    ParsedPiece piece;
    parser.start(100);
    parser.feed("<a:s> <a:p> \"a\" .", piece);
    parser.finish(piece);
    EXPECT_EQ(Forms{}, formsOf(piece));
}

TEST(SampleParserTest, readsTurtleAfterAFullStopWithThePrefixesOfTheBeginning) {
    for (const RdfFormat format : {RdfFormat::TURTLE, RdfFormat::TRIG}) {
        LiteralCollector collector;
        SampleParser parser(format, "file:///f", collector);
        ParsedPiece piece;
        parser.start(0);
        parser.feed("@prefix : <a:> . :s :p 'a' . :s :p '", piece);
        parser.finish(piece);
        EXPECT_EQ(Forms{"a"}, formsOf(piece));
        for (const size_t cut : {0u, 12u, 13u, 14u, 20u}) {
            const std::string text = "x' ,\n :y 'z'.\n:s :p 'b' . :s :p :o ,\n 'c' . } :s :p";
            piece.clear(0);
            parser.start(100);
            parser.feed(text.substr(0, cut), piece);
            parser.feed(text.substr(cut), piece);
            parser.finish(piece);
            EXPECT_EQ((Forms{"b", "c"}), formsOf(piece)) << cut;
        }
    }
}

TEST(SampleParserTest, givesNodesWithoutALabelOnesThatNoOtherStretchHas) {
    SubjectCollector collector;
    SampleParser parser(RdfFormat::TURTLE, "file:///f", collector);
    const std::string text = "[] <a:p> 'a' .\n[] <a:p> 'b' .\n[] <a:p> 'c' .\n";
    ParsedPiece piece;
    for (const size_t stretch : {0u, 1u, 2u}) {
        parser.start(stretch * text.size());
        parser.feed(text, piece);
        parser.finish(piece);
    }
    EXPECT_EQ(3 + 2 + 2u, collector.m_subjects.size());
    EXPECT_EQ(collector.m_subjects.size(), std::set(collector.m_subjects.begin(), collector.m_subjects.end()).size());
}

TEST(SampleParserTest, resolvesRelativeIrisByTheBase) {
    SubjectCollector collector;
    SampleParser parser(RdfFormat::TURTLE, "file:///f", collector);
    ParsedPiece piece;
    parser.start(50);
    parser.feed(" .\n<#s> <a:p> 'a' .", piece);
    parser.finish(piece);
    EXPECT_EQ(std::vector<std::string>{"file:///f#s"}, collector.m_subjects);
}

} // namespace
