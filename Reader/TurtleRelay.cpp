#include "Reader/TurtleRelay.h"

#include "Reader/CharacterClass.h"

#include <algorithm>
#include <utility>

namespace Rdf {

namespace {

constexpr std::string_view SPACES = " \t\r\n";

/// Returns whether a statement may start here, rather than a line of a long string.
bool looksLikeStatement(std::string_view text) noexcept {
    text.remove_prefix(std::min(text.find_first_not_of(SPACES), text.size()));
    const auto wordEnd = std::find_if(text.begin(), text.end(), [](const char character) {
        return !CharacterClass::is(static_cast<uint8_t>(character), CharacterClass::NAME);
    });
    const std::string_view rest = text.substr(static_cast<size_t>(wordEnd - text.begin()));
    const bool isWord = wordEnd != text.begin();
    return rest.empty() || (rest.size() > 1 && rest[0] == ':' && rest[1] != ' ') || rest.starts_with(" <") ||
           (!isWord && std::string_view("<[(@#{}").find(rest[0]) != std::string_view::npos);
}

} // namespace

size_t TurtleRelay::findCut(const std::string_view text, const Syntax syntax, Cut& cut) noexcept {
    size_t fullStop = 0;
    size_t last = text.size();
    for (;;) {
        const size_t lineEnd = last == 0 ? std::string_view::npos : text.rfind('\n', last - 1);
        // The end of a graph is better than that of a statement, which may be in any graph, if it is not too far away.
        if (lineEnd == std::string_view::npos ||
            (fullStop != 0 && (syntax != Syntax::TRIG || lineEnd < text.size() / 2)))
            break;
        last = text.find_last_not_of(SPACES, lineEnd);
        if (last == std::string_view::npos)
            break;
        const bool isBrace = syntax == Syntax::TRIG && text[last] == '}' && (last == 0 || text[last - 1] != '|');
        if ((!isBrace && (text[last] != '.' || fullStop != 0)) || !looksLikeStatement(text.substr(lineEnd)))
            continue;
        if (isBrace) {
            cut = Cut::AFTER_BRACE;
            return lineEnd + 1;
        }
        fullStop = lineEnd + 1;
    }
    cut = fullStop != 0 ? Cut::AFTER_FULL_STOP : Cut::ANYWHERE;
    return fullStop;
}

uint64_t TurtleRelay::getBytesInVain() {
    const std::lock_guard guard(m_mutex);
    return m_bytesInVain;
}

void TurtleRelay::Runner::guess(const Block& block) {
    m_block = block;
    m_hasGuessed = false;
    try {
        {
            std::unique_lock lock(m_relay.m_mutex);
            m_relay.m_turnCame.wait(lock, [&] { return m_relay.m_turn != 0 || block.m_number == 0; });
            if (m_relay.m_turn == block.m_number || m_relay.m_isOver || block.m_cut == Cut::ANYWHERE ||
                m_relay.m_bytesInVain * 8 > m_relay.m_bytesRead)
                return;
            m_guess = m_relay.m_state;
        }
        m_hasGuessed = true;
        if (block.m_cut == Cut::AFTER_BRACE)
            m_guess.m_graph.reset();
        if (!m_lane)
            m_lane = std::make_unique<Lane>(m_relay.m_options, m_sink);
        m_lane->m_stream.clear();
        prepare(*m_lane).startAt(block.m_place, m_guess);
        m_lane->m_stream.feed(block.m_text);
    } catch (...) {
        m_guess = {}; // is wrong; the actual error is found again in its turn
    }
}

void TurtleRelay::Runner::finish() {
    bool isOver;
    {
        std::unique_lock lock(m_relay.m_mutex);
        m_relay.m_turnCame.wait(lock, [&] { return m_relay.m_turn == m_block.m_number; });
        isOver = m_relay.m_isOver;
    }
    // The turn must end in any case, as other threads wait for theirs.
    const auto endTurn = [](TurtleRelay* const relay) {
        const std::lock_guard guard(relay->m_mutex);
        ++relay->m_turn;
        relay->m_turnCame.notify_all();
    };
    const std::unique_ptr<TurtleRelay, decltype(endTurn)> turn(&m_relay, endTurn);
    if (isOver) {
        m_sink.withdraw();
        return;
    }
    try {
        readInTurn();
    } catch (...) {
        const std::lock_guard guard(m_relay.m_mutex);
        m_relay.m_isOver = true;
        throw;
    }
}

void TurtleRelay::Runner::readInTurn() {
    const bool isRight = m_hasGuessed && m_relay.m_lane->m_stream.isEmpty() &&
                         m_relay.m_lane->m_reader.isBetweenStatements() &&
                         m_relay.m_lane->m_reader.getState() == m_guess;
    if (isRight) {
        std::swap(m_lane, m_relay.m_lane);
    } else {
        if (m_hasGuessed)
            m_sink.withdraw();
        if (!m_relay.m_lane)
            m_relay.m_lane = std::make_unique<Lane>(m_relay.m_options, m_sink);
        prepare(*m_relay.m_lane);
        m_relay.m_lane->m_stream.feed(m_block.m_text);
    }
    const std::lock_guard guard(m_relay.m_mutex);
    m_relay.m_state = m_relay.m_lane->m_reader.getState();
    m_relay.m_isOver = m_relay.m_lane->m_reader.isStopped();
    m_relay.m_bytesRead += m_block.m_text.size();
    m_relay.m_bytesInVain += m_hasGuessed && !isRight ? m_block.m_text.size() : 0;
}

void TurtleRelay::Runner::finishText() {
    if (!m_relay.m_lane || m_relay.m_isOver)
        return;
    prepare(*m_relay.m_lane);
    m_relay.m_lane->m_stream.finish();
}

/// Lets the sink take the results of a lane's reader.
TurtleReader& TurtleRelay::Runner::prepare(Lane& lane) noexcept {
    lane.m_reader.setSink(m_sink);
    m_reader = &lane.m_reader;
    return lane.m_reader;
}

} // namespace Rdf
