#include "tools/melnar-dict/threads/OrderedOutput.h"

void OrderedOutput::write(const uint64_t number, const std::string_view text) {
    m_turns.take(number, [this, text] {
        if (m_hasFailed)
            return;
        m_hasFailed = true; // until it has gone well
        m_output.write(text.data(), text.size());
        m_hasFailed = false;
    });
}
