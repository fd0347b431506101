#include "tools/melnar-dict/input/InputFile.h"

#include "tools/melnar-dict/input/Bzip2Source.h"
#include "tools/melnar-dict/input/DecodingSource.h"
#include "tools/melnar-dict/input/FileSource.h"
#include "tools/melnar-dict/input/GzipDecoder.h"
#include "tools/melnar-dict/input/PackedFormat.h"
#include "tools/melnar-dict/input/ThreadedSource.h"
#include "tools/melnar-dict/input/XzDecoder.h"
#include "tools/melnar-dict/input/ZstdDecoder.h"

#include <algorithm>
#include <optional>
#include <string_view>
#include <utility>

namespace {

/// A source whose first bytes can be examined before they are read.
class PeekedSource final : public ByteSource {
public:
    explicit PeekedSource(std::unique_ptr<ByteSource> source) : m_source(std::move(source)) {}

    /// Returns the first `size` bytes, fewer if there are no more.
    std::string_view peek(const size_t size) {
        while (m_peeked.size() < size) {
            char buffer[16];
            const size_t numberOfBytes = m_source->read(buffer, std::min(size - m_peeked.size(), sizeof buffer));
            if (numberOfBytes == 0)
                break;
            m_peeked.append(buffer, numberOfBytes);
        }
        return m_peeked;
    }

    size_t read(char* const buffer, const size_t size) override {
        if (m_delivered == m_peeked.size())
            return m_source->read(buffer, size);
        const size_t numberOfBytes = m_peeked.copy(buffer, size, m_delivered);
        m_delivered += numberOfBytes;
        return numberOfBytes;
    }

private:
    std::unique_ptr<ByteSource> m_source;
    std::string m_peeked;
    size_t m_delivered = 0;
};

/// Returns how a file is compressed, if it is. Its name must not indicate another format.
std::optional<PackedFormat> findFormat(PeekedSource& source, const std::string& fileName) {
    const std::optional<PackedFormat> format = packedFormatOfBeginning(source.peek(LENGTH_OF_PACKED_BEGINNING));
    const std::optional<PackedFormat> promisedFormat = packedFormatOfFile(fileName);
    if (promisedFormat && promisedFormat != format)
        failAsUnsound(*promisedFormat, "its first bytes are not those of the format");
    return format;
}

std::unique_ptr<Decoder> makeDecoder(const PackedFormat format, const size_t numberOfThreads) {
    switch (format) {
    case PackedFormat::GZIP:
        return std::make_unique<GzipDecoder>();
    case PackedFormat::XZ:
        return std::make_unique<XzDecoder>(numberOfThreads);
    default:
        return std::make_unique<ZstdDecoder>();
    }
}

std::unique_ptr<ByteSource> unpack(std::unique_ptr<ByteSource> packed, const PackedFormat format,
                                   const size_t numberOfThreads) {
    if (format == PackedFormat::BZIP2)
        return std::make_unique<Bzip2Source>(std::move(packed), numberOfThreads);
    return std::make_unique<DecodingSource>(std::move(packed), format, makeDecoder(format, numberOfThreads));
}

} // namespace

std::unique_ptr<ByteSource> openInputFile(const std::string& fileName, const size_t numberOfThreads,
                                          std::stop_source stop, std::atomic<uint64_t>* const bytesRead) {
    auto source = std::make_unique<PeekedSource>(std::make_unique<FileSource>(fileName, stop.get_token(), bytesRead));
    const std::optional<PackedFormat> format = findFormat(*source, fileName);
    if (!format)
        return source;
    return std::make_unique<ThreadedSource>(unpack(std::move(source), *format, numberOfThreads), std::move(stop));
}

bool isPlainFile(const std::string& fileName) {
    PeekedSource source(std::make_unique<FileSource>(fileName));
    return !findFormat(source, fileName);
}
