#include "tools/melnar-dict/threads/FilePass.h"

#include "tools/melnar-dict/input/FileIri.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/pieces/LineParser.h"
#include "tools/melnar-dict/pieces/TurtleParser.h"
#include "tools/melnar-dict/threads/WorkerGroup.h"

#include <exception>
#include <stop_token>
#include <utility>

namespace {

/// What an action throws becomes the last error of the piece.
template<class Action>
void catchInto(ParsedPiece& piece, const Action& action) {
    try {
        action();
    } catch (...) {
        piece.m_errors.push_back(inputErrorOfCurrentException());
    }
}

/// Parses a block and ends it, whatever comes of that, even if there is no memory to tell of it: other threads may wait
/// for the end.
template<class Parse>
void consumeBlock(StatementConsumer& consumer, ParsedPiece& piece, const Parse& parse) {
    std::exception_ptr untold;
    try {
        catchInto(piece, parse);
    } catch (...) {
        untold = std::current_exception();
    }
    catchInto(piece, [&] { consumer.endBlock(piece); });
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
        reportCurrentException(0);
        return;
    }
    BlockReader reader(std::move(source), m_settings.m_blockSize, m_settings.m_maximumLine, format);
    const std::string base = m_settings.m_base.empty() ? iriOfFile(fileName) : m_settings.m_base;
    const Rdf::ReaderOptions options =
        makeReaderOptions(format, m_settings.m_isLenient, m_settings.m_maximumLine, base, m_settings.m_version);
    if (isLineFormat(format)) {
        readBlocks(reader, reading, [&]() -> Parse {
            // Both belong to the thread that makes them.
            const std::shared_ptr<StatementConsumer> consumer = makeConsumer();
            const auto parser = std::make_shared<LineParser>(options, *consumer, m_settings.m_keepsRejected);
            return [consumer, parser](const Block& block, ParsedPiece& piece) {
                consumeBlock(*consumer, piece, [&] {
                    consumer->startBlock(block.getText());
                    parser->parse(block.getText(), piece, block.m_lengthOfRest);
                });
            };
        });
        return;
    }
    Rdf::TurtleRelay relay(options);
    readBlocks(reader, reading, [&]() -> Parse {
        const std::shared_ptr<StatementConsumer> consumer = makeConsumer();
        const auto parser = std::make_shared<TurtleParser>(relay, *consumer, m_settings.m_keepsRejected);
        return [consumer, parser](const Block& block, ParsedPiece& piece) {
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

/// Has several threads parse the blocks of a file until there are no more or the journal stops.
void FilePass::readBlocks(BlockReader& reader, std::stop_source reading, const std::function<Parse()>& makeParse) {
    WorkerGroup workers([this, &reading] {
        m_journal.stop();
        reading.request_stop();
    });
    workers.start(m_settings.m_numberOfThreads, [&] { work(reader, reading, makeParse()); });
    workers.join();
}

void FilePass::work(BlockReader& reader, std::stop_source& reading, const Parse& parse) {
    Block block;
    ParsedPiece piece;
    while (!m_journal.isStopped()) {
        try {
            if (!reader.next(block))
                return;
        } catch (...) {
            if (!m_journal
                     .isStopped()) // Otherwise it may have been stopped, and comes behind what stopped the journal.
                reportCurrentException(reader.getNumberOfBlocks());
            return;
        }
        piece.clear(block.m_sequence);
        parse(block, piece);
        m_journal.finish(piece);
    }
    reading.request_stop();
}

/// Tells the journal that the exception that is being handled ends the file after so many pieces.
void FilePass::reportCurrentException(const uint64_t sequence) {
    ParsedPiece piece;
    piece.clear(sequence);
    piece.m_errors.push_back(inputErrorOfCurrentException());
    m_journal.finish(piece);
}
