#include "Engine/core/data-store/DictionaryFile.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/SectionInputStream.h"
#include "Engine/core/data-store/SectionOutputStream.h"
#include "Engine/core/data-store/StringDatatypeStreamValidator.h"
#include "Engine/core/data-store/dictionary/AdaptiveResourceSizeEncoding.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

constexpr uint32_t NARROW_BUCKET_WIDTH = 4;
constexpr uint32_t WIDE_BUCKET_WIDTH = 8;

uint32_t getBucketWidth(const uint64_t maximumNumberOfResources) {
    return maximumNumberOfResources <= Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS ? NARROW_BUCKET_WIDTH
                                                                                                 : WIDE_BUCKET_WIDTH;
}

/// The first section.
struct Header {
    uint32_t m_bucketWidth;
    uint32_t m_numberOfDatatypes;
    uint64_t m_maximumNumberOfResources;
    uint64_t m_nextResourceID;
    uint64_t m_commitPoint;
    uint64_t m_dataPoolBytes;
};

void writeHeader(SectionOutputStream& output, const Header& header) {
    output.writeUInt32(header.m_bucketWidth);
    output.writeUInt32(header.m_numberOfDatatypes);
    output.writeUInt64(header.m_maximumNumberOfResources);
    output.writeUInt64(header.m_nextResourceID);
    output.writeUInt64(header.m_commitPoint);
    output.writeUInt64(header.m_dataPoolBytes);
    output.endSection();
}

Header readHeader(SectionInputStream& input) {
    Header header;
    input.beginSection("header");
    header.m_bucketWidth = input.readUInt32();
    header.m_numberOfDatatypes = input.readUInt32();
    header.m_maximumNumberOfResources = input.readUInt64();
    header.m_nextResourceID = input.readUInt64();
    header.m_commitPoint = input.readUInt64();
    header.m_dataPoolBytes = input.readUInt64();
    input.endSection();
    if (header.m_maximumNumberOfResources > Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES)
        input.reportDamage("the largest number of resources is " + std::to_string(header.m_maximumNumberOfResources) +
                           ".");
    if (header.m_bucketWidth != getBucketWidth(header.m_maximumNumberOfResources))
        input.reportDamage("the bucket width is " + std::to_string(header.m_bucketWidth) + ".");
    if (header.m_nextResourceID == 0 || header.m_nextResourceID - 1 > header.m_maximumNumberOfResources)
        input.reportDamage("the next resource ID is " + std::to_string(header.m_nextResourceID) + ".");
    if (header.m_commitPoint == 0 || header.m_commitPoint > header.m_nextResourceID)
        input.reportDamage("the commit point is " + std::to_string(header.m_commitPoint) + ".");
    return header;
}

/// The size of the chunk at this offset of the data pool, with its size header; 0 unless there is the shortest header
/// of a size, and as many bytes as it says.
uint64_t getChunkSize(const uint8_t* const data, const uint64_t dataPoolBytes, const uint64_t dataOffset) {
    if (dataOffset >= dataPoolBytes)
        return 0;
    const uint64_t availableBytes = dataPoolBytes - dataOffset;
    // The header is read from a copy, behind which there is always enough to read.
    uint8_t header[AdaptiveResourceSizeEncoding::MAXIMUM_HEADER_LENGTH] = {};
    std::memcpy(header, data + dataOffset, std::min<uint64_t>(sizeof(header), availableBytes));
    size_t storedSize;
    const size_t headerLength = AdaptiveResourceSizeEncoding::decodeSize(header, storedSize);
    const bool isWhole = storedSize != 0 &&
                         headerLength == AdaptiveResourceSizeEncoding::getEncodedSizeLength(storedSize) &&
                         headerLength <= availableBytes && storedSize <= availableBytes - headerLength &&
                         data[dataOffset + headerLength + storedSize - 1] == 0;
    return isWhole ? headerLength + storedSize : 0;
}

} // namespace

bool DictionaryFile::isBeginningOf(InputStream& input) {
    std::string beginning(SectionOutputStream::MAGIC.size(), '\0');
    size_t length = 0;
    while (length < beginning.size()) {
        const size_t delivered = input.read(beginning.data() + length, beginning.size() - length);
        if (delivered == 0)
            return false;
        length += delivered;
    }
    return beginning == SectionOutputStream::MAGIC;
}

void DictionaryFile::write(const Dictionary& dictionary, OutputStream& output) {
    SectionOutputStream sections(output);
    const Header header{getBucketWidth(dictionary.m_maximumNumberOfResources),
                        static_cast<uint32_t>(dictionary.m_datatypes.size()),
                        dictionary.m_maximumNumberOfResources,
                        dictionary.getNextResourceID(),
                        dictionary.getCommitPoint().m_resourceID,
                        dictionary.m_dataPool.getEnd()};
    writeHeader(sections, header);
    // Index 0 belongs to no resource, and in an empty dictionary nothing is accessible yet.
    const size_t numberOfResources = header.m_nextResourceID - 1;
    if (numberOfResources != 0)
        sections.write(&dictionary.m_resourceDataOffsets[1], numberOfResources * sizeof(uint64_t));
    sections.endSection();
    if (numberOfResources != 0)
        sections.write(&dictionary.m_resourceFlags[1], numberOfResources);
    sections.endSection();
    sections.write(dictionary.m_dataPool.getData(), header.m_dataPoolBytes);
    sections.endSection();
    for (const Dictionary::Datatype& datatype : dictionary.m_datatypes) {
        const auto& supportedDatatypes = datatype.m_factory->getSupportedDatatypes();
        sections.writeUInt32(static_cast<uint32_t>(supportedDatatypes.size()));
        for (const auto& [datatypeID, datatypeName] : supportedDatatypes) {
            sections.writeUInt32(datatypeID);
            sections.writeString(datatypeName);
        }
        datatype.m_datatype->save(sections);
        sections.endSection();
    }
    sections.endFile();
}

