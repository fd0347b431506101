#pragma once

#include "Engine/core/platform/Export.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/InputStream.h"

#include <memory>
#include <string>

namespace melnar {

/// Reads a file from its start.
///
/// Ownership  Owns the file descriptor and a buffer; larger reads bypass the buffer.
/// Errors     SystemCallException that names the file and the call. Interrupted reads are repeated.
class MELNAR_EXPORT FileInputStream final : public InputStream, private Unmovable {
public:
    /// The size of the buffer, in bytes, unless another is asked for.
    static constexpr size_t BUFFER_SIZE = size_t(1) << 18;

    /// Use a smaller buffer to read many files concurrently.
    explicit FileInputStream(const std::string& fileName, size_t bufferSize = BUFFER_SIZE);
    ~FileInputStream() override;

    const std::string& getName() const override { return m_fileName; }
    size_t read(void* data, size_t numberOfBytes) override;

private:
    size_t readThrough(uint8_t* data, size_t numberOfBytes);

    const std::string m_fileName;
    const size_t m_bufferSize;
    const std::unique_ptr<uint8_t[]> m_buffer;
    size_t m_bufferBegin;
    size_t m_bufferEnd;
    int m_fileDescriptor;
};

} // namespace melnar
