#include "tools/melnar-dict/load/LoadEstimator.h"
#include "tools/melnar-dict/load/ShardSpill.h"

#include "tools/melnar-dict/input/FileIri.h"
#include "tools/melnar-dict/input/FileSource.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/load/DistinctEstimator.h"
#include "tools/melnar-dict/load/ResolvingCollector.h"
#include "tools/melnar-dict/load/TermCollector.h"
#include "tools/melnar-dict/pieces/EngineTerm.h"
#include "tools/melnar-dict/rows/NpyHeader.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/dictionary/StringChunk.h"
#include "Engine/core/data-store/terms/TermChunk.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <vector>

#include <sys/stat.h>

using namespace melnar;

namespace {

constexpr size_t BYTES_TO_UNPACK = size_t(16) << 20; // much more than is read ahead of a compressed file

/// Measures the time of a scope.
class Stopwatch : private Unmovable {
public:
    explicit Stopwatch(double& seconds) : m_seconds(seconds), m_start(std::chrono::steady_clock::now()) {}
    ~Stopwatch() { m_seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count(); }

private:
    double& m_seconds;
    const std::chrono::steady_clock::time_point m_start;
};

/// Reads so many bytes at a position of a file, fewer only at the end.
std::string_view readAt(FileSource& file, const uint64_t offset, std::string& buffer, const size_t size) {
    file.seek(offset);
    file.readFully(buffer, size);
    return buffer;
}

/// Returns the text up to its first line end; all of it if it has none.
std::string_view firstLineOf(const std::string_view text) {
    const size_t lineEnd = text.find('\n');
    return lineEnd == std::string_view::npos ? text : text.substr(0, lineEnd + 1);
}

uint64_t toCount(const double number) {
    return static_cast<uint64_t>(std::llround(number));
}

/// The shards share the terms evenly, and each may have all shared texts.
DictionarySize predictSizeOfShards(const DictionaryContents& contents) {
    DictionaryContents ofShard;
    for (size_t datatypeID = 0; datatypeID < contents.m_terms.size(); ++datatypeID) {
        const DictionaryContents::Terms& terms = contents.m_terms[datatypeID];
        DictionaryContents::Terms& part = ofShard.m_terms[datatypeID];
        part.m_number = (terms.m_number + ShardLayout::NUMBER_OF_SHARDS - 1) / ShardLayout::NUMBER_OF_SHARDS;
        part.m_sharedTexts = std::min(part.m_number, terms.m_sharedTexts);
        if (terms.m_sharedTexts != 0)
            part.m_sharedTextBytes = terms.m_sharedTextBytes / terms.m_sharedTexts * part.m_sharedTexts;
    }
    ofShard.m_chunkBytes = contents.m_chunkBytes / ShardLayout::NUMBER_OF_SHARDS;
    const DictionarySize size = predictDictionarySize(ofShard);
    return {size.m_memoryBytes * ShardLayout::NUMBER_OF_SHARDS, size.m_fileBytes * ShardLayout::NUMBER_OF_SHARDS};
}

} // namespace

LoadEstimator::LoadEstimator(const Settings& settings)
    : m_settings(settings),
      m_dictionary({.m_memoryLimit = settings.m_memoryLimit,
                    .m_maximumNumberOfResources = Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS}) {
    if (!m_settings.m_loadsOnlyStrings)
        m_resolver.emplace(
            m_dictionary, DictionaryResolver::Settings{.m_isLenient = true, .m_order = DictionaryResolver::Order::ANY});
}

LoadEstimate LoadEstimator::estimate(const InputFiles& inputFiles) {
    std::vector<File> files;
    const auto withName = [](const std::string& fileName, const auto& action) {
        try {
            action();
        } catch (const ToolFailure& failure) {
            throw ToolFailure(failure.getExitCode(), toPrintable(fileName) + ": " + failure.what());
        }
    };
    double unpackedBytes = 0;
    for (const auto& [fileName, format] : inputFiles)
        withName(fileName, [&, name = fileName, fileFormat = format] {
            files.push_back(examine(name, fileFormat));
            unpackedBytes += files.back().m_unpackedBytes;
        });
    m_stride = std::max(1.0, unpackedBytes / static_cast<double>(m_settings.m_sampleBytes));
    for (size_t index = 0; index < files.size(); ++index)
        withName(files[index].m_name, [&] { sample(files[index], index); });
    return extrapolate({haveGraphs(inputFiles) ? size_t(4) : size_t(3), RowLayout::NARROW});
}

