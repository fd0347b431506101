#include "tools/melnar-dict/load/LoadEstimator.h"

#include "tools/melnar-dict/input/FileSource.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/load/LiteralResolver.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <memory>
#include <vector>

#include <sys/stat.h>

namespace {

constexpr size_t BYTES_TO_UNPACK = size_t(16) << 20; // much more than is read ahead of a packed file

/// Measures the time of a scope.
class Stopwatch : private Unmovable {
public:
    explicit Stopwatch(double& seconds) : m_seconds(seconds), m_start(std::chrono::steady_clock::now()) {}
    ~Stopwatch() { m_seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - m_start).count(); }

private:
    double& m_seconds;
    const std::chrono::steady_clock::time_point m_start;
};

/// Reads so many bytes, fewer only at the end.
std::string_view readFully(ByteSource& source, std::string& buffer, const size_t size) {
    buffer.resize(size);
    size_t length = 0;
    while (length != size) {
        const size_t numberOfBytes = source.read(&buffer[length], size - length);
        if (numberOfBytes == 0)
            break;
        length += numberOfBytes;
    }
    return std::string_view(buffer).substr(0, length);
}

/// Reads so many bytes at a place of a file, fewer only at the end.
std::string_view readAt(FileSource& file, const uint64_t offset, std::string& buffer, const size_t size) {
    file.seek(offset);
    return readFully(file, buffer, size);
}

/// Returns the text to its first line end; all of it if it has none.
std::string_view firstLineOf(const std::string_view text) {
    const size_t lineEnd = text.find('\n');
    return lineEnd == std::string_view::npos ? text : text.substr(0, lineEnd + 1);
}

uint64_t toCount(const double number) {
    return static_cast<uint64_t>(std::llround(number));
}

} // namespace

LoadEstimator::LoadEstimator(const Settings& settings)
    : m_settings(settings),
      m_dictionary(settings.m_memoryLimit, Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS),
      m_thread(m_dictionary) {}

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
    for (const File& file : files)
        withName(file.m_name, [&] {
            if (file.m_isPlain)
                sampleUnits(file);
            else
                sampleStream(file);
        });
    return extrapolate();
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
    size_t unpackedBytes = 0;
    {
        const Stopwatch stopwatch(seconds);
        unpackedBytes = readFully(*source, buffer, BYTES_TO_UNPACK).size();
    }
    file.m_secondsOfAByte = seconds / static_cast<double>(std::max<size_t>(1, unpackedBytes));
    file.m_unpackedBytes *= static_cast<double>(unpackedBytes) /
                            static_cast<double>(std::max<uint64_t>(1, getBytesRead() - bytesReadBefore));
    return file;
}

/// Reads units of a plain file by seeking them.
void LoadEstimator::sampleUnits(const File& file) {
    if (file.m_bytes == 0)
        return;
    FileSource input(file.m_name, {}, &m_bytesRead);
    SampleParser parser(file.m_format);
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
            parser.start(true);
            parser.feed(readAt(input, 0, buffer, m_settings.m_unitBytes), m_piece);
            parser.finish(m_piece);
        }
        startUnit(end - begin);
        if (isFirst || !isWhole)
            parser.start(begin == 0);
        // A line belongs to the unit that it begins in; the byte before tells whether one begins there.
        const uint64_t from = begin - (begin != 0 && !isWhole ? 1 : 0);
        const std::string_view text = readAt(input, from, buffer, end - from);
        bool isInLine = isLineFormat(file.m_format) && !text.ends_with('\n');
        feed(parser, text);
        if (isWhole)
            continue;
        for (uint64_t next = end; isInLine && next < file.m_bytes; next += m_settings.m_unitBytes) {
            const std::string_view line = firstLineOf(readAt(input, next, buffer, m_settings.m_unitBytes));
            feed(parser, line);
            isInLine = !line.empty() && line.back() != '\n';
        }
        finish(parser);
    }
    if (isWhole)
        finish(parser);
    m_plainBytes += bytes;
    m_inputBytes += bytes;
}

