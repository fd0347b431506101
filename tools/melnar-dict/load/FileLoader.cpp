#include "tools/melnar-dict/load/FileLoader.h"

#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/load/LiteralResolver.h"
#include "tools/melnar-dict/pieces/LineParser.h"
#include "tools/melnar-dict/pieces/TurtleParser.h"
#include "tools/melnar-dict/threads/BlockWork.h"
#include "tools/melnar-dict/threads/PieceQueue.h"
#include "tools/melnar-dict/threads/WorkerGroup.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Reader/ByteScan.h"

#include <filesystem>
#include <memory>
#include <string_view>
#include <utility>

namespace {

/// Returns the IRI that the relative ones of a file are relative to, unless it says otherwise.
std::string iriOfFile(const std::string& fileName) {
    const std::string path = fileName == "-" ? "/dev/stdin" : std::filesystem::absolute(fileName).string();
    std::string iri("file://");
    for (const char character : path) {
        constexpr std::string_view DIGITS = "0123456789ABCDEF";
        const auto byte = static_cast<uint8_t>(character);
        if (Rdf::ByteScan::IriStop::matches(byte) || byte >= 0x80 ||
            std::string_view("%?#").find(character) != std::string_view::npos)
            iri.append("%").append(1, DIGITS[byte >> 4]).append(1, DIGITS[byte & 15]);
        else
            iri += character;
    }
    return iri;
}

} // namespace

FileLoader::FileLoader(Dictionary& dictionary, InputJournal& journal, Settings settings)
    : m_dictionary(dictionary), m_journal(journal), m_settings(std::move(settings)) {}

void FileLoader::load(const std::string& fileName, const RdfFormat format) {
    m_journal.startFile(fileName);
    std::unique_ptr<ByteSource> source;
    const std::stop_source reading;
    try {
        source = openInputFile(fileName, m_settings.m_numberOfThreads, reading);
    } catch (...) {
        reportCurrentException(m_journal, 0);
        return;
    }
    if (isLineFormat(format)) {
        BlockReader reader(std::move(source), m_settings.m_blockSize, m_settings.m_maximumLine);
        loadLines(reader, reading, format);
    } else {
        BlockReader reader(std::move(source), m_settings.m_blockSize, BlockReader::WITHOUT_LINES);
        loadTurtle(reader, fileName, format);
    }
}

void FileLoader::loadLines(BlockReader& reader, const std::stop_source& reading, const RdfFormat format) {
    workOnBlocks(reader, reading, m_journal, m_settings.m_numberOfThreads, [this, format]() -> BlockWorker {
        // Both belong to the thread that makes them.
        const auto thread = std::make_shared<DictionaryThread>(m_dictionary);
        const auto parser = std::make_shared<LineParser>(format, m_settings.m_isLenient, m_settings.m_maximumLine,
                                                         m_settings.m_keepsRejected);
        return [this, thread, parser](const Block& block, ParsedPiece& piece) {
            try {
                parser->parse(block.getText(), piece, block.m_lengthOfRest);
            } catch (...) {
                piece.m_errors.push_back(inputErrorOfCurrentException()); // behind those of what was parsed
            }
            resolveLiterals(m_dictionary, *thread, m_settings.m_isLenient, piece);
        };
    });
}

void FileLoader::loadTurtle(BlockReader& reader, const std::string& fileName, const RdfFormat format) {
    PieceQueue queue(2 * m_settings.m_numberOfThreads + 2);
    WorkerGroup resolvers([&queue] { queue.close(); });
    resolvers.start(m_settings.m_numberOfThreads, [this, &queue] {
        DictionaryThread thread(m_dictionary);
        while (std::unique_ptr<ParsedPiece> piece = queue.takeFull()) {
            resolveLiterals(m_dictionary, thread, m_settings.m_isLenient, *piece);
            m_journal.finish(*piece);
            queue.putEmpty(std::move(piece));
        }
    });
    uint64_t nextSequence = 0;
    const std::string base = m_settings.m_base.empty() ? iriOfFile(fileName) : m_settings.m_base;
    TurtleParser parser(
        makeReaderOptions(format, m_settings.m_isLenient, m_settings.m_maximumLine, base), reader,
        [this, &queue, &nextSequence](std::unique_ptr<ParsedPiece> full) {
            if (full)
                queue.putFull(std::move(full));
            std::unique_ptr<ParsedPiece> empty = m_journal.isStopped() ? nullptr : queue.takeEmpty();
            if (empty)
                empty->clear(nextSequence++);
            return empty;
        },
        m_settings.m_keepsRejected);
    parser.parse();
    queue.close();
    resolvers.join();
}
