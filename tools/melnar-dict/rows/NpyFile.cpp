#include "tools/melnar-dict/rows/NpyFile.h"

#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/rows/NpyHeader.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t BYTES_PER_STEP = size_t(1) << 18; // of those that are narrowed

} // namespace

NpyFile::NpyFile(OutputFile& file, const RowLayout& layout) : m_file(file), m_layout(layout), m_rows(file.getStream()) {
    const std::string room(NpyHeader::SIZE, '\0');
    m_file.getStream().write(room.data(), room.size());
}

/// Reading is always ahead of writing, so that nothing is overwritten that has not been read.
void NpyFile::narrow() {
    FileOutputStream& file = m_file.getTemporaryFile();
    std::string bytes;
    std::vector<uint64_t> ids;
    std::string narrowed;
    const uint64_t end = NpyHeader::SIZE + m_rows.getNumberOfBytes();
    uint64_t written = NpyHeader::SIZE;
    for (uint64_t begin = NpyHeader::SIZE; begin < end; begin += bytes.size()) {
        bytes.resize(std::min<uint64_t>(BYTES_PER_STEP, end - begin));
        file.readBack(begin, bytes.data(), bytes.size());
        takeIDs(bytes, m_layout.m_idWidth, ids);
        narrowed.clear();
        appendIDs(ids, RowLayout::NARROW, narrowed);
        file.overwrite(written, narrowed.data(), narrowed.size());
        written += narrowed.size();
    }
    file.truncate(written);
}

void NpyFile::prepare(const DictionaryHistory& history, const size_t finalWidth) {
    if (m_rows.getNumberOfBytes() % m_layout.getRowSize() != 0)
        throw std::logic_error("The last row of IDs is not whole.");
    NpyHeader header;
    header.m_layout = {m_layout.m_columns, std::min(finalWidth, m_layout.m_idWidth)};
    header.m_numberOfRows = m_rows.getNumberOfBytes() / m_layout.getRowSize();
    header.m_comment = DictionaryLine::make(history);
    header.m_comment.pop_back(); // the line end
    if (header.m_layout != m_layout)
        narrow();
    const std::string bytes = header.toBytes();
    m_file.getTemporaryFile().overwrite(0, bytes.data(), bytes.size());
    m_file.prepare();
}
