#pragma once

#include "Engine/core/data-store/Checksum.h"
#include "Engine/core/data-store/ChecksumChain.h"
#include "Engine/core/data-store/SectionFormat.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/OutputStream.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace melnar {

/// Writes a file of sections. Each section is divided into blocks with checksums; the file ends with a checksum over
/// everything. docs/formats/dictionary-file.md describes the bytes.
///
/// Ownership  Writes to a stream of the caller; owns a buffer of BLOCK_SIZE bytes.
/// Errors     Those of the stream.
class SectionOutputStream final : public OutputStream, private Unmovable {
public:
    /// The largest number of bytes of one section that a block holds.
    static constexpr size_t BLOCK_SIZE = size_t(1) << 20;

    /// The top bit of a block's length, which is set in the last block of a section.
    static constexpr uint32_t LAST_BLOCK = uint32_t(1) << 31;

    /// Writes the start of a file of this kind.
    SectionOutputStream(OutputStream& output, const SectionFormat& format);

    const std::string& getName() const override { return m_output.getName(); }
    void write(const void* data, size_t numberOfBytes) override;

    /// Does nothing: the division into blocks must depend only on the bytes.
    void flush() override {}

    /// Ends the current section; the next bytes start another one.
    void endSection();

    /// Returns the checksum of everything in the blocks so far: the chain of their checksums.
    const ChecksumChain::Value& getContentChecksum() const noexcept { return m_contentChecksum.getValue(); }

    /// Writes the end of the file. All sections must have ended.
    void endFile();

private:
    void writeBlock(const uint8_t* data, size_t numberOfBytes, bool isLast);
    void writeChecksummed(const void* data, size_t numberOfBytes);

    OutputStream& m_output;
    const std::unique_ptr<uint8_t[]> m_buffer;
    size_t m_bufferedBytes;
    uint32_t m_sectionNumber;
    uint64_t m_writtenBytes;
    Checksum m_blockChecksum;
    Checksum m_fileChecksum;
    ChecksumChain m_contentChecksum;
};

} // namespace melnar
