#include "tests/Reader/ReadInBlocks.h"

#include "tests/Reader/Recorder.h"

#include "Reader/PlaceCounter.h"

#include <gtest/gtest.h>

#include <deque>
#include <optional>

using namespace Rdf;

namespace {

constexpr std::string_view BYTE_ORDER_MARK = "\xEF\xBB\xBF";

/// A runner and its results.
struct RecordingRunner {
    explicit RecordingRunner(TurtleRelay& relay)
        : m_recorder([this](const Term& term) {
              const Place place = m_runner->locate(term);
              EXPECT_EQ(place.m_line, m_runner->locateLine(term));
              return place;
          }) {
        m_runner.emplace(relay, m_recorder);
    }

    std::optional<TurtleRelay::Runner> m_runner;
    Recorder m_recorder;
};

} // namespace

std::vector<TurtleRelay::Block> cutText(const std::string_view text, const std::vector<size_t>& cuts,
                                        const TurtleRelay::Cut claim) {
    std::vector<TurtleRelay::Block> blocks;
    PlaceCounter places;
    size_t begin = 0;
    for (size_t number = 0; number <= cuts.size(); ++number) {
        const size_t end = number == cuts.size() ? text.size() : cuts[number];
        blocks.push_back({number, text.substr(begin, end - begin), places.getBegin(), claim});
        if (number == 0 && text.substr(0, end).starts_with(BYTE_ORDER_MARK)) // has no column
            places.startText(text.data() + BYTE_ORDER_MARK.size(), {1, 1, BYTE_ORDER_MARK.size()});
        else
            places.startText(text.data() + begin);
        places.endText(text.data() + end);
        begin = end;
    }
    return blocks;
}

std::vector<TurtleRelay::Block> cutText(const std::string_view text, const size_t size, const Syntax syntax) {
    std::vector<size_t> cuts;
    std::vector<TurtleRelay::Cut> claims{TurtleRelay::Cut::ANYWHERE};
    size_t begin = 0;
    while (text.size() - begin > size) {
        const size_t length = TurtleRelay::findCut(text.substr(begin, size), syntax, claims.emplace_back());
        begin += length == 0 ? size : length;
        cuts.push_back(begin);
    }
    std::vector<TurtleRelay::Block> blocks = cutText(text, cuts);
    for (size_t number = 0; number < blocks.size(); ++number)
        blocks[number].m_cut = claims[number];
    return blocks;
}

ReadResult readInBlocks(const std::vector<TurtleRelay::Block>& blocks, const ReaderOptions& options,
                        const GuessOrder order) {
    TurtleRelay relay(options);
    std::deque<RecordingRunner> runners;
    for (size_t index = 0; index < blocks.size(); ++index)
        runners.emplace_back(relay);
    runners[0].m_runner->read(blocks[0]);
    if (order == GuessOrder::AFTER_THE_FIRST_BLOCK)
        for (size_t index = blocks.size(); --index != 0;)
            runners[index].m_runner->guess(blocks[index]);
    else if (blocks.size() > 1)
        runners[1].m_runner->guess(blocks[1]);
    for (size_t index = 1; index < blocks.size(); ++index) {
        if (order == GuessOrder::A_BLOCK_AHEAD && index + 1 < blocks.size())
            runners[index + 1].m_runner->guess(blocks[index + 1]);
        runners[index].m_runner->finish();
    }
    runners.back().m_runner->finishText();
    ReadResult all;
    for (const RecordingRunner& runner : runners)
        all += runner.m_recorder.m_result;
    return all;
}
