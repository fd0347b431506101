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
/// places that one reader finds. Each block yields those that end in it.
///
/// GUESS  While other threads are reading the text before a block, the block is read as if it started between
///        statements, with the base, the prefixes and the graph after the last finished block.
/// TURN   When everything before the block has been read, the reader of the last block decides. If it is between
///        statements at the start of the block, with the same base, prefixes and graph, it would read what has been
///        read, so the block's own reader continues in its place. Otherwise the results of the block are discarded, and
///        the reader of the last block continues with it.
///
/// So the cuts affect only the speed. Guesses are made while less than an eighth of the text was read in vain; all
/// threads wait for the first block, where most files have all of their directives.
///
/// Memory   That of a StreamReader for each thread and one more.
/// Threads  Any number, each with its own runner.
class TurtleRelay {
public:
    /// The last character of the text before a block, except white space, if a statement seems to end there.
    enum class Cut : uint8_t { ANYWHERE, AFTER_FULL_STOP, AFTER_BRACE };

    struct Block {
        uint64_t m_number = 0; // counts the blocks of the text from 0
        std::string_view m_text{};
        Place m_place{}; // where it starts
        Cut m_cut = Cut::ANYWHERE;
    };

    /// Takes the results of a block.
    class Sink : public StatementSink {
    public:
        /// Discards the results of the block.
        virtual void withdraw() = 0;
    };

    class Runner;

    explicit TurtleRelay(const ReaderOptions& options) : m_options(options) {}

    bool isLenient() const noexcept { return m_options.m_isLenient; }

    /// Returns where a block of this text should end and the next one start; 0 if there is no good position.
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
    std::unique_ptr<Lane> m_lane; // of the reader that has come so far; belongs to the runner that has its turn
    std::mutex m_mutex;           // protects everything below
    std::condition_variable m_turnCame;
    uint64_t m_turn = 0;   // number of the block that has its turn
    bool m_isOver = false; // strict reading has found an error, or there was another failure
    TurtleState m_state;   // before that block
    uint64_t m_bytesRead = 0;
    uint64_t m_bytesInVain = 0;
};

/// Reads the blocks that a thread takes, in their order. Together, the runners of a relay read all blocks of a text.
///
/// Ownership  The relay and the sink must outlive it.
/// Errors     Those of the sink and std::bad_alloc. After that, the blocks yield nothing.
class TurtleRelay::Runner {
public:
    Runner(TurtleRelay& relay, Sink& sink) : m_relay(relay), m_sink(sink) {}

    void read(const Block& block) {
        guess(block);
        finish();
    }

    /// The two halves of `read`; the text must not move in between.
    void guess(const Block& block);
    void finish();

    /// Ends the text after the blocks that were read. For one of the runners, when all blocks are done.
    void finishText();

    /// Returns the place of a term of the statement that the sink is taking.
    Place locate(const Term& term) { return m_reader->locate(term); }
    uint64_t locateOffset(const Term& term) const noexcept { return m_reader->locateOffset(term); }

    /// Returns only its line, which is faster.
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
    TurtleReader* m_reader = nullptr; // whose results the sink is taking
};

} // namespace Rdf
