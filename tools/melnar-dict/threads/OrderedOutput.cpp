#include "tools/melnar-dict/threads/OrderedOutput.h"

void OrderedOutput::write(const uint64_t number, const std::string_view text) {
    writeInTurn(number, [text](OutputStream& output) { output.write(text.data(), text.size()); });
}

void OrderedOutput::writeInTurn(const uint64_t number, const std::function<void(OutputStream& output)>& writePiece) {
    m_turns.take(number, [this, &writePiece] {
        if (m_hasFailed)
            return;
        m_hasFailed = true; // until it has succeeded
        writePiece(m_output);
        m_hasFailed = false;
    });
}