LoadEstimator::File LoadEstimator::examine(const std::string& fileName, const RdfFormat format) {
    File file{fileName, format};
    struct stat status;
    if (fileName == STANDARD_STREAM || (::stat(fileName.c_str(), &status) == 0 && !S_ISREG(status.st_mode)))
        return file;
    file.m_isPlain = isPlainFile(fileName);
    file.m_bytes = static_cast<uint64_t>(status.st_size);
    file.m_unpackedBytes = static_cast<double>(file.m_bytes);
    if (file.m_isPlain)
        return file;
    const uint64_t bytesReadBefore = getBytesRead();
    const std::unique_ptr<ByteSource> source = openInputFile(fileName, m_settings.m_numberOfThreads, {}, &m_bytesRead);
    std::string buffer;
    double seconds = 0;
    {
        const Stopwatch stopwatch(seconds);
        source->readFully(buffer, BYTES_TO_UNPACK);
    }
    const size_t unpackedBytes = buffer.size();
    file.m_secondsOfAByte = seconds / static_cast<double>(std::max<size_t>(1, unpackedBytes));
    file.m_unpackedBytes *= static_cast<double>(unpackedBytes) /
                            static_cast<double>(std::max<uint64_t>(1, getBytesRead() - bytesReadBefore));
    return file;
}

void LoadEstimator::sample(const File& file, const size_t fileIndex) {
    const std::unique_ptr<StatementConsumer> consumer = makeConsumer(fileIndex);
    SampleParser parser(file.m_format, iriOfFile(file.m_name), *consumer);
    if (file.m_isPlain)
        sampleUnits(file, parser, *consumer);
    else
        sampleStream(file, parser, *consumer);
}

/// Makes the objects that collect and resolve the terms of a file, as in a load.
std::unique_ptr<StatementConsumer> LoadEstimator::makeConsumer(const size_t fileIndex) {
    if (!m_resolver)
        return std::make_unique<ResolvingCollector>(m_dictionary, true);
    return std::make_unique<TermCollector>(*m_resolver, m_settings.m_blankNodes.getDocument(fileIndex));
}

/// Reads units of a plain file by seeking them.
void LoadEstimator::sampleUnits(const File& file, SampleParser& parser, StatementConsumer& consumer) {
    if (file.m_bytes == 0)
        return;
    FileSource input(file.m_name, {}, &m_bytesRead);
    std::string buffer;
    const auto bytes = static_cast<double>(file.m_bytes);
    const auto unitBytes = static_cast<double>(m_settings.m_unitBytes);
    const bool isWhole = m_stride == 1;
    if (isWhole)
        m_nextPosition = m_plainBytes; // The last unit may have ended early.
    for (bool isFirst = true; m_nextPosition < m_plainBytes + bytes;
         m_nextPosition += m_stride * unitBytes, isFirst = false) {
        const auto begin = static_cast<uint64_t>(std::max(0.0, m_nextPosition - m_plainBytes));
        const uint64_t end = std::min(file.m_bytes, begin + m_settings.m_unitBytes);
        const Stopwatch stopwatch(m_sampleSeconds);
        if (isFirst && begin != 0 && !isLineFormat(file.m_format)) { // for its prefixes
            parser.start(0);
            m_piece.clear(0);
            parser.feed(readAt(input, 0, buffer, m_settings.m_unitBytes), m_piece);
            parser.finish(m_piece);
            consumer.withdraw();
        }
        startUnit(end - begin);
        // A line belongs to the unit that it starts in; whether one starts at the position depends on the byte before.
        const uint64_t from = begin - (begin != 0 && !isWhole ? 1 : 0);
        if (isFirst || !isWhole)
            parser.start(from);
        const std::string_view text = readAt(input, from, buffer, end - from);
        bool isInLine = isLineFormat(file.m_format) && !text.ends_with('\n');
        feed(parser, consumer, text);
        if (isWhole)
            continue;
        for (uint64_t next = end; isInLine && next < file.m_bytes; next += m_settings.m_unitBytes) {
            const std::string_view line = firstLineOf(readAt(input, next, buffer, m_settings.m_unitBytes));
            feed(parser, consumer, line);
            isInLine = !line.empty() && line.back() != '\n';
        }
        finish(parser, consumer);
    }
    if (isWhole)
        finish(parser, consumer);
    m_plainBytes += bytes;
    m_inputBytes += bytes;
}

