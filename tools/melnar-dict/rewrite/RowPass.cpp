#include "tools/melnar-dict/rewrite/RowPass.h"

#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/rewrite/RowDecoder.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/rows/RowReader.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"
#include "tools/melnar-dict/shell/ToolFailure.h"
#include "tools/melnar-dict/threads/ReadBlocks.h"

#include <memory>
#include <optional>
#include <stop_token>
#include <utility>

namespace {

/// Throws ToolFailure unless the dictionary is the one in the file, or has grown from it.
void requireDictionary(const NpyHeader& header, const SavedDictionary& dictionary) {
    if (const auto refusal = DictionaryLine::findRefused(header.m_comment, dictionary.getHistory()))
        throw ToolFailure(ExitCode::BAD_DATA, refusal->m_cause);
}

} // namespace

void RowPass::decode(const std::string& fileName) {
    m_journal.startFile(fileName);
    m_output.startOver();
    const std::stop_source reading;
    std::optional<RowReader> reader;
    try {
        reader.emplace(openInputFile(fileName, m_settings.m_numberOfThreads, reading, m_settings.m_bytesRead));
        requireDictionary(reader->getHeader(), m_dictionary);
    } catch (...) {
        m_journal.finishWithCurrentException(0);
        return;
    }
    readBlocks<RowBlock>(*reader, m_journal, m_settings.m_numberOfThreads, reading, [&] {
        auto decoder = std::make_unique<RowDecoder>(m_dictionary, m_output, m_settings.m_takesGraphs);
        return [&reader, decoder = std::move(decoder)](const RowBlock& block, ParsedPiece& piece) {
            piece.catchFrom([&] { decoder->decode(*reader, block, piece); });
        };
    });
}
