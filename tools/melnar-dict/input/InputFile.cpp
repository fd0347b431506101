#include "tools/melnar-dict/input/InputFile.h"

#include "tools/melnar-dict/input/FileSource.h"
#include "tools/melnar-dict/input/GzipSource.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <string_view>

namespace {

/// No text of RDF starts with these bytes.
constexpr std::string_view GZIP_MAGIC("\x1f\x8b");

/// A source whose first bytes can be looked at before they are read.
class PeekedSource final : public ByteSource {
public:
    explicit PeekedSource(std::unique_ptr<ByteSource> source) : m_source(std::move(source)) {}

    /// The first `size` bytes, fewer when there are no more.
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

} // namespace

std::unique_ptr<ByteSource> openInputFile(const std::string& fileName) {
    auto source = std::make_unique<PeekedSource>(std::make_unique<FileSource>(fileName));
    if (source->peek(GZIP_MAGIC.size()) == GZIP_MAGIC)
        return std::make_unique<GzipSource>(std::move(source));
    if (fileName.ends_with(".gz"))
        throw ToolFailure(ExitCode::FAILURE, "not a sound gzip file: its first bytes are not those of gzip");
    return source;
}
