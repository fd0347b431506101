#include "Reader/TurtleRelay.h"

#include "tests/Reader/ReadInBlocks.h"
#include "tests/Reader/Recorder.h"
#include "tests/Reader/TextsToCut.h"
#include "tests/Reader/W3cManifest.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace Rdf;
using Cut = TurtleRelay::Cut;

void checkCuts(const std::string& text, const ReaderOptions& options) {
    const ReadResult whole = readText(text, options);
    for (size_t first = 0; first <= text.size(); first += first == 0 ? 17 : 29)
        for (size_t second = first; second <= text.size(); ++second)
            for (const Cut claim : {Cut::AFTER_FULL_STOP, Cut::AFTER_BRACE})
                ASSERT_EQ(whole, readInBlocks(cutText(text, {first, first, second}, claim), options,
                                              claim == Cut::AFTER_BRACE ? GuessOrder::A_BLOCK_AHEAD
                                                                        : GuessOrder::AFTER_THE_FIRST_BLOCK))
                    << text << first << ' ' << second;
}

class TurtleRelayCutTest : public testing::TestWithParam<std::tuple<bool, Version>> {
protected:
    ReaderOptions makeOptions(const Syntax syntax) const {
        ReaderOptions options = strict(syntax, std::get<1>(GetParam()));
        options.m_isLenient = std::get<0>(GetParam());
        return options;
    }
};

TEST_P(TurtleRelayCutTest, everyCutOfTurtleGivesWhatOneReaderGives) {
    for (const std::string& text : TURTLE_TEXTS)
        checkCuts(text, makeOptions(Syntax::TURTLE));
}

TEST_P(TurtleRelayCutTest, everyCutOfTriGGivesWhatOneReaderGives) {
    for (const std::string& text : TRIG_TEXTS)
        checkCuts(text, makeOptions(Syntax::TRIG));
    checkCuts(TURTLE_TEXTS[0], makeOptions(Syntax::TRIG));
}

INSTANTIATE_TEST_SUITE_P(StrictAndLenient, TurtleRelayCutTest,
                         testing::Combine(testing::Bool(), testing::Values(Version::RDF_1_1, Version::RDF_1_2)));

/// Makes a document with mostly correct statements that contain apparent ends of statements.
std::string makeDocument(std::mt19937& random, const bool hasGraphs) {
    const auto one = [&random](const std::vector<std::string>& of) { return of[random() % of.size()]; };
    std::string text = "@prefix : <u:> .\n@base <v:/> .\n";
    bool isInGraph = false;
    for (auto count = 5 + random() % 40; count != 0; --count) {
        const auto kind = random() % 40;
        if (kind == 0 && !isInGraph) {
            text += one({"@prefix : <w:> .\n", "PREFIX x: <x:>\n", "BASE <y/>\n", "@prefix : <u:> .\n"});
        } else if (kind < 4 && hasGraphs) {
            text += isInGraph ? "}\n" : one({"GRAPH <g> {\n", ":g {\n", "{\n", "[] {", "_:b {\n"});
            isInGraph = !isInGraph;
        } else if (kind == 4) {
            text += one({":a :b .\n", "'x' .\n", ":a :b 'x\n .\n", "# comment .\n", "\xFF.\n", "}\n", "]\n",
                         ":a :b \"\"\"", "."});
        } else {
            text += one({":s ", "<s> ", "[] ", "_:b ", "[ :q [] ] ", "(1 [] ) "}) + one({":p ", "a ", "<p> "});
            for (auto objects = random() % 4; objects != 0; --objects)
                text += one({"'a' ", "1.5 ", "\"\"\"b .\n:s :p 'x' .\n\"\"\" ", "[ :q 'y' ;\n :r () ] ", "'c'@en ",
                             ":o.x "}) +
                        one({", ", ",\n ", "; :q ", ";\n\n  :r "});
            text +=
                one({"'z' .\n", ":o .\n", "1. ", "<o> .\r\n", "\"\"\"e\"\"\".\n\n", "_:b.\n", ":o ~ {| :a 'b' |} .\n"});
        }
    }
    return text;
}

