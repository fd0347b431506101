#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/BatchFailureShift.h"
#include "Engine/core/data-store/dictionary/DatatypePolicy.h"
#include "Engine/core/data-store/dictionary/Prefixes.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileInputStream.h"

#include <algorithm>
#include <exception>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/Dictionary";
constexpr long LINE_MAXIMUM_TOO_LARGE = 38;
constexpr long LINE_UNKNOWN_DATATYPE = 71;
constexpr long LINE_UNKNOWN_RESOURCE = 90;
constexpr long LINE_MALFORMED_RESOURCE = 181;
constexpr long LINE_RESOURCE_NOT_FOUND = 185;

// Address space for the data pool is reserved up to here, however large the memory limit is.
constexpr size_t LARGEST_DATA_POOL = size_t(1) << 44;

static_assert(9 * (Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES + 1) + LARGEST_DATA_POOL < uint64_t(1) << 47,
              "the largest dictionary fits into the address space");

static_assert(Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS + 1 ==
                  DatatypePolicy<uint32_t>::BUCKET_IN_PROGRESS,
              "no resource ID of a narrow bucket may be a marker");
static_assert(Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES < DatatypePolicy<uint64_t>::BUCKET_IN_PROGRESS);

uint64_t checkMaximumNumberOfResources(const uint64_t maximumNumberOfResources) {
    if (maximumNumberOfResources > Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES)
        throw MelnarException(SOURCE_FILE, LINE_MAXIMUM_TOO_LARGE, MelnarException::NO_CAUSES,
                              "A dictionary can hold at most ", Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES,
                              " resources, but was asked to hold ", maximumNumberOfResources, ".");
    return maximumNumberOfResources;
}

const Prefixes& getNoPrefixes() {
    static const Prefixes s_noPrefixes;
    return s_noPrefixes;
}

[[noreturn]] void refuseDatatype(const BatchEntry& entry) {
    throw MelnarException(SOURCE_FILE, LINE_UNKNOWN_DATATYPE, MelnarException::NO_CAUSES,
                          "There is no datatype with ID ", size_t(entry.m_datatypeID), ".");
}

/// Throws what verify has found: a literal that is refused, for this reason, or one that is found under another ID.
[[noreturn]] void reportDamagedResource(const uint64_t resourceID, const uint64_t foundID,
                                        const BatchFailure* const refusal) {
    if (refusal != nullptr)
        try {
            refusal->throwException();
        } catch (const MelnarException& exception) {
            throw MelnarException(SOURCE_FILE, LINE_MALFORMED_RESOURCE, {std::current_exception()}, "Resource ",
                                  resourceID, " is damaged: ", exception.getMessage());
        }
    throw MelnarException(SOURCE_FILE, LINE_RESOURCE_NOT_FOUND, MelnarException::NO_CAUSES, "Resource ", resourceID,
                          " is damaged: its literal is found under ID ", foundID, ".");
}

} // namespace

Dictionary::Capacity Dictionary::getLargestCapacity(const size_t memoryLimit,
                                                    const uint64_t maximumNumberOfResources) noexcept {
    return {maximumNumberOfResources, std::min(memoryLimit, LARGEST_DATA_POOL)};
}

Dictionary::Dictionary(const size_t memoryLimit, const uint64_t maximumNumberOfResources,
                       const DictionaryOptions& options)
    : Dictionary(memoryLimit, checkMaximumNumberOfResources(maximumNumberOfResources), options,
                 options.m_canGrow ? getLargestCapacity(memoryLimit, maximumNumberOfResources) : Capacity{0, 0}) {}

