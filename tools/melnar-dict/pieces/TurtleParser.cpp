#include "tools/melnar-dict/pieces/TurtleParser.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"

#include <utility>

namespace {

// Large enough that handing a piece over costs nothing beside filling it, small enough to be still in the cache then.
constexpr size_t BYTES_OF_A_FULL_PIECE = 128 * 1024;
constexpr size_t LITERALS_OF_A_FULL_PIECE = 4096;

} // namespace

TurtleParser::TurtleParser(const Rdf::ReaderOptions& options, BlockReader& blocks, PieceExchange exchangePiece)
    : m_blocks(blocks), m_exchangePiece(std::move(exchangePiece)), m_reader(options, *this) {}

void TurtleParser::parse() {
    m_piece = m_exchangePiece(nullptr);
    try {
        readBlocks();
    } catch (...) {
        if (!m_piece)
            throw;
        m_piece->m_errors.push_back(inputErrorOfCurrentException());
    }
    if (m_piece)
        m_exchangePiece(std::move(m_piece));
}

void TurtleParser::readBlocks() {
    Rdf::StreamReader stream(m_reader);
    Block block;
    while (m_piece && !m_reader.isStopped()) {
        if (!m_blocks.next(block)) {
            stream.finish();
            return;
        }
        stream.feed(block.getText());
    }
}

void TurtleParser::takeStatement(const Rdf::Statement& statement) {
    if (!m_piece)
        return;
    collectStatement(statement, m_reader.locate(innermostObject(statement)).m_line, *m_piece);
    if (m_piece->m_literals.getNumberOfBytes() >= BYTES_OF_A_FULL_PIECE ||
        m_piece->m_literals.getEntries().size() >= LITERALS_OF_A_FULL_PIECE)
        m_piece = m_exchangePiece(std::move(m_piece));
}

void TurtleParser::takeError(const Rdf::SyntaxError& error) {
    if (m_piece)
        m_piece->m_errors.push_back(
            {error.m_place.m_line, ExitCode::BAD_DATA, error.m_message, error.m_place.m_column});
}
