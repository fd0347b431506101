#include "tools/melnar-dict/rows/RowReader.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <utility>

namespace {

constexpr size_t LONGEST_HEADER = 65535; // as in version 1.0; NumPy itself reads at most 10000

std::string readExactly(ByteSource& source, const size_t numberOfBytes) {
    std::string bytes;
    source.readFully(bytes, numberOfBytes);
    if (bytes.size() != numberOfBytes)
        throw ToolFailure(ExitCode::BAD_DATA, "it ends within its header");
    return bytes;
}

} // namespace

NpyHeader RowReader::readHeader(ByteSource& source) {
    std::string preamble;
    source.readFully(preamble, NpyHeader::PREAMBLE_SIZE);
    if (preamble.size() != NpyHeader::PREAMBLE_SIZE || !preamble.starts_with(NpyHeader::MAGIC))
        throw ToolFailure(ExitCode::BAD_DATA, "it is not a .npy file; decode --as iri reads encoded statements");
    const auto majorVersion = static_cast<uint8_t>(preamble[NpyHeader::MAGIC.size()]);
    if (majorVersion < 1 || majorVersion > 3)
        throw ToolFailure(ExitCode::BAD_DATA, "it is of version " + std::to_string(majorVersion) +
                                                  " of the .npy format; expected 1, 2 or 3");
    size_t length = 0;
    const std::string lengthBytes = readExactly(source, majorVersion == 1 ? 2 : 4);
    for (size_t index = lengthBytes.size(); index-- > 0;)
        length = length << 8 | static_cast<uint8_t>(lengthBytes[index]);
    if (length > LONGEST_HEADER)
        throw ToolFailure(ExitCode::BAD_DATA, "its header has " + std::to_string(length) + " bytes; expected at most " +
                                                  std::to_string(LONGEST_HEADER));
    return NpyHeader::parse(readExactly(source, length));
}

RowReader::RowReader(std::unique_ptr<ByteSource> source, const size_t blockSize)
    : m_source(std::move(source)), m_header(readHeader(*m_source)),
      m_rowsPerBlock(std::max<size_t>(1, blockSize / m_header.m_layout.getRowSize())) {}

bool RowReader::next(RowBlock& block) {
    const std::lock_guard guard(m_mutex);
    if (m_isAtEnd)
        return false;
    m_isAtEnd = true; // until it is known that more follows
    const uint64_t rows = std::min(m_rowsPerBlock, m_header.m_numberOfRows - m_nextRow);
    const auto describeRows = [this] {
        return std::to_string(m_header.m_numberOfRows) + " rows that its header states";
    };
    if (rows == 0) {
        m_source->readFully(block.m_bytes, 1);
        if (!block.m_bytes.empty())
            throw ToolFailure(ExitCode::BAD_DATA, "more bytes follow the " + describeRows());
        return false;
    }
    m_source->readFully(block.m_bytes, rows * m_header.m_layout.getRowSize());
    const uint64_t rowsThere = block.m_bytes.size() / m_header.m_layout.getRowSize();
    if (rowsThere != rows)
        throw ToolFailure(ExitCode::BAD_DATA,
                          "it ends after " + std::to_string(m_nextRow + rowsThere) + " of the " + describeRows());
    block.m_sequence = m_numberOfBlocks++;
    block.m_firstRow = m_nextRow;
    m_nextRow += rows;
    m_isAtEnd = false;
    return true;
}

uint64_t RowReader::getNumberOfBlocks() const {
    const std::lock_guard guard(m_mutex);
    return m_numberOfBlocks;
}

void RowReader::takeIDs(const RowBlock& block, std::vector<uint64_t>& ids) const {
    ::takeIDs(block.m_bytes, m_header.m_layout.m_idWidth, ids);
    if (!m_header.m_isSigned)
        return;
    const uint64_t sign = uint64_t(1) << (m_header.m_layout.m_idWidth * 8 - 1);
    const auto negative = std::find_if(ids.begin(), ids.end(), [sign](const uint64_t id) { return (id & sign) != 0; });
    if (negative != ids.end())
        throw ToolFailure(ExitCode::BAD_DATA,
                          "row " +
                              std::to_string(block.m_firstRow + static_cast<uint64_t>(negative - ids.begin()) /
                                                                    m_header.m_layout.m_columns) +
                              ": the number is negative");
}