/// Reads all of a packed file or a pipe, within limits, and takes units of what comes.
void LoadEstimator::sampleStream(const File& file) {
    const bool isPipe = file.m_bytes == 0;
    const uint64_t limit = isPipe ? m_settings.m_sampleBytes : m_settings.m_unpackedBytes;
    const auto stride = static_cast<uint64_t>(isPipe ? 1 : std::ceil(m_stride));
    const uint64_t bytesReadBefore = getBytesRead();
    const std::unique_ptr<ByteSource> source =
        openInputFile(file.m_name, m_settings.m_numberOfThreads, {}, &m_bytesRead);
    SampleParser parser(file.m_format);
    std::string buffer;
    uint64_t unpackedBytes = 0;
    bool isOpen = false; // whether a stretch is being read
    for (uint64_t unit = 0; unpackedBytes < limit; ++unit) {
        const std::string_view text = readFully(*source, buffer, m_settings.m_unitBytes);
        if (text.empty())
            break;
        unpackedBytes += text.size();
        const Stopwatch stopwatch(m_sampleSeconds);
        if (unit % stride == 0) {
            startUnit(text.size());
            if (!isOpen)
                parser.start(unit == 0);
            isOpen = true;
            feed(parser, text);
        } else if (isOpen) {
            const std::string_view line = isLineFormat(file.m_format) ? firstLineOf(text) : std::string_view();
            feed(parser, line);
            isOpen = !line.empty() && line.back() != '\n';
            if (!isOpen)
                finish(parser);
        }
    }
    if (isOpen)
        finish(parser);
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
    m_strings.startUnit();
    m_plainLiterals.startUnit();
    m_sampledBytes += static_cast<double>(sampledBytes);
}

void LoadEstimator::feed(SampleParser& parser, const std::string_view text) {
    m_piece.clear(0);
    parser.feed(text, m_piece);
    resolve();
}

void LoadEstimator::finish(SampleParser& parser) {
    m_piece.clear(0);
    parser.finish(m_piece);
    resolve();
}

void LoadEstimator::resolve() {
    m_counts += m_piece.m_counts;
    resolveLiterals(m_dictionary, m_thread, true, m_piece);
    for (const InputError& error : m_piece.m_errors)
        if (error.m_exitCode != ExitCode::BAD_DATA) // those of refused literals
            throw ToolFailure(error.m_exitCode, error.m_cause);
    for (const BatchEntry& entry : m_piece.m_literals.getEntries())
        if (entry.m_resourceID != 0)
            (entry.m_datatypeID == D_XSD_STRING ? m_strings : m_plainLiterals)
                .take(entry.m_resourceID, entry.m_lexicalForm.size());
}

LoadEstimate LoadEstimator::extrapolate() const {
    const double share = m_inputBytes == 0 ? 1 : std::min(1.0, m_sampledBytes / m_inputBytes);
    const DistinctEstimator::Estimate strings = m_strings.extrapolate(share);
    const DistinctEstimator::Estimate plainLiterals = m_plainLiterals.extrapolate(share);
    LoadEstimate estimate;
    estimate.m_inputBytes = toCount(m_inputBytes);
    estimate.m_sampledBytes = toCount(m_sampledBytes);
    estimate.m_isWholeInput = m_isWholeInput;
    estimate.m_statements = toCount(static_cast<double>(m_counts.m_statements) / share);
    estimate.m_literals = toCount(static_cast<double>(m_counts.m_strings + m_counts.m_plainLiterals) / share);
    estimate.m_distinctStrings = toCount(strings.m_number);
    estimate.m_distinctPlainLiterals = toCount(plainLiterals.m_number);
    estimate.m_textBytes = toCount(strings.m_textBytes + plainLiterals.m_textBytes);
    estimate.m_size = predictDictionarySize({estimate.m_distinctStrings, estimate.m_distinctPlainLiterals,
                                             toCount(strings.m_chunkBytes + plainLiterals.m_chunkBytes)});
    // Unpacking has a thread of its own; all others share the rest.
    estimate.m_seconds =
        std::max(m_unpackSeconds, m_sampleSeconds / share / static_cast<double>(m_settings.m_numberOfThreads));
    return estimate;
}
