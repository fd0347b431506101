#include "tools/melnar-dict/rewrite/StatementPass.h"

#include "tools/melnar-dict/input/FileIri.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/pieces/LineParser.h"
#include "tools/melnar-dict/threads/BlockWork.h"

#include "Reader/StreamReader.h"
#include "Reader/TurtleReader.h"

#include <stop_token>
#include <utility>

namespace {

class ConsumedLines final : public LineParser {
public:
    ConsumedLines(const Rdf::ReaderOptions& options, std::unique_ptr<StatementConsumer> consumer)
        : LineParser(options), m_consumer(std::move(consumer)) {}

    void work(const Block& block, ParsedPiece& piece) {
        try {
            parse(block.getText(), piece, block.m_lengthOfRest);
        } catch (...) {
            m_consumer->endBlock(block.m_sequence);
            throw;
        }
        m_consumer->endBlock(block.m_sequence);
    }

private:
    const char* takeLineStatement(const Rdf::Statement& statement, uint64_t, ParsedPiece& piece) override {
        ++piece.m_counts.m_statements;
        return m_consumer->take(statement);
    }

    const std::unique_ptr<StatementConsumer> m_consumer;
};

/// Reads a text in Turtle or TriG whose lines are counted from its start, block by block.
class ConsumedText final : private Rdf::StatementSink {
public:
    ConsumedText(const Rdf::ReaderOptions& options, std::unique_ptr<StatementConsumer> consumer)
        : m_isLenient(options.m_isLenient), m_consumer(std::move(consumer)), m_reader(options, *this),
          m_stream(m_reader) {}

    /// Returns false at the end.
    bool work(BlockReader& blocks, const uint64_t sequence, ParsedPiece& piece) {
        m_piece = &piece;
        bool hasMore = false;
        try {
            try {
                hasMore = blocks.next(m_block);
                if (hasMore)
                    m_stream.feed(m_block.getText());
                else
                    m_stream.finish();
            } catch (...) {
                m_consumer->endBlock(sequence);
                throw;
            }
            m_consumer->endBlock(sequence);
        } catch (...) {
            piece.m_errors.push_back(inputErrorOfCurrentException());
        }
        return hasMore;
    }

private:
    void takeStatement(const Rdf::Statement& statement) override {
        if (!m_isLenient && !m_piece->m_errors.empty())
            return;
        ++m_piece->m_counts.m_statements;
        if (const char* const cause = m_consumer->take(statement)) {
            const Rdf::Place place = m_reader.locate(statement.m_subject);
            m_piece->m_errors.push_back({place.m_line, ExitCode::BAD_DATA, cause});
        }
    }

    void takeError(const Rdf::SyntaxError& error) override {
        if (m_isLenient || m_piece->m_errors.empty())
            m_piece->m_errors.push_back(
                {error.m_place.m_line, ExitCode::BAD_DATA, error.m_message, error.m_place.m_column});
    }

    const bool m_isLenient;
    const std::unique_ptr<StatementConsumer> m_consumer;
    Rdf::TurtleReader m_reader;
    Rdf::StreamReader m_stream;
    Block m_block;
    ParsedPiece* m_piece = nullptr;
};

} // namespace

StatementPass::StatementPass(InputJournal& journal, Settings settings)
    : m_journal(journal), m_settings(std::move(settings)) {}

void StatementPass::read(const std::string& fileName, const RdfFormat format, const ConsumerMaker& makeConsumer) {
    m_journal.startFile(fileName);
    std::unique_ptr<ByteSource> source;
    const std::stop_source reading;
    try {
        source = openInputFile(fileName, m_settings.m_numberOfThreads, reading);
    } catch (...) {
        reportCurrentException(m_journal, 0);
        return;
    }
    const std::string base = m_settings.m_base.empty() ? iriOfFile(fileName) : m_settings.m_base;
    const Rdf::ReaderOptions options =
        makeReaderOptions(format, m_settings.m_isLenient, m_settings.m_maximumLine, base, m_settings.m_version);
    if (isLineFormat(format)) {
        BlockReader blocks(std::move(source), m_settings.m_blockSize, m_settings.m_maximumLine);
        workOnBlocks(blocks, reading, m_journal, m_settings.m_numberOfThreads, [&]() -> BlockWorker {
            const auto lines = std::make_shared<ConsumedLines>(options, makeConsumer());
            return [lines](const Block& block, ParsedPiece& piece) { lines->work(block, piece); };
        });
        return;
    }
    BlockReader blocks(std::move(source), m_settings.m_blockSize, m_settings.m_maximumLine, format);
    ConsumedText text(options, makeConsumer());
    ParsedPiece piece;
    bool hasMore = true;
    for (uint64_t sequence = 0; hasMore && !m_journal.isStopped(); ++sequence) {
        piece.clear(sequence);
        hasMore = text.work(blocks, sequence, piece);
        m_journal.finish(piece);
    }
}
