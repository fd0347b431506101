#include "tools/melnar-dict-mpi/SliceReader.h"

#include "tools/melnar-dict-mpi/FileSlices.h"

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/FileIri.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/load/TermCollector.h"
#include "tools/melnar-dict/pieces/LineParser.h"
#include "tools/melnar-dict/pieces/LiteralCollector.h"
#include "tools/melnar-dict/pieces/LiteralRefusal.h"
#include "tools/melnar-dict/pieces/TurtleParser.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include <exception>
#include <memory>
#include <utility>
#include <vector>

namespace {

/// Collects the terms of pieces.
class PieceConsumer final : public StatementConsumer {
public:
    explicit PieceConsumer(const uint64_t document) : m_document(document) {}

    void setPiece(ReadPiece& piece) noexcept { m_piece = &piece; }

    const char* take(const Rdf::Statement& statement, const uint64_t line, ParsedPiece& piece) override {
        const Rdf::Term& innermost = innermostObject(statement);
        if (isRefusedTerm(innermost)) [[unlikely]] {
            m_cause = getCauseOfRefusal(innermost.m_text);
            return m_cause.c_str();
        }
        TermCollector::add(statement, innermost, m_document, line, m_piece->m_rows, piece);
        return nullptr;
    }

    void withdraw() override { m_piece->m_rows.clear(); }
    void endBlock(ParsedPiece&) override {}

private:
    /// Returns the reason that every dictionary gives.
    std::string getCauseOfRefusal(const std::string_view text) {
        constexpr size_t ENOUGH_MEMORY = size_t(1) << 20;
        BatchEntry literal{text, 0, D_RDF_PLAIN_LITERAL};
        std::vector<BatchFailure> failures;
        if (m_refusing == nullptr)
            m_refusing = std::make_unique<ShardedDictionary>(DictionaryOptions{.m_memoryLimit = ENOUGH_MEMORY});
        m_refusing->tryResolveResources({&literal, 1}, failures);
        return causeOfRefusal(failures.at(0));
    }

    const uint64_t m_document;
    ReadPiece* m_piece = nullptr;
    std::unique_ptr<const ShardedDictionary> m_refusing; // made when it is needed
    std::string m_cause;                                 // of the last refusal
};

} // namespace

/// Provides the pieces of a slice, and queues each when it is known whether it is the last one.
class SliceReader::Pieces : private Unmovable {
public:
    Pieces(PieceQueue& queue, const uint64_t slice, const bool goesAhead)
        : m_queue(queue), m_slice(slice), m_goesAhead(goesAhead) {}

    /// Returns the next piece, an empty one; null if no more are needed.
    ReadPiece* next() {
        if (m_piece != nullptr)
            m_queue.push(std::move(m_piece));
        m_piece = m_queue.takeEmpty(m_goesAhead);
        if (m_piece != nullptr)
            m_piece->clear(m_slice);
        return m_piece.get();
    }

    /// Ends the slice; returns whether more are needed.
    bool end() {
        if (m_piece == nullptr && next() == nullptr)
            return false;
        m_piece->m_place.m_isLast = true;
        m_queue.push(std::move(m_piece));
        return true;
    }

    /// Ends the slice with the current exception.
    bool endWithCurrentException() {
        const InputError error = inputErrorOfCurrentException();
        ReadPiece* const piece = next();
        if (piece == nullptr)
            return false;
        piece->m_parsed.m_errors.push_back(error);
        return end();
    }

private:
    PieceQueue& m_queue;
    const uint64_t m_slice;
    const bool m_goesAhead;
    std::unique_ptr<ReadPiece> m_piece; // that was provided last
};

SliceReader::SliceReader(const SlicePlan& plan, const uint32_t rank, Settings settings,
                         std::atomic<uint64_t>& bytesRead, PieceQueue& queue)
    : m_plan(plan), m_rank(rank), m_settings(std::move(settings)), m_bytesRead(bytesRead), m_queue(queue),
      m_thread([this] { run(); }) {}

SliceReader::~SliceReader() {
    m_queue.stop();
    m_thread.join();
}

void SliceReader::run() noexcept {
    std::exception_ptr failure;
    try {
        for (size_t index = 0; index < m_plan.getInputs().size() && readInput(index);)
            ++index;
        // After a failure, the number stays at the slice whose next piece is missing, so that a waiting thread learns
        // the reason.
        m_nextSlice.store(m_plan.getNumberOfSlices(), std::memory_order_relaxed);
    } catch (...) {
        failure = std::current_exception();
    }
    m_queue.end(std::move(failure));
}

