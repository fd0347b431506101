#include "tools/melnar-dict/shell/MessageOutput.h"

#include "tools/melnar-dict/shell/Interruption.h"

#include <string>

namespace {

constexpr const char* ERASE_LINE = "\r\x1b[K";

} // namespace

void MessageOutput::write(const std::string_view messages) {
    const std::lock_guard guard(m_mutex);
    erase();
    m_output << messages << std::flush;
}

void MessageOutput::showLine(const std::string_view line) {
    const std::lock_guard guard(m_mutex);
    if (!setLineOpen(true))
        return; // An interruption has ended the line.
    m_hasLine = true;
    m_output << std::string(ERASE_LINE).append(line) << std::flush; // in one write, so that it does not flicker
}

void MessageOutput::removeLine() {
    const std::lock_guard guard(m_mutex);
    erase();
}

void MessageOutput::erase() {
    if (!m_hasLine)
        return;
    m_output << ERASE_LINE << std::flush;
    m_hasLine = false;
    setLineOpen(false);
}
