#include "tools/melnar-dict/rewrite/RowPass.h"

#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/rewrite/RowDecoder.h"
#include "tools/melnar-dict/rows/DictionaryLine.h"
#include "tools/melnar-dict/rows/RowReader.h"
#include "tools/melnar-dict/shell/ToolFailure.h"
#include "tools/melnar-dict/threads/WorkerGroup.h"

#include "Engine/core/data-store/Dictionary.h"

#include <optional>
#include <stop_token>

namespace {

/// What the exception that is being handled means: that of a file may be bad data.
InputError rowErrorOfCurrentException() {
    try {
        throw;
    } catch (const ToolFailure& failure) {
        return {0, failure.getExitCode(), failure.what()};
    } catch (...) {
        return inputErrorOfCurrentException();
    }
}

/// Throws ToolFailure unless the dictionary is the one that the file names, or has grown from it.
void requireDictionary(const NpyHeader& header, const Dictionary& dictionary) {
    if (const auto refusal = DictionaryLine::findRefused(header.m_comment, dictionary.getHistory()))
        throw ToolFailure(ExitCode::BAD_DATA, refusal->m_cause);
}

} // namespace

void RowPass::decode(const std::string& fileName) {
    m_journal.startFile(fileName);
    m_output.startOver();
    std::stop_source reading;
    std::optional<RowReader> reader;
    try {
        reader.emplace(openInputFile(fileName, m_settings.m_numberOfThreads, reading, m_settings.m_bytesRead));
        requireDictionary(reader->getHeader(), m_dictionary);
    } catch (...) {
        reportCurrentException(0);
        return;
    }
    WorkerGroup workers([this, &reading] {
        m_journal.stop();
        reading.request_stop();
    });
    workers.start(m_settings.m_numberOfThreads, [&] {
        work(*reader);
        if (m_journal.isStopped())
            reading.request_stop();
    });
    workers.join();
}

void RowPass::work(RowReader& reader) {
    RowDecoder decoder(m_dictionary, m_output, m_settings.m_takesGraphs);
    RowBlock block;
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
        try {
            decoder.decode(reader, block, piece);
        } catch (...) {
            piece.m_errors.push_back(rowErrorOfCurrentException());
        }
        m_journal.finish(piece);
    }
}

/// Tells the journal that the exception that is being handled ends the file after so many blocks.
void RowPass::reportCurrentException(const uint64_t sequence) {
    ParsedPiece piece;
    piece.clear(sequence);
    piece.m_errors.push_back(rowErrorOfCurrentException());
    m_journal.finish(piece);
}
