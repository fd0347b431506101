#include "tools/melnar-dict/pieces/TurtleParser.h"

#include "tests/tools/melnar-dict/input/TextSource.h"
#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/RdfFormat.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using Literals = std::vector<std::pair<uint64_t, std::string>>;
using Errors = std::vector<std::pair<uint64_t, std::string>>;

constexpr const char* PREFIXES = "@prefix : <http://e/> . @prefix xsd: <http://www.w3.org/2001/XMLSchema#> .\n";

class TurtleParserTest : public testing::Test {
protected:
    void parse(const std::string& text, const bool lenient = false, const RdfFormat format = RdfFormat::TURTLE,
               const std::string& base = "", const size_t blockSize = BlockReader::DEFAULT_BLOCK_SIZE) {
        parse(std::make_unique<TextSource>(text), lenient, format, base, blockSize);
    }

    void parse(std::unique_ptr<ByteSource> source, const bool lenient, const RdfFormat format, const std::string& base,
               const size_t blockSize) {
        m_literals.clear();
        m_errors.clear();
        m_counts = {};
        m_rejected.clear();
        BlockReader reader(std::move(source), blockSize, 0, format);
        Rdf::TurtleRelay relay(makeReaderOptions(format, lenient, DEFAULT_MAXIMUM_LINE, base));
        LiteralCollector collector;
        TurtleParser parser(relay, collector, true);
        Block block;
        ParsedPiece piece;
        while (reader.next(block)) {
            piece.clear(block.m_sequence);
            parser.parse(block, piece);
            take(piece);
        }
        piece.clear(reader.getNumberOfBlocks());
        parser.parseEnd(piece);
        take(piece);
    }

    void take(const ParsedPiece& piece) {
        EXPECT_EQ(0u, piece.m_numberOfLineEnds) << "lines are counted from the start of the file";
        m_counts += piece.m_counts;
        const FormBatch& batch = piece.m_terms;
        for (size_t index = 0; index < batch.getEntries().size(); ++index)
            m_literals.emplace_back(batch.getLine(index), batch.getEntries()[index].m_lexicalForm);
        for (const InputError& error : piece.m_errors)
            m_errors.emplace_back(error.m_line, error.m_cause);
        m_rejected.push_back(piece.m_rejected);
    }

    Literals m_literals;
    Errors m_errors;
    StatementCounts m_counts;
    std::vector<std::string> m_rejected; // of each piece
};

TEST_F(TurtleParserTest, collectsLiteralsWithTheLinesTheyStartIn) {
    parse(std::string(PREFIXES) +
          ":s :p \"a\" ,\n 'b'@en ,\n 5 , true ;\n :q \"\"\"c\n\n\"\"\" , \"d\" .\n# c\n:s :p [ :p ( \"e\" ) ] .");
    EXPECT_EQ(Errors{}, m_errors);
    EXPECT_EQ((Literals{{2, "a"}, {3, "b@en"}, {5, "c\n\n"}, {7, "d"}, {9, "e"}}), m_literals);
    EXPECT_EQ(10u, m_counts.m_statements);
    EXPECT_EQ(4u, m_counts.m_strings);
    EXPECT_EQ(1u, m_counts.m_plainLiterals);
    EXPECT_EQ(10u * 3 - 5, m_counts.getNumberOfOtherTerms());
}

TEST_F(TurtleParserTest, prefixesThatBeginLikeABooleanAreKeptApart) {
    parse("@prefix true: <http://www.w3.org/2001/XMLSchema#> .\n@prefix xtrue: <http://e/x#> .\n"
          "<http://e/s> <http://e/p> \"a\"^^true:string .\n<http://e/s> <http://e/p> 'b'^^true:string .\n"
          "<http://e/s> <http://e/p> \"c\"^^xtrue:string .\n<http://e/s> <http://e/p> 'd'^^xtrue:string .\n");
    EXPECT_EQ(Errors{}, m_errors);
    EXPECT_EQ((Literals{{3, "a"}, {4, "b"}}), m_literals);
    EXPECT_EQ(2u, m_counts.m_strings);
}

TEST_F(TurtleParserTest, knowsTheDatatypesHoweverTheyAreWritten) {
    parse(std::string(PREFIXES) +
          "@prefix rdf: <http://www.w3.org/1999/02/22-rdf-syntax-ns#> . PREFIX x: <http://www.w3.org/2001/XMLSch>\n"
          "@base <http://www.w3.org/2001/> .\n"
          ":s :p \"a\"^^xsd:string , \"b\"^^<http://www.w3.org/2001/XMLSchema#string> , \"c\"^^<XMLSchema#string> ,\n"
          "\"d\"^^x:ema\\#string , \"e@en\"^^rdf:PlainLiteral , \"f\"^^xsd:token , 123.\n");
    EXPECT_EQ(Errors{}, m_errors);
    EXPECT_EQ((Literals{{4, "a"}, {4, "b"}, {4, "c"}, {5, "d"}, {5, "e@en"}}), m_literals);
    EXPECT_EQ(4u, m_counts.m_strings);
    EXPECT_EQ(1u, m_counts.m_plainLiterals);
}

