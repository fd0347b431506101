#include "Engine/core/data-store/SectionOutputStream.h"

#include <algorithm>
#include <cstring>

namespace melnar {

SectionOutputStream::SectionOutputStream(OutputStream& output, const SectionFormat& format)
    : m_output(output), m_buffer(std::make_unique_for_overwrite<uint8_t[]>(BLOCK_SIZE)), m_bufferedBytes(0),
      m_sectionNumber(0), m_writtenBytes(0) {
    writeChecksummed(format.m_magic.data(), format.m_magic.size());
    writeChecksummed(&format.m_version, sizeof(format.m_version));
}

void SectionOutputStream::write(const void* const data, size_t numberOfBytes) {
    const uint8_t* position = static_cast<const uint8_t*>(data);
    while (numberOfBytes != 0) {
        // A full block is written only when more bytes follow, since it might be the last block of the section.
        if (m_bufferedBytes == BLOCK_SIZE) {
            writeBlock(m_buffer.get(), BLOCK_SIZE, false);
            m_bufferedBytes = 0;
        }
        if (m_bufferedBytes == 0 && numberOfBytes > BLOCK_SIZE) {
            writeBlock(position, BLOCK_SIZE, false);
            position += BLOCK_SIZE;
            numberOfBytes -= BLOCK_SIZE;
            continue;
        }
        const size_t copiedBytes = std::min(numberOfBytes, BLOCK_SIZE - m_bufferedBytes);
        std::memcpy(m_buffer.get() + m_bufferedBytes, position, copiedBytes);
        m_bufferedBytes += copiedBytes;
        position += copiedBytes;
        numberOfBytes -= copiedBytes;
    }
}

void SectionOutputStream::endSection() {
    writeBlock(m_buffer.get(), m_bufferedBytes, true);
    m_bufferedBytes = 0;
    ++m_sectionNumber;
}

void SectionOutputStream::writeBlock(const uint8_t* const data, const size_t numberOfBytes, const bool isLast) {
    const uint32_t header[2] = {m_sectionNumber, static_cast<uint32_t>(numberOfBytes) | (isLast ? LAST_BLOCK : 0)};
    m_blockChecksum.reset();
    m_blockChecksum.update(header, sizeof(header));
    m_blockChecksum.update(data, numberOfBytes);
    const uint64_t checksum = m_blockChecksum.getValue();
    m_contentChecksum.add(checksum);
    writeChecksummed(header, sizeof(header));
    writeChecksummed(data, numberOfBytes);
    writeChecksummed(&checksum, sizeof(checksum));
}

void SectionOutputStream::writeChecksummed(const void* const data, const size_t numberOfBytes) {
    m_fileChecksum.update(data, numberOfBytes);
    m_output.write(data, numberOfBytes);
    m_writtenBytes += numberOfBytes;
}

void SectionOutputStream::endFile() {
    const uint64_t fileSize = m_writtenBytes + 2 * sizeof(uint64_t);
    writeChecksummed(&fileSize, sizeof(fileSize));
    const uint64_t checksum = m_fileChecksum.getValue();
    m_output.write(&checksum, sizeof(checksum));
}

} // namespace melnar