std::unique_ptr<Dictionary> DictionaryFile::read(InputStream& input, const size_t memoryLimit) {
    SectionInputStream sections(input);
    const Header header = readHeader(sections);
    auto dictionary = std::make_unique<Dictionary>(memoryLimit, header.m_maximumNumberOfResources);
    if (header.m_numberOfDatatypes != dictionary->m_datatypes.size())
        sections.reportDamage("it announces " + std::to_string(header.m_numberOfDatatypes) + " datatype objects.");
    const size_t numberOfResources = header.m_nextResourceID - 1;

    sections.beginSection("data offsets");
    dictionary->m_resourceDataOffsets.ensureEndAtLeast(header.m_nextResourceID);
    sections.readExactly(&dictionary->m_resourceDataOffsets[1], numberOfResources * sizeof(uint64_t));
    sections.endSection();

    sections.beginSection("datatype bytes");
    dictionary->m_resourceFlags.ensureEndAtLeast(header.m_nextResourceID);
    sections.readExactly(static_cast<void*>(&dictionary->m_resourceFlags[1]), numberOfResources);
    sections.endSection();
    dictionary->m_nextResourceID.store(header.m_nextResourceID, std::memory_order_relaxed);
    dictionary->m_commitPoint.store(header.m_commitPoint, std::memory_order_relaxed);

    sections.beginSection("data pool");
    if (header.m_dataPoolBytes > dictionary->m_dataPool.getCapacity()) {
        // Mostly it is the memory limit that is too low, and the memory manager tells so.
        dictionary->m_memoryManager.allocate(header.m_dataPoolBytes);
        sections.reportDamage("its " + std::to_string(header.m_dataPoolBytes) + " bytes are more than any pool holds.");
    }
    dictionary->m_dataPool.initialize(dictionary->m_dataPool.getCapacity(), header.m_dataPoolBytes);
    sections.readExactly(dictionary->m_dataPool.getData(), header.m_dataPoolBytes);
    sections.endSection();
    uint64_t unusedBytes = header.m_dataPoolBytes;
    uint64_t previousOffset = 0;
    uint64_t previousSize = 0;
    for (uint64_t resourceID = 1; resourceID < header.m_nextResourceID; ++resourceID) {
        uint64_t& dataOffset = dictionary->m_resourceDataOffsets[resourceID];
        const uint8_t datatypeID = dictionary->getDatatypeID(resourceID);
        const bool beginsInsidePrevious = previousOffset < dataOffset && dataOffset - previousOffset < previousSize;
        if (datatypeID == D_INVALID) {
            if (beginsInsidePrevious)
                dataOffset = 0; // It may be any number, but a probe looks at the offset behind the one that it wants.
            previousSize = 0;
            continue;
        }
        if (dictionary->m_servers[datatypeID].m_datatype == nullptr)
            sections.reportDamage("resource " + std::to_string(resourceID) + " has the unknown datatype " +
                                  std::to_string(datatypeID) + ".");
        const uint64_t chunkSize = getChunkSize(dictionary->m_dataPool.getData(), header.m_dataPoolBytes, dataOffset);
        if (chunkSize == 0)
            sections.reportDamage("there is no literal at offset " + std::to_string(dataOffset) + " for resource " +
                                  std::to_string(resourceID) + ".");
        if (beginsInsidePrevious)
            sections.reportDamage("the literal of resource " + std::to_string(resourceID) + " begins inside that of " +
                                  std::to_string(resourceID - 1) + ".");
        previousOffset = dataOffset;
        previousSize = chunkSize;
        // Resources that shared bytes would make a compaction write more than there are to read.
        if (chunkSize > unusedBytes)
            sections.reportDamage("its literals up to that of resource " + std::to_string(resourceID) +
                                  " take more than its " + std::to_string(header.m_dataPoolBytes) + " bytes.");
        unusedBytes -= chunkSize;
    }

    for (const Dictionary::Datatype& datatype : dictionary->m_datatypes) {
        const auto& supportedDatatypes = datatype.m_factory->getSupportedDatatypes();
        sections.beginSection("datatype " + std::to_string(supportedDatatypes.front().first));
        if (sections.readUInt32() != supportedDatatypes.size())
            sections.reportDamage("it serves other datatypes than this program's.");
        for (const auto& [datatypeID, datatypeName] : supportedDatatypes)
            if (sections.readUInt32() != datatypeID || !sections.readsString(datatypeName))
                sections.reportDamage("it serves other datatypes than this program's.");
        if (supportedDatatypes.front().first == D_XSD_STRING) {
            StringDatatypeStreamValidator validator(sections, header.m_bucketWidth, header.m_nextResourceID,
                                                    dictionary->m_resourceFlags);
            datatype.m_datatype->load(validator);
        } else
            datatype.m_datatype->load(sections);
        sections.endSection();
    }
    sections.endFile();
    return dictionary;
}