Dictionary::Dictionary(const size_t memoryLimit, const uint64_t maximumNumberOfResources,
                       const DictionaryOptions& options, const Capacity& capacity)
    : m_maximumNumberOfResources(maximumNumberOfResources), m_memoryManager(memoryLimit), m_nextResourceID(1),
      m_commitPoint(1), m_resourceDataOffsets(m_memoryManager), m_resourceFlags(m_memoryManager),
      m_dataPool(m_memoryManager) {
    // Index 0 belongs to no resource. The regions' capacity is what keeps resource IDs within the maximum.
    m_resourceDataOffsets.initialize(capacity.m_numberOfResources + 1);
    m_resourceFlags.initialize(capacity.m_numberOfResources + 1);
    m_dataPool.initialize(capacity.m_dataPoolBytes);
    const bool useNarrowBuckets = m_maximumNumberOfResources <= LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS;
    for (const DictionaryDatatypeFactory* const factory : DictionaryDatatypeFactory::getFactories()) {
        m_datatypes.push_back(
            {factory, factory->createDictionaryDatatype(useNarrowBuckets, m_memoryManager, m_nextResourceID,
                                                        m_resourceDataOffsets, m_resourceFlags, m_dataPool)});
        DictionaryDatatype* const datatype = m_datatypes.back().m_datatype.get();
        datatype->initialize(m_maximumNumberOfResources);
        for (const auto& [datatypeID, datatypeName] : factory->getSupportedDatatypes())
            m_servers[datatypeID] = {factory, datatype};
    }
    apply(options);
}

Dictionary::~Dictionary() = default;

void Dictionary::apply(const DictionaryOptions& options) {
    for (const Datatype& datatype : m_datatypes) {
        if (options.m_keepFingerprints)
            datatype.m_datatype->enableFingerprints();
        datatype.m_datatype->limitCollisions(options.m_largestNumberOfCollisions);
    }
}

const Dictionary::Server& Dictionary::getServer(const uint8_t datatypeID) const {
    const Server& server = m_servers[datatypeID];
    if (server.m_datatype == nullptr)
        refuseDatatype({{}, 0, datatypeID});
    return server;
}

/// Returns D_INVALID for everything that is not a resource. A datatype byte that is seen here makes offset and chunk
/// visible: it was stored after them.
uint8_t Dictionary::getDatatypeID(const uint64_t resourceID) const noexcept {
    if (resourceID >= m_resourceFlags.getEnd())
        return D_INVALID;
    return m_resourceFlags[resourceID].load(std::memory_order_acquire); // D2
}

uint8_t Dictionary::getDatatypeIDOrThrow(const uint64_t resourceID) const {
    const uint8_t datatypeID = getDatatypeID(resourceID);
    if (datatypeID == D_INVALID)
        throw MelnarException(SOURCE_FILE, LINE_UNKNOWN_RESOURCE, MelnarException::NO_CAUSES,
                              "There is no resource with ID ", resourceID, ".");
    return datatypeID;
}

uint64_t Dictionary::resolveResource(DictionaryThread& thread, const std::string_view lexicalForm,
                                     const uint8_t datatypeID) {
    return getServer(datatypeID)
        .m_datatype->resolveResource(&thread.m_threadContext, lexicalForm.data(), lexicalForm.size(), datatypeID);
}

uint64_t Dictionary::tryResolveResource(const DictionaryCommitPoint commitPoint, const std::string_view lexicalForm,
                                        const uint8_t datatypeID) const {
    return getServer(datatypeID)
        .m_datatype->tryResolveResource(commitPoint, lexicalForm.data(), lexicalForm.size(), datatypeID);
}

/// Hands every run of entries that one datatype object serves to it. Entries that none serves become failures.
template<class Operation>
void Dictionary::forEachRun(const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures,
                            const Operation operation) const {
    size_t begin = 0;
    while (begin < entries.size()) {
        DictionaryDatatype* const datatype = m_servers[entries[begin].m_datatypeID].m_datatype;
        size_t end = begin + 1;
        while (end < entries.size() && m_servers[entries[end].m_datatypeID].m_datatype == datatype)
            ++end;
        const std::span<BatchEntry> run = entries.subspan(begin, end - begin);
        const BatchFailureShift failureShift(failures, begin);
        if (datatype != nullptr)
            operation(*datatype, run);
        else
            for (size_t index = 0; index < run.size(); ++index) {
                run[index].m_resourceID = 0;
                failures.emplace_back(index, run[index], &refuseDatatype);
            }
        begin = end;
    }
}

