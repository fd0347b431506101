#include "tools/melnar-dict/RecentText.h"

#include <algorithm>
#include <utility>

namespace {

uint64_t countLineFeeds(const std::string_view text) noexcept {
    return static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n'));
}

bool endsWithFullStop(std::string_view line) noexcept {
    const size_t last = line.find_last_not_of(" \t\r\n");
    return last != std::string_view::npos && line[last] == '.';
}

} // namespace

bool RecentText::next() {
    if (std::exchange(m_isAhead, false) && !getText().empty())
        return true;
    return advance();
}

std::string_view RecentText::getText() const noexcept {
    return m_current == m_blocks.size() ? std::string_view() : m_blocks[m_current].m_block.getText().substr(m_offset);
}

void RecentText::keepUntil(const uint64_t position, const uint64_t done) {
    m_blocks[m_current].m_keptUntil = position;
    for (; m_current != 0 && m_blocks.front().m_keptUntil <= done; --m_current) {
        m_spareBlock = std::move(m_blocks.front().m_block);
        m_blocks.pop_front();
    }
}

/// Moves to the start of the next block, which is read unless it is there.
bool RecentText::advance() {
    m_firstLine += countLineFeeds(getText());
    if (m_current != m_blocks.size())
        ++m_current;
    m_offset = 0;
    if (m_current != m_blocks.size())
        return true;
    KeptBlock block{std::exchange(m_spareBlock, {})};
    if (!m_reader.next(block.m_block))
        return false;
    block.m_firstLine = m_firstLine;
    m_blocks.push_back(std::move(block));
    return true;
}

void RecentText::skipStatement(const uint64_t line) {
    goTo(line);
    bool endsStatement = false;
    while (!endsStatement && skipLine(endsStatement)) {
    }
    m_isAhead = true;
}

/// Moves to the start of a line, or as near as the kept blocks allow.
void RecentText::goTo(const uint64_t line) {
    m_current = 0;
    while (m_blocks.size() - m_current > 1 && m_blocks[m_current + 1].m_firstLine <= line)
        ++m_current;
    m_offset = 0;
    m_firstLine = m_blocks[m_current].m_firstLine;
    bool ignored = false;
    while (m_firstLine < line && skipLine(ignored)) {
    }
}

/// Moves behind the line that the current text starts with; false at the end of the file.
bool RecentText::skipLine(bool& endsStatement) {
    if (getText().empty() && !advance())
        return false;
    const std::string_view text = getText();
    const size_t lineFeed = text.find('\n');
    const std::string_view line = text.substr(0, lineFeed == std::string_view::npos ? text.size() : lineFeed + 1);
    endsStatement = endsWithFullStop(line);
    m_offset += line.size();
    m_firstLine += countLineFeeds(line);
    return true;
}
