#include "tools/melnar-dict/pieces/RejectedFile.h"

void RejectedFile::write(const std::string_view text) {
    if (text.empty())
        return;
    m_output.write(text.data(), text.size());
    m_isInLine = text.back() != '\n' && text.back() != '\r';
}

void RejectedFile::endLine() {
    if (m_isInLine)
        write("\n");
}

void RejectedFile::close() {
    endLine();
    m_output.synchronize();
    m_output.close();
}