/// Reads all of a compressed file or a pipe, within limits, and samples units of the text.
void LoadEstimator::sampleStream(const File& file, SampleParser& parser, StatementConsumer& consumer) {
    const bool isPipe = file.m_bytes == 0;
    const uint64_t limit = isPipe ? m_settings.m_sampleBytes : m_settings.m_unpackedBytes;
    const auto stride = static_cast<uint64_t>(isPipe ? 1 : std::ceil(m_stride));
    const uint64_t bytesReadBefore = getBytesRead();
    const std::unique_ptr<ByteSource> source =
        openInputFile(file.m_name, m_settings.m_numberOfThreads, {}, &m_bytesRead);
    std::string text;
    uint64_t unpackedBytes = 0;
    bool isOpen = false; // whether a stretch is being read
    for (uint64_t unit = 0; unpackedBytes < limit; ++unit) {
        source->readFully(text, m_settings.m_unitBytes);
        if (text.empty())
            break;
        const uint64_t offset = unpackedBytes;
        unpackedBytes += text.size();
        const Stopwatch stopwatch(m_sampleSeconds);
        if (unit % stride == 0) {
            startUnit(text.size());
            if (!isOpen)
                parser.start(offset);
            isOpen = true;
            feed(parser, consumer, text);
        } else if (isOpen) {
            const std::string_view line = isLineFormat(file.m_format) ? firstLineOf(text) : std::string_view();
            feed(parser, consumer, line);
            isOpen = !line.empty() && line.back() != '\n';
            if (!isOpen)
                finish(parser, consumer);
        }
    }
    if (isOpen)
        finish(parser, consumer);
    double allBytes = static_cast<double>(unpackedBytes);
    if (unpackedBytes >= limit) {
        m_isWholeInput &= !isPipe;
        if (!isPipe)
            allBytes *= std::max(1.0, static_cast<double>(file.m_bytes) /
                                          static_cast<double>(getBytesRead() - bytesReadBefore));
    }
    m_inputBytes += allBytes;
    m_unpackSeconds += file.m_secondsOfAByte * allBytes;
}

void LoadEstimator::startUnit(const uint64_t sampledBytes) {
    m_units.startUnit();
    m_sampledBytes += static_cast<double>(sampledBytes);
}

void LoadEstimator::feed(SampleParser& parser, StatementConsumer& consumer, const std::string_view text) {
    m_piece.clear(0);
    parser.feed(text, m_piece);
    resolve(consumer);
}

void LoadEstimator::finish(SampleParser& parser, StatementConsumer& consumer) {
    m_piece.clear(0);
    parser.finish(m_piece);
    resolve(consumer);
}

void LoadEstimator::resolve(StatementConsumer& consumer) {
    consumer.endBlock(m_piece);
    m_counts += m_piece.m_counts;
    for (const InputError& error : m_piece.m_errors)
        if (error.m_exitCode != ExitCode::BAD_DATA) // those of refused terms
            throw ToolFailure(error.m_exitCode, error.m_cause);
    for (const BatchEntry& entry : m_piece.m_terms.getEntries())
        if (entry.m_resourceID != 0) {
            m_units.take(entry.m_resourceID);
            m_spillBytes += ShardSpill::getNumberOfBytesFor(entry);
        }
}

/// Returns the share of the input that was sampled.
double LoadEstimator::getShare() const {
    return m_inputBytes == 0 ? 1 : std::min(1.0, m_sampledBytes / m_inputBytes);
}