TEST(TurtleRelayTest, everyWayToCutMadeDocumentsGivesWhatOneReaderGives) {
    for (const uint32_t seed : getTestSeeds(3)) {
        std::mt19937 random(seed);
        for (int round = 0; round < 300; ++round) {
            ReaderOptions options = strict(random() % 2 == 0 ? Syntax::TURTLE : Syntax::TRIG);
            options.m_isLenient = random() % 4 != 0;
            if (random() % 4 == 0)
                options.m_maximumLength = 20 + random() % 100;
            const std::string text = makeDocument(random, options.m_syntax == Syntax::TRIG);
            const ReadResult whole = readText(text, options);
            const size_t size = 1 + random() % 400;
            for (const GuessOrder order : {GuessOrder::AFTER_THE_FIRST_BLOCK, GuessOrder::A_BLOCK_AHEAD}) {
                ASSERT_EQ(whole, readInBlocks(cutText(text, size, options.m_syntax), options, order))
                    << text << size << ' ' << describeSeed(seed);
                std::vector<size_t> cuts;
                for (size_t cut = random() % size; cut < text.size(); cut += 1 + random() % size)
                    cuts.push_back(cut);
                ASSERT_EQ(whole, readInBlocks(cutText(text, cuts), options, order)) << text << describeSeed(seed);
            }
        }
    }
}

TEST(TurtleRelayTest, theW3cTestsGiveInBlocksWhatOneReaderGives) {
    const char* const data = std::getenv("MELNAR_DATA");
    if (data == nullptr)
        GTEST_SKIP() << "MELNAR_DATA names no folder";
    const auto files = findTurtleFiles(data);
    for (const auto& [path, syntax] : files) {
        const std::string text = readWholeFile(path);
        for (const bool isLenient : {false, true}) {
            ReaderOptions options = strict(syntax);
            options.m_isLenient = isLenient;
            const ReadResult whole = readText(text, options);
            for (const size_t size : {size_t(30), size_t(90), 200 + text.size() / 20})
                ASSERT_EQ(whole,
                          readInBlocks(cutText(text, size, options.m_syntax), options,
                                       size == 90 ? GuessOrder::AFTER_THE_FIRST_BLOCK : GuessOrder::A_BLOCK_AHEAD))
                    << path << ' ' << size;
        }
    }
    EXPECT_GT(files.size(), 800u);
}

TEST(TurtleRelayTest, findsWhereStatementsSeemToEnd) {
    struct Case {
        std::string m_text;
        Syntax m_syntax;
        std::string m_block;
        Cut m_cut;
    };
    for (const Case& one : std::vector<Case>{
             {":s :p 1 .\n:s :p", Syntax::TURTLE, ":s :p 1 .\n", Cut::AFTER_FULL_STOP},
             {":s :p 1 . \t\r\n\n\n<s> :p", Syntax::TURTLE, ":s :p 1 . \t\r\n\n\n", Cut::AFTER_FULL_STOP},
             {":s :p 1 .\n:s\n:p\n1\n", Syntax::TURTLE, ":s :p 1 .\n", Cut::AFTER_FULL_STOP},
             {"[] :p '''A.\nThis is a line.\nNote: another.\n'''.\n", Syntax::TURTLE,
              "[] :p '''A.\nThis is a line.\nNote: another.\n'''.\n", Cut::AFTER_FULL_STOP},
             {"[] :p '''A.\nThis is a line.\nNote: another.\n", Syntax::TURTLE,
              "[] :p '''A.\nThis is a line.\nNote: another.\n", Cut::AFTER_FULL_STOP},
             {"[] :p '''A.\nThis is a line.\nNote: another", Syntax::TURTLE, "", Cut::ANYWHERE},
             {":g { :s :p 1 .\n:s :p 2 .\n}\n:h { :s :p 1 .\n:s", Syntax::TRIG, ":g { :s :p 1 .\n:s :p 2 .\n}\n",
              Cut::AFTER_BRACE},
             {":g { }\n:h { :s :p 1 .\n:s :p 2 .\n:s :p 3", Syntax::TRIG, ":g { }\n:h { :s :p 1 .\n:s :p 2 .\n",
              Cut::AFTER_FULL_STOP},
             {":s :p :o {| :a :b |}\n:x", Syntax::TRIG, "", Cut::ANYWHERE},
             {":g { }\n:s :p 1", Syntax::TURTLE, "", Cut::ANYWHERE},
             {":s :p 1 . :s :p 2 . ", Syntax::TURTLE, "", Cut::ANYWHERE},
             {"\n\n\n", Syntax::TURTLE, "", Cut::ANYWHERE},
             {".\n", Syntax::TURTLE, ".\n", Cut::AFTER_FULL_STOP},
             {"", Syntax::TRIG, "", Cut::ANYWHERE},
         }) {
        Cut cut = Cut::AFTER_BRACE;
        EXPECT_EQ(one.m_block.size(), TurtleRelay::findCut(one.m_text, one.m_syntax, cut)) << one.m_text;
        EXPECT_EQ(one.m_cut, cut) << one.m_text;
    }
}