TEST_F(TurtleParserTest, resolvesRelativeDatatypesAgainstTheGivenBase) {
    const std::string text = "<s> <p> \"a\"^^<XMLSchema#string> .";
    parse(text, false, RdfFormat::TURTLE, "http://www.w3.org/2001/file.ttl");
    EXPECT_EQ((Literals{{1, "a"}}), m_literals);
    parse(text, false, RdfFormat::TURTLE, "http://e/");
    EXPECT_EQ(Literals{}, m_literals);
    parse(text);
    EXPECT_EQ((Errors{{1, "expected an absolute IRI, as there is no base, found '<s>'"}}), m_errors);
}

TEST_F(TurtleParserTest, readsGraphs) {
    parse(std::string(PREFIXES) +
              ":g { :s :p \"a\" . :s :p 5. [] :p \"b\" } _:g{:s :p \"c\"@en} GRAPH <g> {:s :p \"d\"}\n{:s :p \"e\"}",
          false, RdfFormat::TRIG, "http://b/");
    EXPECT_EQ(Errors{}, m_errors);
    EXPECT_EQ((Literals{{2, "a"}, {2, "b"}, {2, "c@en"}, {2, "d"}, {3, "e"}}), m_literals);
    EXPECT_EQ(6u, m_counts.m_statements);
    EXPECT_EQ(6u * 3 - 5 + 5, m_counts.getNumberOfOtherTerms()) << "all but one are in a named graph";
}

TEST_F(TurtleParserTest, readsTextThatIsOftenMisread) {
    const std::vector<std::pair<std::string, Literals>> cases{
        {":s :p \"\"\"a\"\\n\"\"\" .", {{2, "a\"\n"}}},
        {":s :p \"\"\"a\"\\\\n\"\"\" .", {{2, "a\"\\n"}}},
        {":s :p \"\"\"a\"\\\"\"\"\" .", {{2, "a\"\""}}},
        {":s :p 123.", {}},
        {":s :p 123.\n:s :p \"a\" .", {{3, "a"}}},
        {":s :p _:b1 . _:B1 :p \"a\" .", {{2, "a"}}},
        {":s :p \"a\"\n@en ; :q \"b\" ^^ xsd:string .", {{2, "a@en"}, {3, "b"}}},
        {"PREFIX true: <http://t/> true:s true:p \"a\" .", {{2, "a"}}},
        {std::string("# \0 \"\n:s :p \"a\" .", 17), {{3, "a"}}},
    };
    for (const auto& [text, literals] : cases) {
        parse(PREFIXES + text);
        EXPECT_EQ(Errors{}, m_errors) << text;
        EXPECT_EQ(literals, m_literals) << text;
    }
}

TEST_F(TurtleParserTest, reportsTheLineOfTheFirstError) {
    const std::vector<std::pair<std::string, Errors>> cases{
        {":s :p \"a\" .\n:s :p .", {{3, "expected an object, found '.'"}}},
        {":s :p \"a\n\" .", {{2, "this string is not closed: expected its closing quote, found the end of the line"}}},
        {":s :p \"a\" .\n\n:s :p \"\\uD800\" .",
         {{4, "expected the number of a character, found '\\uD800', half a surrogate pair"}}},
        {":s :p \"a\\q\" .\n:s :p \"\\uD800\" .",
         {{2, "expected an escape such as \\n or \\u00E4 after the backslash, found 'q'"}}},
        {":s :p \"a\"\n:s :p :x .", {{3, "expected ',', ';' or '.', found ':s'"}}},
        {":s :p :o .\n\n:s :p e:x .", {{4, "expected a declared prefix, found 'e:'"}}},
        {":s :p :o .\n:s :p \"\xC3\" .",
         {{3, "expected its closing quote, found the byte 0xC3, which is not UTF-8 here"}}},
        {":s :p :o ;\n:q \"\xED\xA0\x80\" .",
         {{3, "expected its closing quote, found the byte 0xED, which is not UTF-8 here"}}},
        {":s :p \"\"\"a\n\n\n",
         {{2, "this string is not closed: expected its closing quotes, found the end of the text"}}},
        {":s :p \"a\"@@ , \"b\" .", {{2, "expected a language tag, found '@'"}}},
    };
    for (const auto& [text, errors] : cases) {
        parse(PREFIXES + text);
        EXPECT_EQ(errors, m_errors) << text;
    }
}