/// Estimates the number of terms, and their bytes, also for the estimate. All shared texts are assumed to be in the
/// samples.
DictionaryContents LoadEstimator::extrapolateTerms(LoadEstimate& estimate) const {
    constexpr uint64_t ENTRIES_OF_A_BATCH = 1024;
    DictionaryContents contents;
    std::map<uint8_t, DistinctEstimator> estimators;
    std::vector<BatchEntry> entries;
    for (uint64_t begin = 1; begin < m_dictionary.getNextResourceID(); begin += entries.size()) {
        entries.resize(std::min(ENTRIES_OF_A_BATCH, m_dictionary.getNextResourceID() - begin));
        for (size_t index = 0; index < entries.size(); ++index)
            entries[index] = {{}, begin + index};
        m_dictionary.getResources(entries);
        for (const BatchEntry& entry : entries) {
            const size_t ownBytes = entry.m_lexicalForm.size();
            const size_t sharedBytes = m_dictionary.getAffix(entry).size();
            const size_t chunkBytes = isOfStrings(entry.m_datatypeID)
                                          ? StringChunk::getChunkSizeFor(ownBytes)
                                          : TermChunk::getChunkSizeFor(entry.m_affixNumber, ownBytes);
            const auto estimator = estimators.try_emplace(entry.m_datatypeID, m_units.getNumberOfUnits()).first;
            estimator->second.take(m_units.getNumberOfUnits(entry.m_resourceID), ownBytes + sharedBytes, chunkBytes);
            DictionaryContents::Terms& terms = contents.m_terms[entry.m_datatypeID];
            if (entry.m_affixNumber > terms.m_sharedTexts) { // They have their numbers in the order of the IDs.
                terms.m_sharedTexts = entry.m_affixNumber;
                terms.m_sharedTextBytes += sharedBytes;
            }
        }
    }
    for (const auto& [datatypeID, estimator] : estimators) {
        const DistinctEstimator::Estimate terms = estimator.extrapolate(getShare());
        estimate.m_distinct[datatypeID] = contents.m_terms[datatypeID].m_number = toCount(terms.m_number);
        (isOfStrings(datatypeID) ? estimate.m_textBytes : estimate.m_otherTextBytes) += toCount(terms.m_textBytes);
        contents.m_chunkBytes += toCount(terms.m_chunkBytes);
    }
    return contents;
}

LoadEstimate LoadEstimator::extrapolate(const RowLayout& rowLayout) const {
    const double share = getShare();
    const auto scale = [share](const uint64_t count) { return toCount(static_cast<double>(count) / share); };
    LoadEstimate estimate;
    estimate.m_inputBytes = toCount(m_inputBytes);
    estimate.m_sampledBytes = toCount(m_sampledBytes);
    estimate.m_isWholeInput = m_isWholeInput;
    estimate.m_counts = {scale(m_counts.m_statements),         scale(m_counts.m_strings),
                         scale(m_counts.m_plainLiterals),      scale(m_counts.m_iris),
                         scale(m_counts.m_blankNodes),         scale(m_counts.m_otherLiterals),
                         scale(m_counts.m_directionalStrings), scale(m_counts.m_tripleTerms)};
    const DictionaryContents contents = extrapolateTerms(estimate);
    estimate.m_size = m_settings.m_makesShards ? predictSizeOfShards(contents) : predictDictionarySize(contents);
    if (m_resolver)
        estimate.m_rowBytes = NpyHeader::SIZE + estimate.m_counts.m_statements * rowLayout.getRowSize();
    // A block of a load is at least as large as a unit, and has no more terms per byte.
    if (m_settings.m_makesShards) {
        estimate.m_spillBytes = scale(m_spillBytes);
        estimate.m_temporaryBytes = *estimate.m_spillBytes + estimate.m_size.m_fileBytes +
                                    estimate.m_counts.m_statements * rowLayout.m_columns * RowLayout::WIDE;
    }
    // Decompression has its own thread; all others share the rest.
    estimate.m_seconds =
        std::max(m_unpackSeconds, m_sampleSeconds / share / static_cast<double>(m_settings.m_numberOfThreads));
    return estimate;
}