/// Returns the results for the third block of a text before the turn of the second.
std::string guessThird(const std::vector<std::string>& texts, const Cut cut = Cut::AFTER_FULL_STOP) {
    const std::string text = texts[0] + texts[1] + texts[2];
    const auto blocks = cutText(text, {texts[0].size(), texts[0].size() + texts[1].size()}, cut);
    TurtleRelay relay(strict(Syntax::TRIG));
    Recorder others({});
    Recorder third([](const Term&) { return Place(); });
    TurtleRelay::Runner other(relay, others);
    TurtleRelay::Runner runner(relay, third);
    other.read(blocks[0]);
    runner.guess(blocks[2]);
    const std::string guess = third.m_result.m_statements;
    other.read(blocks[1]);
    runner.finish();
    return guess + third.m_result.m_statements;
}

TEST(TurtleRelayTest, guessesThatAreRightAreKept) {
    const std::string statement = "<u:s> <u:p> <u:o> .\n";
    EXPECT_EQ(statement + statement, guessThird({"@prefix : <u:> .\n", ":a :b :c .\n", ":s :p :o .\n"}));
    EXPECT_EQ(statement + statement, guessThird({"@prefix : <u:> .\n", "PREFIX : <u:>", ":s :p :o .\n"}));
    const std::string quad = "<u:s> <u:p> <u:o> <u:g> .\n";
    EXPECT_EQ(quad + quad, guessThird({"@prefix : <u:> .:g {\n", ":a :b :c .\n", ":s :p :o .\n"}));
    EXPECT_EQ(statement + statement,
              guessThird({"@prefix : <u:> .:g {\n", ":a :b :c .\n}\n", ":s :p :o .\n"}, Cut::AFTER_BRACE));
}

TEST(TurtleRelayTest, guessesThatAreWrongAreWithdrawn) {
    EXPECT_EQ("<u:s> <u:p> <u:o> .\n<v:s> <v:p> <v:o> .\n",
              guessThird({"@prefix : <u:> .\n", "@prefix : <v:> .\n", ":s :p :o .\n"}));
    EXPECT_EQ("<u:s> <u:p> <u:o> <u:g> .\n<u:s> <u:p> <u:o> .\n",
              guessThird({"@prefix : <u:> .:g {\n", "} # .\n", ":s :p :o .\n"}));
    EXPECT_EQ("<u:s> <u:p> <u:o> .\n", guessThird({"@prefix : <u:> .\n", ":a :b # .", ":s :p :o .\n"}));
    EXPECT_EQ("<u:s> <u:p> <u:o> .\n<u:a> <u:b> \"c .\\n:s :p :o .\\n\" .\n",
              guessThird({"@prefix : <u:> .\n", ":a :b '''c .\n", ":s :p :o .\n''' ."}));
    EXPECT_EQ("<u:s> <u:p> <u:o> .\n", guessThird({"@prefix : <u:> .\n", "faulty .\n", ":s :p :o .\n"}));
}

TEST(TurtleRelayTest, whatIsReadInVainIsASmallPartOfTheText) {
    std::string text;
    for (int number = 0; number < 5000; ++number)
        text += "@prefix : <u:" + std::to_string(number) + "> .\n:s :p 'a' .\n";
    TurtleRelay relay(strict(Syntax::TURTLE));
    Recorder recorder([](const Term&) { return Place(); });
    TurtleRelay::Runner even(relay, recorder);
    TurtleRelay::Runner odd(relay, recorder);
    const auto blocks = cutText(text, 200, Syntax::TURTLE);
    even.read(blocks[0]);
    odd.guess(blocks[1]);
    for (size_t index = 2; index < blocks.size(); ++index) {
        TurtleRelay::Runner& ahead = index % 2 == 0 ? even : odd;
        ahead.guess(blocks[index]);
        (index % 2 == 0 ? odd : even).finish();
    }
    EXPECT_GT(relay.getBytesInVain(), text.size() / 10);
    EXPECT_LT(relay.getBytesInVain(), text.size() / 8 + 400);
}

/// Starts the guess for another block while a statement is taken.
class GuessingSink : public TurtleRelay::Sink {
public:
    void takeStatement(const Statement&) final {
        if (TurtleRelay::Runner* const runner = std::exchange(m_runner, nullptr))
            runner->guess(m_block);
    }
    void takeError(const SyntaxError&) final {}
    void withdraw() final { ++m_withdrawals; }

    TurtleRelay::Runner* m_runner = nullptr;
    TurtleRelay::Block m_block;
    size_t m_withdrawals = 0;
};