void Dictionary::resolveResources(DictionaryThread& thread, const std::span<BatchEntry> entries,
                                  std::vector<BatchFailure>& failures) {
    forEachRun(entries, failures, [&](DictionaryDatatype& datatype, const std::span<BatchEntry> run) {
        datatype.resolveResources(&thread.m_threadContext, run, failures);
    });
}

void Dictionary::tryResolveResources(const DictionaryCommitPoint commitPoint, const std::span<BatchEntry> entries,
                                     std::vector<BatchFailure>& failures) const {
    forEachRun(entries, failures, [&](const DictionaryDatatype& datatype, const std::span<BatchEntry> run) {
        datatype.tryResolveResources(commitPoint, run, failures);
    });
}

/// Has what leads to the literals fetched into the cache: datatype bytes and offsets, which lie where the IDs say.
void Dictionary::prefetchResources(const std::span<const BatchEntry> entries) const noexcept {
    const size_t endResourceID = std::min(m_resourceFlags.getEnd(), m_resourceDataOffsets.getEnd());
    for (const BatchEntry& entry : entries)
        if (entry.m_resourceID < endResourceID) {
            __builtin_prefetch(&m_resourceFlags[entry.m_resourceID]);
            __builtin_prefetch(&m_resourceDataOffsets[entry.m_resourceID]);
        }
}

void Dictionary::getResources(const std::span<BatchEntry> entries) const {
    // While a block is read, the next one is on its way.
    static constexpr size_t BLOCK_SIZE = 64;
    const auto getBlock = [entries](const size_t begin) {
        return begin < entries.size() ? entries.subspan(begin, std::min(BLOCK_SIZE, entries.size() - begin))
                                      : std::span<BatchEntry>();
    };
    prefetchResources(getBlock(0));
    for (size_t blockBegin = 0; blockBegin < entries.size(); blockBegin += BLOCK_SIZE) {
        prefetchResources(getBlock(blockBegin + BLOCK_SIZE));
        const std::span<BatchEntry> block = getBlock(blockBegin);
        for (BatchEntry& entry : block) {
            entry.m_datatypeID = getDatatypeID(entry.m_resourceID);
            entry.m_lexicalForm = {};
        }
        // Runs of resources of one datatype object; what is no resource fits in any.
        for (size_t begin = 0; begin < block.size();) {
            const DictionaryDatatype* const datatype = m_servers[block[begin].m_datatypeID].m_datatype;
            size_t end = begin + 1;
            while (end < block.size() &&
                   (m_servers[block[end].m_datatypeID].m_datatype == datatype || block[end].m_datatypeID == D_INVALID))
                ++end;
            if (datatype != nullptr)
                datatype->getResources(block.subspan(begin, end - begin));
            begin = end;
        }
    }
}

void Dictionary::getResource(const uint64_t resourceID, ResourceValue& resourceValue) const {
    const uint8_t datatypeID = getDatatypeIDOrThrow(resourceID);
    getServer(datatypeID).m_datatype->getResource(resourceID, datatypeID, resourceValue);
}

uint8_t Dictionary::getResource(const uint64_t resourceID, std::string& lexicalForm) const {
    const uint8_t datatypeID = getDatatypeIDOrThrow(resourceID);
    getServer(datatypeID).m_datatype->getResource(resourceID, datatypeID, lexicalForm);
    return datatypeID;
}

void Dictionary::appendTurtleLiteral(const uint64_t resourceID, std::string& output) const {
    ResourceValue resourceValue;
    getResource(resourceID, resourceValue);
    getServer(resourceValue.m_datatypeID)
        .m_factory->appendTurtleLiteral(resourceValue.m_datatypeID, resourceValue.m_data, resourceValue.m_dataSize,
                                        resourceValue.m_auxiliaryData, resourceValue.m_auxiliaryDataSize,
                                        getNoPrefixes(), output);
}