TEST_F(TurtleParserTest, continuesAfterTheStatementWhenLenient) {
    parse(std::string(PREFIXES) + ":s :p \"a\" ;\n  :q bad , \"b\" ;\n  :r \"c\" .\n:s :p \"d\" .\n:s :p \"\\q\" .\n" +
              ":s :p e:x , \"e\" .\n:s :p \"\xFF\" .\n:s :p \"f\" .\n:s :p \"g\"",
          true);
    EXPECT_EQ((Literals{{5, "d"}, {9, "f"}}), m_literals);
    EXPECT_EQ((Errors{{3, "expected an object, found 'bad'"},
                      {6, "expected an escape such as \\n or \\u00E4 after the backslash, found 'q'"},
                      {7, "expected a declared prefix, found 'e:'"},
                      {8, "expected its closing quote, found the byte 0xFF, which is not UTF-8 here"},
                      {10, "expected ',', ';' or '.', found the end of the text"}}),
              m_errors);
}

TEST_F(TurtleParserTest, readsTheSameInBlocksOfEverySize) {
    const std::string text = std::string(PREFIXES) +
                             ":s :p \"\"\"a\n\"b\\n\n\"\"\" ,\n\"c\" # c\n\n@en ;\n:q bad .\n:s :p 5.\n:s :p \"d\".\n" +
                             "e:s :p \"e\" .\n:s :p [ :q \"f\" ] .\n";
    parse(text, true);
    const Literals literals = m_literals;
    const Errors errors = m_errors;
    EXPECT_EQ((Literals{{10, "d"}, {12, "f"}}), literals);
    EXPECT_EQ((Errors{{8, "expected an object, found 'bad'"}, {11, "expected a declared prefix, found 'e:'"}}), errors);
    for (size_t blockSize = 1; blockSize < text.size() + 2; ++blockSize) {
        parse(text, true, RdfFormat::TURTLE, "", blockSize);
        EXPECT_EQ(literals, m_literals) << blockSize;
        EXPECT_EQ(errors, m_errors) << blockSize;
    }
}

TEST_F(TurtleParserTest, continuesAfterManyErrors) {
    std::string text = PREFIXES;
    Literals literals;
    Errors errors;
    for (uint64_t line = 2; line < 20000; ++line)
        if (line % 997 == 0) {
            text += ":s :p :o\n  , bad , \"lost\" .\n";
            errors.emplace_back(++line, "expected an object, found 'bad'");
        } else {
            literals.emplace_back(line, "literal " + std::to_string(line));
            text += ":s :p \"" + literals.back().second + "\" .\n";
        }
    for (const size_t blockSize : {size_t(100), size_t(5000), size_t(1) << 20}) {
        parse(text, true, RdfFormat::TURTLE, "", blockSize);
        EXPECT_EQ(literals, m_literals);
        EXPECT_EQ(errors, m_errors);
    }
}

TEST_F(TurtleParserTest, passesOnSkippedBytesBlockByBlock) {
    const std::string rejected = "<a:s> , '" + std::string(100'000, 'x') + "' .";
    parse(std::make_unique<TextSource>(rejected + " <a:s> <a:p> 'a' ."), true, RdfFormat::TURTLE, "", 1000);
    EXPECT_EQ((Literals{{1, "a"}}), m_literals);
    std::string found;
    for (const std::string& part : m_rejected) {
        EXPECT_LE(part.size(), 1010u);
        found += part;
    }
    EXPECT_EQ(rejected + "\n", found);
}

TEST_F(TurtleParserTest, withdrawsWhatAnotherThreadMakesWrong) {
    Rdf::TurtleRelay relay(makeReaderOptions(RdfFormat::TURTLE, false, DEFAULT_MAXIMUM_LINE));
    LiteralCollector collector;
    LiteralCollector otherCollector;
    TurtleParser first(relay, collector);
    TurtleParser second(relay, otherCollector);
    BlockReader reader(std::make_unique<TextSource>("@prefix : <u:> .\n:s :p 'a .\n:s :p 'b' .\n"), 20, 0,
                       RdfFormat::TURTLE);
    std::vector<Block> blocks(3);
    std::vector<ParsedPiece> pieces(3);
    for (size_t index = 0; index < 3; ++index) {
        ASSERT_TRUE(reader.next(blocks[index]));
        pieces[index].clear(index);
    }
    first.parse(blocks[0], pieces[0]);
    std::thread ahead([&] { second.parse(blocks[2], pieces[2]); });
    first.parse(blocks[1], pieces[1]);
    ahead.join();
    take(pieces[1]);
    take(pieces[2]);
    EXPECT_EQ(Literals{}, m_literals) << "the first error ends a strict load";
    EXPECT_EQ((Errors{{2, "this string is not closed: expected its closing quote, found the end of the line"}}),
              m_errors);
    EXPECT_EQ(2u, pieces[2].m_sequence);
}

} // namespace
