#pragma once

#include "Reader/StreamReader.h"
#include "Reader/TurtleReader.h"

#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string_view>

namespace Rdf {

/// Reads a text of Turtle or TriG block by block with several threads, and finds the statements, labels, errors and
/// places that one reader finds. Each block gives those that end in it.
///
/// GUESS  While others are still at what precedes a block, it is read as if it began between statements, with the base,
///        the prefixes and the graph that were in force after the last block that is done.
/// TURN   When all that precedes the block is done, the reader that has come that far decides. If it stands between
///        statements where the block begins, with just that base, those prefixes and that graph, it would now read what
///        has been read, so the block's own reader takes its place. If not, all that was found in the block is
///        withdrawn, and the reader that has come that far goes on with the block.
///
/// So it is only the speed that depends on where the text is cut. Guesses are made while less than an eighth of the text
/// was read in vain; the first block, where most files have all of their directives, is waited for.
///
/// Memory   That of a StreamReader for each thread and one more.
/// Threads  Any number, each with a runner of its own.
class TurtleRelay {
public:
    /// What the text before a block ends with, but for white space, when a statement seems to end there.
    enum class Cut : uint8_t { ANYWHERE, AFTER_FULL_STOP, AFTER_BRACE };

    struct Block {
        uint64_t m_number = 0; // counts the blocks of the text from 0
        std::string_view m_text{};
        Place m_place{}; // where it begins
        Cut m_cut = Cut::ANYWHERE;
    };

    /// Takes what is found in a block.
    class Sink : public StatementSink {
    public:
        /// Says that what was found in the block does not count.
        virtual void withdraw() = 0;
    };

    class Runner;

    explicit TurtleRelay(const ReaderOptions& options) : m_options(options) {}

    bool isLenient() const noexcept { return m_options.m_isLenient; }

    /// Returns where a block of this text should end and the next one begin; 0 if no place looks good.
    static size_t findCut(std::string_view text, Syntax syntax, Cut& cut) noexcept;

    /// Returns how much of the text was read in vain.
    uint64_t getBytesInVain();

private:
    struct Lane {
        Lane(const ReaderOptions& options, Sink& sink) : m_reader(options, sink), m_stream(m_reader) {}

        TurtleReader m_reader;
        StreamReader m_stream;
    };

    const ReaderOptions m_options;
    std::unique_ptr<Lane> m_lane; // that has come so far; belongs to the runner whose turn it is
    std::mutex m_mutex;           // protects all that follows
    std::condition_variable m_turnCame;
    uint64_t m_turn = 0;   // number of the block whose turn it is
    bool m_isOver = false; // strict reading has found an error, or something else went wrong
    TurtleState m_state;   // before that block
    uint64_t m_bytesRead = 0;
    uint64_t m_bytesInVain = 0;
};

/// Reads the blocks that a thread takes, in their order. Together, the runners of a relay read all blocks of a text.
///
/// Ownership  The relay and the sink must outlive it.
/// Errors     Those of the sink and std::bad_alloc. Nothing is found in the blocks after that.
class TurtleRelay::Runner {
public:
    Runner(TurtleRelay& relay, Sink& sink) : m_relay(relay), m_sink(sink) {}

    void read(const Block& block) {
        guess(block);
        finish();
    }

    /// The two halves of `read`, between which the text stays where it is.
    void guess(const Block& block);
    void finish();

    /// Says that the text ends after the blocks that were read. For one of the runners, when all blocks are done.
    void finishText();

    /// Tells where a term of the statement stands that the sink is taking.
    Place locate(const Term& term) { return m_reader->locate(term); }
    uint64_t locateOffset(const Term& term) const noexcept { return m_reader->locateOffset(term); }

    /// Tells its line alone, which costs less.
    uint64_t locateLine(const Term& term) { return m_reader->locateLine(term); }

    /// Returns the text of that statement, with its full stop.
    std::string_view getStatementText() const noexcept { return m_reader->getStatementText(); }

private:
    void readInTurn();
    TurtleReader& prepare(Lane& lane) noexcept;

    TurtleRelay& m_relay;
    Sink& m_sink;
    Block m_block;
    std::unique_ptr<Lane> m_lane; // for guesses
    bool m_hasGuessed = false;
    TurtleState m_guess;
    TurtleReader* m_reader = nullptr; // that the sink takes from
};

} // namespace Rdf
