#include "Engine/core/data-store/SectionInputStream.h"

#include "Engine/core/data-store/SectionOutputStream.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace melnar {

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/SectionInputStream";
constexpr long LINE_DAMAGED = 29;
constexpr long LINE_NOT_A_DICTIONARY = 47;
constexpr long LINE_UNKNOWN_VERSION = 52;

} // namespace

SectionInputStream::SectionInputStream(InputStream& input, const SectionFormat& format)
    : m_input(input), m_format(format),
      m_buffer(std::make_unique_for_overwrite<uint8_t[]>(SectionOutputStream::BLOCK_SIZE)), m_formatVersion(0),
      m_blockPosition(0), m_blockSize(0), m_isLastBlock(true), m_sectionNumber(0), m_blockNumber(0), m_readBytes(0),
      m_sectionName("beginning of file") {
    std::string magic(m_format.m_magic.size(), '\0');
    readChecksummed(magic.data(), magic.size());
    if (magic != m_format.m_magic)
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_NOT_A_DICTIONARY, MelnarException::NO_CAUSES,
                              "File '", getName(), "' is not a ", m_format.m_name, ".");
    readChecksummed(&m_formatVersion, sizeof(m_formatVersion));
    if (m_formatVersion == 0 || m_formatVersion > m_format.m_version)
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_UNKNOWN_VERSION, MelnarException::NO_CAUSES,
                              m_format.m_title, " '", getName(), "' has format version ", m_formatVersion,
                              "; this program reads versions up to ", m_format.m_version, ".");
}

void SectionInputStream::reportDamage(const std::string& finding) const {
    throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_DAMAGED, MelnarException::NO_CAUSES,
                          m_format.m_title, " '", getName(), "' is damaged: section '", m_sectionName, "': ", finding);
}

void SectionInputStream::beginSection(std::string sectionName) {
    if (m_blockNumber != 0)
        ++m_sectionNumber;
    m_sectionName = std::move(sectionName);
    m_blockNumber = 0;
    readBlock();
}

size_t SectionInputStream::read(void* const data, const size_t numberOfBytes) {
    if (m_blockPosition == m_blockSize) {
        if (m_isLastBlock)
            reportDamage("it is shorter than its contents.");
        readBlock();
    }
    const size_t delivered = std::min(numberOfBytes, m_blockSize - m_blockPosition);
    std::memcpy(data, m_buffer.get() + m_blockPosition, delivered);
    m_blockPosition += delivered;
    return delivered;
}

void SectionInputStream::endSection() {
    if (!m_isLastBlock || m_blockPosition != m_blockSize)
        reportDamage("it is longer than its contents.");
}

void SectionInputStream::readBlock() {
    ++m_blockNumber;
    uint32_t header[2];
    readChecksummed(header, sizeof(header));
    const size_t blockSize = header[1] & ~SectionOutputStream::LAST_BLOCK;
    m_isLastBlock = (header[1] & SectionOutputStream::LAST_BLOCK) != 0;
    const std::string blockName = "block " + std::to_string(m_blockNumber);
    // Only the last block may be short, and only the block of an empty section is empty: every section has exactly one
    // form.
    if (header[0] != m_sectionNumber || blockSize > SectionOutputStream::BLOCK_SIZE ||
        (!m_isLastBlock && blockSize != SectionOutputStream::BLOCK_SIZE) ||
        (m_isLastBlock && blockSize == 0 && m_blockNumber != 1))
        reportDamage(blockName + " has a header that no block can have there.");
    readChecksummed(m_buffer.get(), blockSize);
    m_blockChecksum.reset();
    m_blockChecksum.update(header, sizeof(header));
    m_blockChecksum.update(m_buffer.get(), blockSize);
    uint64_t checksum;
    readChecksummed(&checksum, sizeof(checksum));
    if (checksum != m_blockChecksum.getValue())
        reportDamage(blockName + " does not have the checksum that it was written with.");
    m_contentChecksum.add(checksum);
    m_blockPosition = 0;
    m_blockSize = blockSize;
}

void SectionInputStream::readChecksummed(void* const data, const size_t numberOfBytes) {
    readInput(data, numberOfBytes);
    m_fileChecksum.update(data, numberOfBytes);
    m_readBytes += numberOfBytes;
}

void SectionInputStream::readInput(void* const data, const size_t numberOfBytes) {
    uint8_t* position = static_cast<uint8_t*>(data);
    for (size_t remaining = numberOfBytes; remaining != 0;) {
        const size_t delivered = m_input.read(position, remaining);
        if (delivered == 0)
            reportDamage("the file ends within it.");
        position += delivered;
        remaining -= delivered;
    }
}

void SectionInputStream::endFile() {
    m_sectionName = "end of file";
    uint64_t fileSize;
    readChecksummed(&fileSize, sizeof(fileSize));
    if (fileSize != m_readBytes + sizeof(uint64_t))
        reportDamage("the file does not have the size that it was written with.");
    uint64_t checksum;
    readInput(&checksum, sizeof(checksum));
    if (checksum != m_fileChecksum.getValue())
        reportDamage("the file does not have the checksum that it was written with.");
    uint8_t excess;
    if (m_input.read(&excess, 1) != 0)
        reportDamage("bytes follow the end of the file.");
}

} // namespace melnar
