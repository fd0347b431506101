#include "tools/melnar-dict/load/FileLoader.h"

#include "tools/melnar-dict/input/FileIri.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/load/LiteralResolver.h"
#include "tools/melnar-dict/pieces/LineParser.h"
#include "tools/melnar-dict/pieces/TurtleParser.h"
#include "tools/melnar-dict/threads/BlockWork.h"

#include "Engine/core/data-store/DictionaryThread.h"

#include <memory>
#include <utility>

FileLoader::FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings)
    : m_dictionary(dictionary), m_journal(journal), m_settings(std::move(settings)) {}

void FileLoader::load(const std::string& fileName, const RdfFormat format) {
    m_journal.startFile(fileName);
    std::unique_ptr<ByteSource> source;
    const std::stop_source reading;
    try {
        source = openInputFile(fileName, m_settings.m_numberOfThreads, reading, m_settings.m_bytesRead);
    } catch (...) {
        reportCurrentException(m_journal, 0);
        return;
    }
    BlockReader reader(std::move(source), m_settings.m_blockSize, m_settings.m_maximumLine, format);
    if (isLineFormat(format))
        loadLines(reader, reading, format);
    else
        loadTurtle(reader, reading, fileName, format);
}

/// Reads text into a piece and resolves what was found, also if an error ends it.
template<class Parse>
void FileLoader::parseAndResolve(DictionaryThread& thread, ParsedPiece& piece, const Parse& parse) {
    try {
        parse();
    } catch (...) {
        piece.m_errors.push_back(inputErrorOfCurrentException());
    }
    resolveLiterals(m_dictionary, thread, m_settings.m_isLenient, piece);
}

void FileLoader::loadLines(BlockReader& reader, const std::stop_source& reading, const RdfFormat format) {
    workOnBlocks(reader, reading, m_journal, m_settings.m_numberOfThreads, [this, format]() -> BlockWorker {
        // Both belong to the thread that makes them.
        const auto thread = std::make_shared<DictionaryThread>(m_dictionary);
        const auto parser = std::make_shared<LineParser>(
            makeReaderOptions(format, m_settings.m_isLenient, m_settings.m_maximumLine, "", m_settings.m_version),
            m_settings.m_keepsRejected);
        return [this, thread, parser](const Block& block, ParsedPiece& piece) {
            parseAndResolve(*thread, piece, [&] { parser->parse(block.getText(), piece, block.m_lengthOfRest); });
        };
    });
}

void FileLoader::loadTurtle(BlockReader& reader, const std::stop_source& reading, const std::string& fileName,
                            const RdfFormat format) {
    const std::string base = m_settings.m_base.empty() ? iriOfFile(fileName) : m_settings.m_base;
    Rdf::TurtleRelay relay(
        makeReaderOptions(format, m_settings.m_isLenient, m_settings.m_maximumLine, base, m_settings.m_version));
    workOnBlocks(reader, reading, m_journal, m_settings.m_numberOfThreads, [this, &relay]() -> BlockWorker {
        const auto thread = std::make_shared<DictionaryThread>(m_dictionary);
        const auto parser = std::make_shared<TurtleParser>(relay, m_settings.m_keepsRejected);
        return [this, thread, parser](const Block& block, ParsedPiece& piece) {
            parseAndResolve(*thread, piece, [&] { parser->parse(block, piece); });
        };
    });
    if (m_journal.isStopped())
        return;
    DictionaryThread thread(m_dictionary);
    TurtleParser parser(relay, m_settings.m_keepsRejected);
    ParsedPiece piece;
    piece.clear(reader.getNumberOfBlocks());
    parseAndResolve(thread, piece, [&] { parser.parseEnd(piece); });
    m_journal.finish(piece);
}
