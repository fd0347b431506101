#include "tools/melnar-dict/pieces/TurtleParser.h"

#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"

#include <utility>

namespace {

// Large enough that handing a piece over costs nothing beside filling it, small enough to be still in the cache then.
constexpr size_t BYTES_OF_A_FULL_PIECE = 128 * 1024;
constexpr size_t LITERALS_OF_A_FULL_PIECE = 4096;

} // namespace

TurtleParser::TurtleParser(const Rdf::ReaderOptions& options, BlockReader& blocks, PieceExchange exchangePiece,
                           const bool keepsRejected)
    : m_blocks(blocks), m_exchangePiece(std::move(exchangePiece)), m_reader(options, *this),
      m_keepsRejected(keepsRejected) {}

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
    const Rdf::Term& object = innermostObject(statement);
    const Rdf::Place place = m_reader.locate(object);
    collectStatement(statement, place.m_line, *m_piece);
    if (m_keepsRejected && isRefusedTerm(object))
        rejectStatement(place, object.m_begin);
    exchangeFullPiece();
}

/// Rejects the statement that is being taken, in which a literal stands, unless another of its literals has done so.
void TurtleParser::rejectStatement(const Rdf::Place& place, const char* const begin) {
    const std::string_view statement = m_reader.getStatementText();
    const uint64_t offset = place.m_offset - static_cast<uint64_t>(begin - statement.data());
    if (offset == m_lastRejectedStatement)
        return;
    m_lastRejectedStatement = offset;
    m_piece->m_rejected.append(statement).append("\n");
}

void TurtleParser::takeError(const Rdf::SyntaxError& error) {
    if (m_piece)
        m_piece->m_errors.push_back(
            {error.m_place.m_line, ExitCode::BAD_DATA, error.m_message, error.m_place.m_column});
    if (m_piece && std::exchange(m_lastRejectedByte, '\n') != '\n')
        m_piece->m_rejected += '\n';
}

void TurtleParser::takeSkipped(const std::string_view bytes) {
    if (!m_piece || !m_keepsRejected)
        return;
    m_piece->m_rejected += bytes;
    m_lastRejectedByte = bytes.back();
    exchangeFullPiece();
}

void TurtleParser::exchangeFullPiece() {
    if (m_piece->m_literals.getNumberOfBytes() >= BYTES_OF_A_FULL_PIECE ||
        m_piece->m_literals.getEntries().size() >= LITERALS_OF_A_FULL_PIECE ||
        m_piece->m_rejected.size() >= BYTES_OF_A_FULL_PIECE)
        m_piece = m_exchangePiece(std::move(m_piece));
}