TEST(TurtleRelayTest, aBlockIsGuessedWhileAnotherIsReadInTurn) {
    const std::string text = "<a:s> <a:p> 1 .\n<a:s> <a:p> 1 .\n<a:s> <a:p> 2 .\n";
    auto blocks = cutText(text, {16, 32});
    blocks[1].m_cut = Cut::ANYWHERE;
    Recorder recorder([](const Term&) { return Place(); });
    GuessingSink sink;
    TurtleRelay relay(strict(Syntax::TURTLE));
    TurtleRelay::Runner ahead(relay, recorder);
    TurtleRelay::Runner inTurn(relay, sink);
    inTurn.read(blocks[0]);
    sink.m_runner = &ahead;
    sink.m_block = blocks[2];
    inTurn.read(blocks[1]);
    const std::string guess = recorder.m_result.m_statements;
    EXPECT_NE("", guess);
    ahead.finish();
    EXPECT_EQ(guess, recorder.m_result.m_statements) << "it counts and is not read again";
    EXPECT_EQ(0u, relay.getBytesInVain());
    ahead.finishText();
}

TEST(TurtleRelayTest, aSinkThatThrowsInAGuessOnlySpoilsTheGuess) {
    struct Sink : TurtleRelay::Sink {
        void takeStatement(const Statement&) final {
            if (m_isGuess)
                throw std::bad_alloc();
            ++m_statements;
        }
        void takeError(const SyntaxError&) final {}
        void withdraw() final { ++m_withdrawals; }
        bool m_isGuess = true;
        size_t m_statements = 0;
        size_t m_withdrawals = 0;
    } sink;
    Recorder recorder([](const Term&) { return Place(); });
    const std::string text = "<a:s> <a:p> 1 .\n<a:s> <a:p> 1 .\n<a:s> <a:p> 1 .\n";
    const auto blocks = cutText(text, {16, 32});
    TurtleRelay relay(strict(Syntax::TURTLE));
    TurtleRelay::Runner other(relay, recorder);
    TurtleRelay::Runner runner(relay, sink);
    other.read(blocks[0]);
    runner.guess(blocks[2]);
    other.read(blocks[1]);
    sink.m_isGuess = false;
    runner.finish();
    EXPECT_EQ(1u, sink.m_statements);
    EXPECT_EQ(1u, sink.m_withdrawals);
    runner.finishText();
}

TEST(TurtleRelayTest, aGuessWithoutMemoryOnlySpoilsTheGuess) {
    const std::string graph = ":" + std::string(100, 'g') + " {\n";
    const std::string text = "@prefix : <u:> .\n" + graph + ":a :b 1 .\n:a :b 2 .\n";
    const auto blocks = cutText(text, {17 + graph.size(), 27 + graph.size()});
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        Recorder others([](const Term&) { return Place(); });
        Recorder recorder([](const Term&) { return Place(); });
        TurtleRelay relay(lenient(Syntax::TRIG));
        TurtleRelay::Runner other(relay, others);
        TurtleRelay::Runner runner(relay, recorder);
        other.read(blocks[0]);
        EXPECT_TRUE(round.attempt([&] { runner.guess(blocks[2]); }));
        other.read(blocks[1]);
        runner.finish();
        EXPECT_NE(std::string::npos, recorder.m_result.m_statements.find("\"2\""));
    });
    EXPECT_LT(1u, counts.m_tolerated);
}

TEST(TurtleRelayTest, afterAnExceptionInTurnTheOtherBlocksHaveNothing) {
    struct Sink : TurtleRelay::Sink {
        void takeStatement(const Statement&) final { throw std::bad_alloc(); }
        void takeError(const SyntaxError&) final {}
        void withdraw() final {}
    } sink;
    Recorder recorder([](const Term&) { return Place(); });
    const std::string text = "<a:s> <a:p> 1 .\n<a:s> <a:p> 1 .\n<a:s> <a:p> 1 .\n";
    const auto blocks = cutText(text, {16, 32});
    TurtleRelay relay(strict(Syntax::TURTLE));
    TurtleRelay::Runner other(relay, recorder);
    TurtleRelay::Runner runner(relay, sink);
    other.read(blocks[0]);
    other.guess(blocks[2]);
    EXPECT_NE(std::string::npos, recorder.m_result.m_statements.find('\n'));
    EXPECT_THROW(runner.read(blocks[1]), std::bad_alloc);
    other.finish();
    EXPECT_EQ(ReadResult(), recorder.m_result);
    other.finishText();
}

} // namespace
