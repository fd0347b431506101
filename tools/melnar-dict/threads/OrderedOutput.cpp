#include "tools/melnar-dict/threads/OrderedOutput.h"

void OrderedOutput::write(const uint64_t number, const std::string_view text) {
    std::unique_lock lock(m_mutex);
    m_turn.wait(lock, [this, number] { return m_nextNumber == number; });
    ++m_nextNumber;
    m_turn.notify_all();
    if (m_hasFailed)
        return;
    m_hasFailed = true; // until it has gone well
    m_output.write(text.data(), text.size());
    m_hasFailed = false;
}