/// Returns whether more are needed, like the others.
bool SliceReader::readInput(const size_t inputIndex) {
    if (m_plan.getInputs()[inputIndex].m_isCut)
        return readSlices(inputIndex);
    m_nextSlice.store(m_plan.getFirstSlice(inputIndex), std::memory_order_relaxed);
    return m_plan.getSlice(m_plan.getFirstSlice(inputIndex)).m_owner != m_rank || readWhole(inputIndex);
}

bool SliceReader::readSlices(const size_t inputIndex) {
    const SlicePlan::Input& input = m_plan.getInputs()[inputIndex];
    const Rdf::ReaderOptions options =
        makeReaderOptions(input.m_format, m_settings.m_isLenient, m_settings.m_maximumLine, "", m_settings.m_version);
    PieceConsumer consumer(m_settings.m_blankNodes.getDocument(inputIndex));
    LineParser parser(options, consumer, m_settings.m_keepsRejected);
    FileSlices slices(input, m_bytesRead);
    Block block;
    for (uint64_t slice = m_plan.getFirstSlice(inputIndex); slice < m_plan.getFirstSlice(inputIndex + 1); ++slice) {
        const SlicePlan::Slice place = m_plan.getSlice(slice);
        if (place.m_owner != m_rank)
            continue;
        m_nextSlice.store(slice, std::memory_order_relaxed);
        Pieces pieces(m_queue, slice, false);
        try {
            // A slice may end with a line that is longer than it.
            BlockReader reader(slices.open(place.m_index), 2 * SlicePlan::SLICE_SIZE, m_settings.m_maximumLine,
                               input.m_format,
                               place.m_index == 0 ? BlockReader::Begin::OF_FILE : BlockReader::Begin::WITHIN_FILE);
            while (reader.next(block)) {
                ReadPiece* const piece = pieces.next();
                if (piece == nullptr)
                    return false;
                consumer.setPiece(*piece);
                piece->m_parsed.catchFrom(
                    [&] { parser.parse(block.getText(), piece->m_parsed, block.m_lengthOfRest); });
            }
        } catch (const ToolFailure&) {
            if (!pieces.endWithCurrentException())
                return false;
            continue;
        }
        if (!pieces.end())
            return false;
    }
    return true;
}

bool SliceReader::readWhole(const size_t inputIndex) {
    const SlicePlan::Input& input = m_plan.getInputs()[inputIndex];
    const std::string base = m_settings.m_base.empty() ? iriOfFile(input.m_name) : m_settings.m_base;
    const Rdf::ReaderOptions options =
        makeReaderOptions(input.m_format, m_settings.m_isLenient, m_settings.m_maximumLine, base, m_settings.m_version);
    PieceConsumer consumer(m_settings.m_blankNodes.getDocument(inputIndex));
    Pieces pieces(m_queue, m_plan.getFirstSlice(inputIndex), true);
    const auto read = [&](const auto& parse) {
        ReadPiece* const piece = pieces.next();
        if (piece == nullptr)
            return false;
        consumer.setPiece(*piece);
        piece->m_parsed.catchFrom([&] { parse(piece->m_parsed); });
        return true;
    };
    try {
        BlockReader reader(openInputFile(input.m_name, 1, {}, &m_bytesRead), SlicePlan::SLICE_SIZE,
                           m_settings.m_maximumLine, input.m_format);
        Block block;
        if (isLineFormat(input.m_format)) {
            LineParser parser(options, consumer, m_settings.m_keepsRejected);
            while (reader.next(block))
                if (!read([&](ParsedPiece& piece) { parser.parse(block.getText(), piece, block.m_lengthOfRest); }))
                    return false;
        } else {
            Rdf::TurtleRelay relay(options);
            TurtleParser parser(relay, consumer, m_settings.m_keepsRejected);
            while (reader.next(block))
                if (!read([&](ParsedPiece& piece) { parser.parse(block, piece); }))
                    return false;
            if (!read([&](ParsedPiece& piece) { parser.parseEnd(piece); }))
                return false;
        }
    } catch (const ToolFailure&) {
        return pieces.endWithCurrentException();
    }
    return pieces.end();
}
