#include "Engine/core/data-store/DictionaryFile.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/SectionInputStream.h"
#include "Engine/core/data-store/SectionOutputStream.h"

#include <algorithm>
#include <string>
#include <utility>

namespace melnar {

namespace {

constexpr uint32_t NARROW_BUCKET_WIDTH = 4;
constexpr uint32_t WIDE_BUCKET_WIDTH = 8;

constexpr uint32_t FIRST_VERSION_WITH_HISTORY = 2;

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

void writeHistory(SectionOutputStream& output, const DictionaryHistory::Contents& history) {
    output.writeUInt64(history.m_generation);
    output.writeUInt64(history.m_entries.size());
    for (const DictionaryHistory::Entry& entry : history.m_entries) {
        output.writeUInt64(entry.m_commitPoint);
        for (const uint64_t half : entry.m_identity.m_checksum)
            output.writeUInt64(half);
    }
    output.endSection();
}

/// Reads the history of a dictionary that is committed up to this point. Each entry has its own commit point.
DictionaryHistory::Contents readHistory(SectionInputStream& input, const uint64_t commitPoint) {
    DictionaryHistory::Contents history;
    input.beginSection("history");
    history.m_generation = input.readUInt64();
    const uint64_t numberOfEntries = input.readUInt64();
    if (numberOfEntries > commitPoint)
        input.reportDamage("it has " + std::to_string(numberOfEntries) + " entries.");
    uint64_t lastCommitPoint = 0;
    for (uint64_t number = 1; number <= numberOfEntries; ++number) {
        DictionaryHistory::Entry entry{input.readUInt64(), {}};
        if (entry.m_commitPoint <= lastCommitPoint || entry.m_commitPoint > commitPoint)
            input.reportDamage("entry " + std::to_string(number) + " has the commit point " +
                               std::to_string(entry.m_commitPoint) + ".");
        for (uint64_t& half : entry.m_identity.m_checksum)
            half = input.readUInt64();
        lastCommitPoint = entry.m_commitPoint;
        history.m_entries.push_back(entry);
    }
    if (lastCommitPoint != commitPoint)
        input.reportDamage("it ends at commit point " + std::to_string(lastCommitPoint) + ".");
    input.endSection();
    return history;
}

} // namespace

bool DictionaryFile::isBeginningOf(InputStream& input) {
    return SectionFormat::DICTIONARY.isBeginningOf(input);
}

void DictionaryFile::write(const Dictionary& dictionary, OutputStream& output) {
    SectionOutputStream sections(output, SectionFormat::DICTIONARY);
    const auto isInUse = [](const Dictionary::Datatype& datatype) { return datatype.m_datatype->isInUse(); };
    const Header header{getBucketWidth(dictionary.m_maximumNumberOfResources),
                        static_cast<uint32_t>(std::ranges::count_if(dictionary.m_datatypes, isInUse)),
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
        if (!isInUse(datatype))
            continue; // So the file of a dictionary with only strings is the same as before there were other terms.
        const auto& supportedDatatypes = datatype.m_factory->getSupportedDatatypes();
        sections.writeUInt32(static_cast<uint32_t>(supportedDatatypes.size()));
        for (const auto& [datatypeID, datatypeName] : supportedDatatypes) {
            sections.writeUInt32(datatypeID);
            sections.writeString(datatypeName);
        }
        datatype.m_datatype->save(sections);
        sections.endSection();
    }
    writeHistory(sections, dictionary.m_history.add(header.m_commitPoint, sections.getContentChecksum()));
    sections.endFile();
}

/// Checks that each resource has a datatype that is served and a complete chunk, and that the pool has room for all
/// chunks. Counts the other IDs, whose resources were withdrawn. Returns the datatype IDs of the resources.
DictionaryFile::DatatypeIDs DictionaryFile::checkResources(Dictionary& dictionary, const SectionInputStream& sections) {
    DatatypeIDs usedDatatypeIDs;
    uint64_t unusedBytes = dictionary.m_dataPool.getEnd();
    for (uint64_t resourceID = 1; resourceID < dictionary.getNextResourceID(); ++resourceID) {
        const uint8_t datatypeID = dictionary.getDatatypeID(resourceID);
        if (datatypeID == D_INVALID) {
            dictionary.m_numberOfWithdrawn.fetch_add(1, std::memory_order_relaxed);
            continue; // Its offset has no meaning, and may be any number.
        }
        const DictionaryDatatype* const datatype = dictionary.m_servers[datatypeID].m_datatype;
        if (datatype == nullptr)
            sections.reportDamage("resource " + std::to_string(resourceID) + " has the unknown datatype " +
                                  std::to_string(datatypeID) + ".");
        const size_t chunkSize = datatype->getChunkSize(resourceID);
        if (chunkSize == 0)
            sections.reportDamage("there is no literal at offset " +
                                  std::to_string(dictionary.m_resourceDataOffsets[resourceID]) + " for resource " +
                                  std::to_string(resourceID) + ".");
        // If resources shared bytes, a compaction would write more bytes than it reads.
        if (chunkSize > unusedBytes)
            sections.reportDamage("its literals up to that of resource " + std::to_string(resourceID) +
                                  " take more than its " + std::to_string(dictionary.m_dataPool.getEnd()) + " bytes.");
        unusedBytes -= chunkSize;
        usedDatatypeIDs[datatypeID] = true;
    }
    return usedDatatypeIDs;
}

/// Reads the sections of datatype objects, in the order of their datatype IDs. Unused datatypes have none.
void DictionaryFile::readDatatypes(const Dictionary& dictionary, const uint32_t numberOfDatatypes,
                                   const DatatypeIDs& usedDatatypeIDs, SectionInputStream& sections) {
    const auto getName = [](const Dictionary::Datatype& datatype) {
        return "datatype " + std::to_string(datatype.m_factory->getSupportedDatatypes().front().first);
    };
    auto next = dictionary.m_datatypes.begin();
    const auto end = dictionary.m_datatypes.end();
    const auto reportOtherDatatypes = [&sections] {
        sections.reportDamage("it serves datatypes other than those of this program.");
    };
    for (uint32_t number = 0; number < numberOfDatatypes; ++number) {
        sections.beginSection(next == end ? "datatype" : getName(*next));
        if (next == end)
            reportOtherDatatypes();
        const uint32_t numberOfIDs = sections.readUInt32();
        for (uint32_t index = 0; index < std::max<uint32_t>(numberOfIDs, 1); ++index) {
            const uint32_t datatypeID = sections.readUInt32();
            if (index == 0)
                while (std::next(next) != end && !next->m_datatype->isInUse() &&
                       next->m_factory->getSupportedDatatypes().front().first != datatypeID)
                    ++next;
            const auto& supportedDatatypes = next->m_factory->getSupportedDatatypes();
            if (numberOfIDs != supportedDatatypes.size() || datatypeID != supportedDatatypes[index].first ||
                !sections.readsString(supportedDatatypes[index].second))
                reportOtherDatatypes();
        }
        sections.nameSection(getName(*next));
        next->m_datatype->loadUntrusted(sections);
        sections.endSection();
        ++next;
    }
    // Datatypes that have no section must be unused: they must have no resources, and be of the kind that may be
    // skipped.
    for (const Dictionary::Datatype& datatype : dictionary.m_datatypes)
        for (const auto& [datatypeID, datatypeName] : datatype.m_factory->getSupportedDatatypes())
            if (usedDatatypeIDs[datatypeID] && !datatype.m_datatype->isInUse())
                sections.reportDamage("there are resources of datatype " + std::to_string(datatypeID) +
                                      ", which the file lacks.");
    if (std::any_of(next, end, [](const Dictionary::Datatype& datatype) { return datatype.m_datatype->isInUse(); }))
        reportOtherDatatypes();
}

std::unique_ptr<Dictionary> DictionaryFile::read(InputStream& input, const DictionaryOptions& options) {
    SectionInputStream sections(input, SectionFormat::DICTIONARY);
    const Header header = readHeader(sections);
    Dictionary::Capacity capacity =
        Dictionary::getLargestCapacity(options.m_memoryLimit, header.m_maximumNumberOfResources);
    if (!options.m_canGrow)
        capacity = {header.m_nextResourceID - 1, std::min<size_t>(capacity.m_dataPoolBytes, header.m_dataPoolBytes)};
    // Fingerprints come last, so that they take no memory that the contents need.
    std::unique_ptr<Dictionary> dictionary(new Dictionary(
        {.m_memoryLimit = options.m_memoryLimit, .m_keepFingerprints = false, .m_sharedMemory = options.m_sharedMemory},
        header.m_maximumNumberOfResources, capacity));
    const auto numberOfIndispensable = static_cast<size_t>(std::ranges::count_if(
        dictionary->m_datatypes, [](const Dictionary::Datatype& datatype) { return datatype.m_datatype->isInUse(); }));
    if (header.m_numberOfDatatypes < numberOfIndispensable ||
        header.m_numberOfDatatypes > dictionary->m_datatypes.size())
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
        // Usually the memory limit is too low, which the memory manager reports.
        dictionary->m_memoryManager.allocate(header.m_dataPoolBytes);
        sections.reportDamage("its " + std::to_string(header.m_dataPoolBytes) + " bytes are more than any pool holds.");
    }
    dictionary->m_dataPool.initialize(dictionary->m_dataPool.getCapacity(), header.m_dataPoolBytes);
    sections.readExactly(dictionary->m_dataPool.getData(), header.m_dataPoolBytes);
    sections.endSection();
    const DatatypeIDs usedDatatypeIDs = checkResources(*dictionary, sections);

    readDatatypes(*dictionary, header.m_numberOfDatatypes, usedDatatypeIDs, sections);
    // A file that is older than histories is the first state of its own history.
    if (sections.getFormatVersion() < FIRST_VERSION_WITH_HISTORY)
        dictionary->m_history.add(header.m_commitPoint, sections.getContentChecksum());
    else
        dictionary->m_history.assign(readHistory(sections, header.m_commitPoint));
    sections.endFile();
    dictionary->apply(options);
    return dictionary;
}

} // namespace melnar