void Dictionary::appendTurtleLiteral(const std::string_view lexicalForm, const uint8_t datatypeID,
                                     std::string& output) const {
    const char* const data = lexicalForm.empty() ? "" : lexicalForm.data(); // a view of nothing may point nowhere
    getServer(datatypeID)
        .m_factory->appendTurtleLiteral(datatypeID, reinterpret_cast<const uint8_t*>(data), lexicalForm.size() + 1,
                                        nullptr, 0, getNoPrefixes(), output);
}

void Dictionary::forEachResource(const std::function<void(uint64_t, const ResourceValue&)>& visitor) const {
    ResourceValue resourceValue;
    const uint64_t endResourceID = getNextResourceID();
    for (uint64_t resourceID = 1; resourceID < endResourceID; ++resourceID) {
        const uint8_t datatypeID = getDatatypeID(resourceID);
        if (datatypeID == D_INVALID)
            continue;
        getServer(datatypeID).m_datatype->getResource(resourceID, datatypeID, resourceValue);
        visitor(resourceID, resourceValue);
    }
}

DictionaryCommitPoint Dictionary::commit() {
    const uint64_t commitPoint = getNextResourceID();
    m_commitPoint.store(commitPoint, std::memory_order_release); // C1
    return {commitPoint};
}

void Dictionary::rollback() {
    const uint64_t endResourceID = getNextResourceID();
    for (uint64_t resourceID = getCommitPoint().m_resourceID; resourceID < endResourceID; ++resourceID) {
        const uint8_t datatypeID = getDatatypeID(resourceID);
        if (datatypeID == D_INVALID)
            continue; // Withdrawn by an earlier rollback.
        getServer(datatypeID).m_datatype->deleteUncommittedResourceID(resourceID, datatypeID);
        m_resourceFlags[resourceID].store(D_INVALID, std::memory_order_release); // D3
    }
}

DictionaryCommitPoint Dictionary::getCommitPoint() const noexcept {
    return {m_commitPoint.load(std::memory_order_acquire)}; // C2
}

void Dictionary::verify() const {
    constexpr uint64_t BATCH_SIZE = 1024;
    const uint64_t endResourceID = getNextResourceID();
    std::vector<BatchEntry> entries;
    std::vector<uint64_t> resourceIDs;
    std::vector<BatchFailure> failures;
    for (uint64_t beginResourceID = 1; beginResourceID < endResourceID; beginResourceID += BATCH_SIZE) {
        entries.clear();
        for (uint64_t id = beginResourceID; id < std::min(beginResourceID + BATCH_SIZE, endResourceID); ++id)
            entries.push_back({{}, id});
        getResources(entries);
        std::erase_if(entries, [](const BatchEntry& entry) { return entry.m_datatypeID == D_INVALID; });
        resourceIDs.clear();
        for (const BatchEntry& entry : entries)
            resourceIDs.push_back(entry.m_resourceID);
        // Every resource lies below this point. A malformed tag is refused, and a form with an empty one is looked up
        // as another literal, so that neither is found under its ID.
        tryResolveResources({endResourceID}, entries, failures);
        for (size_t index = 0; index < entries.size(); ++index)
            if (entries[index].m_resourceID != resourceIDs[index])
                reportDamagedResource(resourceIDs[index], entries[index].m_resourceID,
                                      failures.empty() || failures.front().m_entryIndex != index ? nullptr
                                                                                                 : &failures.front());
    }
}

void Dictionary::save(const std::string& fileName) const {
    AtomicFileOutputStream output(fileName);
    DictionaryFile::write(*this, output);
    output.commit();
}

void Dictionary::save(FileLock& lock) const {
    AtomicFileOutputStream output(lock);
    DictionaryFile::write(*this, output);
    output.commit();
}

std::unique_ptr<Dictionary> Dictionary::open(const std::string& fileName, const size_t memoryLimit,
                                             const DictionaryOptions& options) {
    FileInputStream input(fileName);
    return DictionaryFile::read(input, memoryLimit, options);
}
