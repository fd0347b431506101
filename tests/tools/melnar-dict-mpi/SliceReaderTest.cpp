#include "tools/melnar-dict-mpi/SliceReader.h"

#include "Engine/core/platform/SystemCallException.h"
#include "tests/support/SystemCallFaults.h"
#include "tests/support/TemporaryDirectory.h"
#include "tests/tools/melnar-dict/input/GzipText.h"
#include "tools/melnar-dict-mpi/SliceFrontier.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

namespace {

using Input = SlicePlan::Input;

constexpr size_t SIZE = SlicePlan::SLICE_SIZE;
constexpr size_t ANY_BYTES = size_t(1) << 30;
constexpr uint32_t DEFAULT_GRAPH = ~uint32_t(0);

/// The contents of all pieces of a run, in the order of the slices.
struct Result {
    using Error = std::tuple<size_t, uint64_t, std::string>; // input, line and cause

    bool operator==(const Result&) const = default;

    std::vector<std::string> m_rows; // one term after the other, each followed by a space
    std::vector<Error> m_errors;
    std::string m_rejected;
    StatementCounts m_counts;
    std::vector<uint64_t> m_lineEnds; // of each input
};

class SliceReaderTest : public testing::Test {
protected:
    Input addFile(const std::string& name, const std::string& text, const RdfFormat format = RdfFormat::N_TRIPLES,
                  const bool isCut = true) const {
        return {m_directory.addFile(name, text), format, text.size(), isCut, SlicePlan::ANY_RANK};
    }

    /// Reads with `numberOfRanks` ranks, like rounds that take everything that comes next.
    Result read(const std::vector<Input>& inputs, const uint32_t numberOfRanks, const size_t numberOfColumns = 3) {
        m_bytesRead = 0;
        const SlicePlan plan(inputs, numberOfRanks);
        std::vector<std::unique_ptr<PieceQueue>> queues;
        std::vector<std::unique_ptr<SliceReader>> readers;
        for (uint32_t rank = 0; rank < numberOfRanks; ++rank) {
            queues.push_back(std::make_unique<PieceQueue>(m_directory.getPathOf("."), numberOfColumns));
            readers.push_back(std::make_unique<SliceReader>(plan, rank, m_settings, m_bytesRead, *queues[rank]));
        }
        Result result;
        result.m_lineEnds.resize(inputs.size());
        for (SliceFrontier frontier(plan); !frontier.isAtEnd();) {
            queues[plan.getSlice(frontier.getSlice()).m_owner]->waitForPiece();
            std::vector<SliceFrontier::Offer> offers;
            for (const std::unique_ptr<PieceQueue>& queue : queues)
                offers.push_back(queue->getOffer(ANY_BYTES));
            const std::vector<SliceFrontier::Taken> taken = frontier.take(offers);
            EXPECT_FALSE(taken.empty()) << "a rank has nothing where its slice is next";
            if (taken.empty())
                return result;
            for (const SliceFrontier::Taken& next : taken) {
                std::unique_ptr<ReadPiece> piece = queues[next.m_rank]->pop();
                EXPECT_EQ(next.m_piece.m_slice, piece->m_place.m_slice);
                add(*piece, plan.getSlice(next.m_piece.m_slice).m_inputIndex, numberOfColumns, result);
                queues[next.m_rank]->giveBack(std::move(piece));
            }
        }
        for (uint32_t rank = 0; rank < numberOfRanks; ++rank) {
            queues[rank]->waitForPiece();
            EXPECT_EQ(0u, queues[rank]->getOffer(ANY_BYTES).m_number);
            EXPECT_EQ(plan.getNumberOfSlices(), readers[rank]->getNextSlice());
        }
        return result;
    }

