#pragma once

#include "Engine/core/data-store/Checksum.h"
#include "Engine/core/data-store/ChecksumChain.h"
#include "Engine/core/data-store/SectionFormat.h"
#include "Engine/core/platform/Unmovable.h"
#include "Engine/core/platform/stream/UntrustedInputStream.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

namespace melnar {

/// Reads what SectionOutputStream has written. Verifies the checksum of a block before it delivers its bytes.
///
/// Ownership  Reads from a stream of the caller; owns a buffer of one block.
/// Errors     MelnarException, which names file, section, block and finding, for everything that a section stream
///            cannot be; those of the stream. The stream is unusable afterwards.
class SectionInputStream final : public UntrustedInputStream, private Unmovable {
public:
    /// Reads the start of the file, and checks that it is of this kind.
    SectionInputStream(InputStream& input, const SectionFormat& format);

    const std::string& getName() const override { return m_input.getName(); }

    /// Returns the format version of the file, which is one that this program can read.
    uint32_t getFormatVersion() const noexcept { return m_formatVersion; }

    /// Returns the checksum of SectionOutputStream for the blocks that have been read so far.
    const ChecksumChain::Value& getContentChecksum() const noexcept { return m_contentChecksum.getValue(); }

    /// Reads bytes of the current section. At its end, a read is reported as damage, since the caller expects more.
    size_t read(void* data, size_t numberOfBytes) override;

    /// Starts the first or the next section. `sectionName` is used in messages.
    void beginSection(std::string sectionName);

    /// Gives the section another name, which comes from its contents.
    void nameSection(std::string sectionName) { m_sectionName = std::move(sectionName); }

    /// Checks that the section has been read to its end.
    void endSection();

    /// Checks that the file ends here, and checks its size and checksum.
    void endFile();

    /// Throws MelnarException for damaged contents, which names the file, the section and `finding`.
    [[noreturn]] void reportDamage(const std::string& finding) const override;

private:
    void readBlock();
    void readChecksummed(void* data, size_t numberOfBytes);
    void readInput(void* data, size_t numberOfBytes);

    InputStream& m_input;
    const SectionFormat m_format;
    const std::unique_ptr<uint8_t[]> m_buffer;
    uint32_t m_formatVersion; // constant after construction
    size_t m_blockPosition;
    size_t m_blockSize;
    bool m_isLastBlock;
    uint32_t m_sectionNumber;
    uint64_t m_blockNumber; // within the section, from 1
    uint64_t m_readBytes;
    std::string m_sectionName;
    Checksum m_blockChecksum;
    Checksum m_fileChecksum;
    ChecksumChain m_contentChecksum;
};

} // namespace melnar
