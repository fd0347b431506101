#include "tools/melnar-dict/threads/FilePass.h"

#include "tools/melnar-dict/input/FileIri.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/pieces/LineParser.h"
#include "tools/melnar-dict/pieces/TurtleParser.h"
#include "tools/melnar-dict/threads/ReadBlocks.h"

#include <exception>
#include <stop_token>
#include <utility>

namespace {

/// Parses a block and ends it in any case, even if there is no memory to record an error: other threads may wait for
/// the end.
template<class Parse>
void consumeBlock(StatementConsumer& consumer, ParsedPiece& piece, const Parse& parse) {
    std::exception_ptr untold;
    try {
        piece.catchFrom(parse);
    } catch (...) {
        untold = std::current_exception();
        piece.m_hasUntoldError = true;
    }
    piece.catchFrom([&] { consumer.endBlock(piece); });
    if (untold)
        std::rethrow_exception(untold);
}

} // namespace

FilePass::FilePass(InputJournal& journal, Settings settings) : m_journal(journal), m_settings(std::move(settings)) {}

void FilePass::read(const std::string& fileName, const RdfFormat format, const ConsumerMaker& makeConsumer) {
    m_journal.startFile(fileName);
    std::unique_ptr<ByteSource> source;
    const std::stop_source reading;
    try {
        source = openInputFile(fileName, m_settings.m_numberOfThreads, reading, m_settings.m_bytesRead);
    } catch (...) {
        m_journal.finishWithCurrentException(0);
        return;
    }
    BlockReader reader(std::move(source), m_settings.m_blockSize, m_settings.m_maximumLine, format);
    const std::string base = m_settings.m_base.empty() ? iriOfFile(fileName) : m_settings.m_base;
    const Rdf::ReaderOptions options =
        makeReaderOptions(format, m_settings.m_isLenient, m_settings.m_maximumLine, base, m_settings.m_version);
    if (isLineFormat(format)) {
        readBlocks<Block>(reader, m_journal, m_settings.m_numberOfThreads, reading, [&] {
            std::unique_ptr<StatementConsumer> consumer = makeConsumer();
            auto parser = std::make_unique<LineParser>(options, *consumer, m_settings.m_keepsRejected);
            return
                [consumer = std::move(consumer), parser = std::move(parser)](const Block& block, ParsedPiece& piece) {
                    consumeBlock(*consumer, piece, [&] {
                        consumer->startBlock(block.getText());
                        parser->parse(block.getText(), piece, block.m_lengthOfRest);
                    });
                };
        });
        return;
    }
    Rdf::TurtleRelay relay(options);
    readBlocks<Block>(reader, m_journal, m_settings.m_numberOfThreads, reading, [&] {
        std::unique_ptr<StatementConsumer> consumer = makeConsumer();
        auto parser = std::make_unique<TurtleParser>(relay, *consumer, m_settings.m_keepsRejected);
        return [consumer = std::move(consumer), parser = std::move(parser)](const Block& block, ParsedPiece& piece) {
            consumeBlock(*consumer, piece, [&] {
                consumer->startBlock(block.getText());
                parser->parse(block, piece);
            });
        };
    });
    if (m_journal.isStopped())
        return;
    const std::unique_ptr<StatementConsumer> consumer = makeConsumer();
    TurtleParser parser(relay, *consumer, m_settings.m_keepsRejected);
    ParsedPiece piece;
    piece.clear(reader.getNumberOfBlocks());
    consumeBlock(*consumer, piece, [&] { parser.parseEnd(piece); });
    m_journal.finish(piece);
}