    static void add(const ReadPiece& piece, const size_t inputIndex, const size_t numberOfColumns, Result& result) {
        const auto entries = piece.m_parsed.m_terms.getEntries();
        const auto cells = piece.m_rows.getCells();
        for (size_t index = 0; index < cells.size(); ++index) {
            if (index % numberOfColumns == 0)
                result.m_rows.emplace_back();
            if (cells[index] == DEFAULT_GRAPH)
                result.m_rows.back() += "default ";
            else
                result.m_rows.back().append(entries[cells[index]].m_lexicalForm).append(" ");
        }
        for (const InputError& error : piece.m_parsed.m_errors)
            result.m_errors.emplace_back(
                inputIndex, error.m_line == 0 ? 0 : error.m_line + result.m_lineEnds[inputIndex], error.m_cause);
        result.m_lineEnds[inputIndex] += piece.m_parsed.m_numberOfLineEnds;
        result.m_rejected += piece.m_parsed.m_rejected;
        result.m_counts += piece.m_parsed.m_counts;
    }

    const TemporaryDirectory m_directory;
    SliceReader::Settings m_settings;
    std::atomic<uint64_t> m_bytesRead = 0;
};

std::string makeStatement(const uint64_t number) {
    return "<http://s/" + std::to_string(number) + "> <http://p> \"" + std::to_string(number * 77) + "\" .";
}

std::string makeRow(const uint64_t number) {
    return "http://s/" + std::to_string(number) + " http://p " + std::to_string(number * 77) + " ";
}

/// Makes statements of at least `size` bytes.
std::string makeStatements(const size_t size, uint64_t& number) {
    std::string text;
    while (text.size() < size)
        text += makeStatement(number++) + '\n';
    return text;
}

std::vector<std::string> makeRows(const uint64_t number) {
    std::vector<std::string> rows;
    for (uint64_t index = 0; index < number; ++index)
        rows.push_back(makeRow(index));
    return rows;
}

TEST_F(SliceReaderTest, withoutInputsThereIsNothing) {
    EXPECT_EQ(Result(), read({}, 2));
}

TEST_F(SliceReaderTest, anyRanksReadEachStatementOnceAndInOrder) {
    uint64_t number = 0;
    const std::string text = makeStatements(5 * SIZE + SIZE / 2, number);
    const Input input = addFile("a.nt", text);
    for (const uint32_t ranks : {1u, 2u, 3u, 9u}) {
        const Result result = read({input}, ranks);
        EXPECT_TRUE(makeRows(number) == result.m_rows) << ranks;
        EXPECT_TRUE(result.m_errors.empty());
        EXPECT_EQ(number, result.m_counts.m_statements);
        EXPECT_EQ(number, result.m_counts.m_strings);
        EXPECT_EQ(2 * number, result.m_counts.m_iris);
        EXPECT_EQ(number, result.m_lineEnds[0]);
        EXPECT_EQ(text.size(), m_bytesRead);
    }
}

TEST_F(SliceReaderTest, filesWithoutStatementsHaveNone) {
    for (const std::string text : {"", "\n", "# comment", "\n\n"})
        for (const bool isCut : {false, true}) {
            const Result result = read({addFile("a.nt", text, RdfFormat::N_TRIPLES, isCut)}, 2);
            EXPECT_TRUE(result.m_rows.empty() && result.m_errors.empty());
            EXPECT_EQ(static_cast<uint64_t>(std::ranges::count(text, '\n')), result.m_lineEnds[0]);
        }
}

/// The errors are at the ends of slices, and in lines across them.
TEST_F(SliceReaderTest, errorsHaveTheLinesOfTheFile) {
    m_settings.m_isLenient = m_settings.m_keepsRejected = true;
    std::string text;
    uint64_t number = 0;
    std::vector<uint64_t> lines;
    const auto addBadLine = [&](const std::string& line) {
        lines.push_back(1 + static_cast<uint64_t>(std::ranges::count(text, '\n')));
        text += line + '\n';
    };
    addBadLine("first");
    text += makeStatements(SIZE - 200, number);
    addBadLine(std::string(400, 'o'));
    addBadLine("behind");
    text += makeStatements(2 * SIZE - 1 - text.size() - 80, number) + '\n';
    addBadLine("near the end");
    text += makeStatements(SIZE, number);
    addBadLine("last");
    text.pop_back();
    for (const bool isCut : {true, false})
        for (const uint32_t ranks : {1u, 2u, 3u}) {
            const Result result = read({addFile("a.nt", text, RdfFormat::N_TRIPLES, isCut)}, ranks);
            ASSERT_EQ(lines.size(), result.m_errors.size());
            for (size_t index = 0; index < lines.size(); ++index)
                EXPECT_EQ(lines[index], std::get<1>(result.m_errors[index]));
            EXPECT_TRUE(makeRows(number) == result.m_rows);
            EXPECT_EQ("first\n" + std::string(400, 'o') + "\nbehind\nnear the end\nlast", result.m_rejected);
        }
}

TEST_F(SliceReaderTest, aPieceThatIsNotReadLenientlyEndsAtItsFirstError) {
    const Result result = read({addFile("a.nt", makeStatement(0) + "\nbad\nbad\n" + makeStatement(1) + '\n')}, 1);
    EXPECT_EQ(makeRows(1), result.m_rows);
    ASSERT_EQ(1u, result.m_errors.size());
    EXPECT_EQ(2u, std::get<1>(result.m_errors[0]));
    EXPECT_EQ("", result.m_rejected);
}

TEST_F(SliceReaderTest, literalsThatTheDictionaryRefusesAreErrorsOfTheirLines) {
    m_settings.m_isLenient = m_settings.m_keepsRejected = true;
    const std::string refused = "<http://s> <http://p> \"no tag\"^^<http://www.w3.org/1999/02/22-rdf-syntax-ns#"
                                "PlainLiteral> .\n";
    const std::string text = makeStatement(0) + '\n' + refused + makeStatement(1) + '\n' + refused;
    for (const bool isCut : {true, false}) {
        const Result result = read({addFile("a.nt", text, RdfFormat::N_TRIPLES, isCut)}, 2);
        EXPECT_EQ(makeRows(2), result.m_rows);
        ASSERT_EQ(2u, result.m_errors.size());
        EXPECT_EQ(2u, std::get<1>(result.m_errors[0]));
        EXPECT_EQ(4u, std::get<1>(result.m_errors[1]));
        EXPECT_NE("", std::get<2>(result.m_errors[0]));
        EXPECT_EQ(refused + refused, result.m_rejected);
    }
}

TEST_F(SliceReaderTest, aByteOrderMarkIsLeftOutAtTheStartOfAFileAlone) {
    const std::string mark = "\xEF\xBB\xBF";
    for (const bool isCut : {true, false}) {
        const Input input = addFile("a.nt", mark + makeStatement(0) + '\n', RdfFormat::N_TRIPLES, isCut);
        const Result result = read({input, addFile("b.nt", mark + makeStatement(1), RdfFormat::N_TRIPLES, isCut)}, 2);
        EXPECT_EQ(makeRows(2), result.m_rows);
        EXPECT_TRUE(result.m_errors.empty());
    }
    const std::string text = std::string(SIZE - 1, '#') + '\n' + mark + makeStatement(0) + '\n';
    const Result result = read({addFile("a.nt", text)}, 2);
    EXPECT_TRUE(result.m_rows.empty());
    ASSERT_EQ(1u, result.m_errors.size()) << "at the start of a slice it is one of its line";
    EXPECT_EQ(2u, std::get<1>(result.m_errors[0]));
}

TEST_F(SliceReaderTest, filesOfAllKindsComeInTheirOrder) {
    uint64_t number = 0;
    const std::string first = makeStatements(2 * SIZE + 5, number);
    const std::string packed = makeStatements(3 * SIZE, number);
    const std::string turtle = makeStatements(2 * SIZE, number);
    const std::string last = makeStatements(SIZE, number);
    const std::vector<Input> inputs{addFile("a.nt", first), addFile("b.nt", ""),
                                    addFile("c.nt.gz", gzip(packed), RdfFormat::N_TRIPLES, false),
                                    addFile("d.ttl", turtle, RdfFormat::TURTLE, false), addFile("e.nt", last)};
    for (const uint32_t ranks : {1u, 2u, 3u}) {
        const Result result = read(inputs, ranks);
        EXPECT_TRUE(makeRows(number) == result.m_rows) << ranks;
        EXPECT_TRUE(result.m_errors.empty());
        EXPECT_EQ(first.size() + inputs[2].m_bytes + turtle.size() + last.size(), m_bytesRead) << "as on the disk";
    }
}

TEST_F(SliceReaderTest, graphsHaveAColumnAndTheDefaultGraphNone) {
    const std::string text = "<http://s> <http://p> \"o\" <http://g> .\n<http://s> <http://p> \"o\" .\n";
    for (const bool isCut : {true, false})
        EXPECT_EQ((std::vector<std::string>{"http://s http://p o http://g ", "http://s http://p o default "}),
                  read({addFile("a.nq", text, RdfFormat::N_QUADS, isCut)}, 2, 4).m_rows);
    EXPECT_EQ(
        (std::vector<std::string>{"http://s http://p o http://g "}),
        read({addFile("a.trig", "<http://g> { <http://s> <http://p> \"o\" }", RdfFormat::TRIG, false)}, 2, 4).m_rows);
    const Result result = read({addFile("a.nq", text, RdfFormat::N_QUADS)}, 2, 0);
    EXPECT_TRUE(result.m_rows.empty());
    EXPECT_EQ(2u, result.m_counts.m_statements);
}

TEST_F(SliceReaderTest, prefixesAndTheBaseOfAWholeFileHoldForAllOfIt) {
    std::string text = "@prefix p: <http://p/> .\n";
    std::vector<std::string> rows;
    for (int number = 0; text.size() < 3 * SIZE; ++number) {
        text += "<r" + std::to_string(number) + "> p:q p:" + std::to_string(number) + " .\n";
        rows.push_back("http://b/r" + std::to_string(number) + " http://p/q http://p/" + std::to_string(number) + " ");
    }
    m_settings.m_base = "http://b/";
    const Result result = read({addFile("a.ttl", text, RdfFormat::TURTLE, false)}, 2);
    EXPECT_TRUE(rows == result.m_rows);
    EXPECT_TRUE(result.m_errors.empty());
}

TEST_F(SliceReaderTest, withoutABaseItIsTheFile) {
    const Result result = read({addFile("a.ttl", "<#s> <http://p> \"o\" .", RdfFormat::TURTLE, false)}, 1);
    ASSERT_EQ(1u, result.m_rows.size());
    EXPECT_EQ(0u, result.m_rows[0].find("file:///"));
    EXPECT_NE(std::string::npos, result.m_rows[0].find("/a.ttl#s http://p o "));
}

TEST_F(SliceReaderTest, labelsAreThoseOfTheirFiles) {
    const std::string text = "_:b <http://p> \"o\" .\n";
    for (const bool isCut : {true, false}) {
        const std::vector<Input> inputs{addFile("a.nt", text, RdfFormat::N_TRIPLES, isCut),
                                        addFile("b.nt", text, RdfFormat::N_TRIPLES, isCut)};
        m_settings.m_blankNodes = {};
        const Result ofDocuments = read(inputs, 2);
        ASSERT_EQ(2u, ofDocuments.m_rows.size());
        EXPECT_NE(ofDocuments.m_rows[0], ofDocuments.m_rows[1]);
        m_settings.m_blankNodes.m_firstDocument = 2;
        EXPECT_EQ(ofDocuments.m_rows[1], read(inputs, 2).m_rows.at(0));
        m_settings.m_blankNodes = {.m_mode = BlankNodeScope::Mode::SHARED};
        const Result shared = read(inputs, 2);
        EXPECT_EQ(shared.m_rows.at(0), shared.m_rows.at(1));
    }
}

TEST_F(SliceReaderTest, errorsOfTurtleAreThoseOfItsLines) {
    uint64_t number = 0;
    std::string text = makeStatements(SIZE + SIZE / 2, number);
    text += "bad bad .\n" + makeStatement(number) + '\n';
    m_settings.m_isLenient = true;
    const Result result = read({addFile("a.ttl", text, RdfFormat::TURTLE, false)}, 2);
    ASSERT_EQ(1u, result.m_errors.size());
    EXPECT_EQ(number + 1, std::get<1>(result.m_errors[0]));
    EXPECT_TRUE(makeRows(number + 1) == result.m_rows);
}

TEST_F(SliceReaderTest, aLineAboveTheMaximumIsOneErrorOfItsLine) {
    m_settings.m_maximumLine = 1000;
    m_settings.m_isLenient = m_settings.m_keepsRejected = true;
    for (const size_t length : {size_t(1000), size_t(1001), size_t(5000), SIZE, 3 * SIZE + 7}) {
        const std::string line = std::string(length, 'l') + '\n';
        const std::string text =
            makeStatement(0) + '\n' + line + makeStatement(1) + '\n' + line + line + makeStatement(2) + '\n';
        for (const bool isCut : {true, false})
            for (const uint32_t ranks : {1u, 2u}) {
                const Result result = read({addFile("a.nt", text, RdfFormat::N_TRIPLES, isCut)}, ranks);
                EXPECT_EQ(makeRows(3), result.m_rows) << length;
                ASSERT_EQ(3u, result.m_errors.size()) << length;
                EXPECT_EQ(2u, std::get<1>(result.m_errors[0]));
                EXPECT_EQ(4u, std::get<1>(result.m_errors[1]));
                EXPECT_EQ(5u, std::get<1>(result.m_errors[2]));
                EXPECT_TRUE(line + line + line == result.m_rejected) << length;
                EXPECT_EQ(6u, result.m_lineEnds[0]);
            }
    }
}

TEST_F(SliceReaderTest, aMissingFileIsAnErrorOfEachOfItsSlices) {
    uint64_t number = 0;
    const Input input = addFile("a.nt", makeStatements(SIZE, number));
    for (const bool isCut : {true, false}) {
        const Input missing{m_directory.getPathOf("missing.nt"), RdfFormat::N_TRIPLES, 2 * SIZE, isCut,
                            SlicePlan::ANY_RANK};
        const Result result = read({missing, input}, 2);
        EXPECT_EQ(isCut ? 2u : 1u, result.m_errors.size());
        for (const Result::Error& error : result.m_errors)
            EXPECT_EQ(Result::Error(0, 0, std::strerror(ENOENT)), error);
        EXPECT_TRUE(makeRows(number) == result.m_rows) << "others are read";
    }
}

TEST_F(SliceReaderTest, aShorterFileIsAnErrorAfterItsWholeLines) {
    uint64_t number = 0;
    const Input input = addFile("a.nt", makeStatements(SIZE / 2, number));
    std::filesystem::resize_file(input.m_name, input.m_bytes - 5);
    const Result result = read({input}, 2);
    EXPECT_TRUE(makeRows(number - 1) == result.m_rows) << "but not the fragment at its end";
    EXPECT_EQ((std::vector<Result::Error>{{0, 0, "the file became shorter while it was being read"}}), result.m_errors);
}

TEST_F(SliceReaderTest, aDamagedPackedFileIsAnErrorAfterItsWholeLines) {
    uint64_t number = 0;
    const std::string packed = gzip(makeStatements(3 * SIZE, number));
    const Result result =
        read({addFile("a.nt.gz", packed.substr(0, packed.size() / 2), RdfFormat::N_TRIPLES, false)}, 2);
    EXPECT_GT(result.m_rows.size(), number / 3);
    EXPECT_TRUE(makeRows(result.m_rows.size()) == result.m_rows);
    ASSERT_EQ(1u, result.m_errors.size());
    EXPECT_EQ(0u, std::get<1>(result.m_errors[0]));
}

/// The failure does not concern an input file, so it is no error of one. The thread that takes pieces learns of it when
/// the first one is missing: it would not wait for a reader that has reported that it is done.
TEST_F(SliceReaderTest, aDiskThatIsFullGoesToTheQueueAfterWhatWasRead) {
    uint64_t number = 0;
    const std::string packed = gzip(makeStatements(16 * SIZE, number));
    const Input input = addFile("a.nt.gz", packed, RdfFormat::N_TRIPLES, false);
    const Input other = addFile("b.nt", std::string(5 * SIZE, '\n'));
    const SlicePlan plan({input, other}, 2);
    size_t failures = 0;
    for (size_t allowed = 0; failures == allowed; ++allowed) {
        SystemCallFaults writes(SystemCallFaults::Call::PWRITE);
        writes.failAfter(allowed, ENOSPC, SystemCallFaults::Duration::ONCE);
        PieceQueue queue(m_directory.getPathOf("."), 3);
        const SliceReader reader(plan, 0, m_settings, m_bytesRead, queue);
        while (reader.getNextSlice() == 0 && writes.getNumberOfFailures() == 0) // until it is done, or fails
            std::this_thread::yield();
        Result result;
        result.m_lineEnds.resize(2);
        try {
            for (bool isAtEnd = false; !isAtEnd;) {
                queue.waitForPiece();
                const uint32_t offered = queue.getOffer(ANY_BYTES).m_number;
                isAtEnd = offered == 0;
                for (uint32_t index = 0; index < offered; ++index) {
                    std::unique_ptr<ReadPiece> piece = queue.pop();
                    add(*piece, plan.getSlice(piece->m_place.m_slice).m_inputIndex, 3, result);
                    queue.giveBack(std::move(piece));
                }
            }
            EXPECT_TRUE(makeRows(number) == result.m_rows);
        } catch (const SystemCallException& exception) {
            ++failures;
            EXPECT_EQ(ENOSPC, exception.getErrorCode());
            EXPECT_EQ(0u, reader.getNextSlice()) << "where it is waited for";
            EXPECT_TRUE(makeRows(result.m_rows.size()) == result.m_rows);
        }
        EXPECT_TRUE(result.m_errors.empty());
        EXPECT_EQ(writes.getNumberOfFailures(), failures == allowed + 1 ? 1u : 0u);
    }
    EXPECT_GT(failures, 2u) << "too little was spilled";
}

TEST_F(SliceReaderTest, itsEndStopsItAtAnyMoment) {
    uint64_t number = 0;
    const Input cut = addFile("a.nt", makeStatements(16 * SIZE, number));
    const Input whole{cut.m_name, RdfFormat::TURTLE, cut.m_bytes, false, SlicePlan::ANY_RANK};
    for (const Input& input : {cut, whole})
        for (size_t piecesBefore = 0; piecesBefore < 4; ++piecesBefore) {
            const SlicePlan plan({input}, 1);
            PieceQueue queue(m_directory.getPathOf("."), 3);
            {
                const SliceReader reader(plan, 0, m_settings, m_bytesRead, queue);
                for (size_t piece = 0; piece < piecesBefore; ++piece) {
                    queue.waitForPiece();
                    ASSERT_NE(0u, queue.getOffer(ANY_BYTES).m_number);
                    queue.giveBack(queue.pop());
                }
            }
            EXPECT_EQ(nullptr, queue.takeEmpty(false));
            while (const uint32_t offered = queue.getOffer(ANY_BYTES).m_number)
                for (uint32_t index = 0; index < offered; ++index)
                    queue.giveBack(queue.pop());
            EXPECT_NO_THROW(queue.waitForPiece()) << "a stop is no failure, and does not hold up who waits";
        }
}

TEST_F(SliceReaderTest, ranksReadTheirOwnFilesAlone) {
    Input first = addFile("a.nt", makeStatement(0) + '\n');
    Input second = addFile("b.nt", makeStatement(1) + '\n');
    first.m_rank = 1;
    second.m_rank = 0;
    EXPECT_EQ(makeRows(2), read({first, second}, 3).m_rows);
}

} // namespace
