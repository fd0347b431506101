#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/DatatypePolicy.h"
#include "Engine/core/data-store/dictionary/Prefixes.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileInputStream.h"

#include <algorithm>
#include <array>
#include <exception>
#include <utility>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/Dictionary";
constexpr long LINE_MAXIMUM_TOO_LARGE = 38;
constexpr long LINE_UNKNOWN_DATATYPE = 71;
constexpr long LINE_UNKNOWN_RESOURCE = 90;
constexpr long LINE_MALFORMED_RESOURCE = 181;
constexpr long LINE_RESOURCE_NOT_FOUND = 185;

// The largest address space that is reserved for the data pool, whatever the memory limit is.
constexpr size_t LARGEST_DATA_POOL = DictionaryOptions::NO_MEMORY_LIMIT;

// The smallest memory of a resource: 9 bytes of offset and datatype, 4 / 0.7 of bucket, 2 of chunk.
constexpr size_t SMALLEST_RESOURCE = 16;

static_assert(9 * (Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES + 1) + LARGEST_DATA_POOL < uint64_t(1) << 47,
              "the largest dictionary fits into the address space");

static_assert(Dictionary::LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS + 1 ==
                  DatatypePolicy<uint32_t>::BUCKET_IN_PROGRESS,
              "no resource ID of a narrow bucket may be a marker");
static_assert(Dictionary::LARGEST_MAXIMUM_NUMBER_OF_RESOURCES < DatatypePolicy<uint64_t>::BUCKET_IN_PROGRESS);

const Prefixes& getNoPrefixes() {
    static const Prefixes s_noPrefixes;
    return s_noPrefixes;
}

[[noreturn]] void refuseDatatype(const BatchEntry& entry, const void*) {
    throw MelnarException(FailureKind::REFUSED_LITERAL, SOURCE_FILE, LINE_UNKNOWN_DATATYPE, MelnarException::NO_CAUSES,
                          "There is no datatype with ID ", size_t(entry.m_datatypeID), ".");
}

constexpr BatchFailure::Refusal UNKNOWN_DATATYPE{&refuseDatatype};

/// Throws the finding of verify: a literal that is refused, for this reason, or one that is found under another ID.
[[noreturn]] void reportDamagedResource(const uint64_t resourceID, const uint64_t foundID,
                                        const BatchFailure* const refusal) {
    if (refusal != nullptr)
        try {
            refusal->throwException();
        } catch (const MelnarException& exception) {
            throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_MALFORMED_RESOURCE,
                                  {std::current_exception()}, "Resource ", resourceID,
                                  " is damaged: ", exception.getMessage());
        }
    throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_RESOURCE_NOT_FOUND, MelnarException::NO_CAUSES,
                          "Resource ", resourceID, " is damaged: its literal is found under ID ", foundID, ".");
}

} // namespace

Dictionary::Capacity Dictionary::getLargestCapacity(const size_t memoryLimit,
                                                    const uint64_t maximumNumberOfResources) noexcept {
    return {maximumNumberOfResources, std::min(memoryLimit, LARGEST_DATA_POOL)};
}

uint64_t Dictionary::getMaximumNumberOfResources(const DictionaryOptions& options) {
    if (options.m_maximumNumberOfResources == DictionaryOptions::AS_MANY_AS_FIT)
        return std::min<uint64_t>(options.m_memoryLimit / SMALLEST_RESOURCE,
                                  LARGEST_NUMBER_OF_RESOURCES_IN_NARROW_BUCKETS);
    if (options.m_maximumNumberOfResources > LARGEST_MAXIMUM_NUMBER_OF_RESOURCES)
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_MAXIMUM_TOO_LARGE, MelnarException::NO_CAUSES,
                              "A dictionary can hold at most ", LARGEST_MAXIMUM_NUMBER_OF_RESOURCES,
                              " resources, but was asked to hold ", options.m_maximumNumberOfResources, ".");
    return options.m_maximumNumberOfResources;
}

Dictionary::Dictionary(const DictionaryOptions& options)
    : Dictionary(options, getMaximumNumberOfResources(options),
                 options.m_canGrow ? getLargestCapacity(options.m_memoryLimit, getMaximumNumberOfResources(options))
                                   : Capacity{0, 0}) {}

Dictionary::Dictionary(const DictionaryOptions& options, const uint64_t maximumNumberOfResources,
                       const Capacity& capacity)
    : m_maximumNumberOfResources(maximumNumberOfResources),
      m_memoryManager(options.m_memoryLimit, options.m_sharedMemory), m_nextResourceID(1), m_commitPoint(1),
      m_numberOfWithdrawn(0), m_resourceDataOffsets(m_memoryManager), m_resourceFlags(m_memoryManager),
      m_dataPool(m_memoryManager) {
    // Index 0 belongs to no resource. The capacity of the regions keeps resource IDs within the maximum.
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

Dictionary::~Dictionary() {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::ALONE);
}

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
        refuseDatatype({{}, 0, datatypeID}, nullptr);
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
        throw MelnarException(FailureKind::NO_SUCH_RESOURCE, SOURCE_FILE, LINE_UNKNOWN_RESOURCE,
                              MelnarException::NO_CAUSES, "There is no resource with ID ", resourceID, ".");
    return datatypeID;
}

uint64_t Dictionary::resolveResource(DictionaryThread& thread, const std::string_view lexicalForm,
                                     const uint8_t datatypeID) {
    DictionaryThreadContext& threadContext = thread.getContext(*this);
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::RESOLVE);
    return getServer(datatypeID)
        .m_datatype->resolveResource(&threadContext, lexicalForm.data(), lexicalForm.size(), datatypeID);
}

uint64_t Dictionary::tryResolveResource(const DictionaryCommitPoint commitPoint, const std::string_view lexicalForm,
                                        const uint8_t datatypeID) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    return getServer(datatypeID)
        .m_datatype->tryResolveResource(commitPoint, lexicalForm.data(), lexicalForm.size(), datatypeID);
}

/// Passes the entries of a block to the datatype objects that serve them, all entries of a datatype together: calls
/// `operation(object, entries, indexes)` for each datatype, with a null pointer if no object serves it. In a mixed
/// block the entries are copies, which are copied back at the end, and `indexes` contains their indexes; otherwise it
/// is null.
template<class Operation>
void Dictionary::forEachServer(const std::span<BatchEntry> block, const Operation& operation) const {
    if (DictionaryDatatype* const object = getCommonServer(block); object != nullptr) {
        operation(object, block, nullptr);
        return;
    }
    // A counting sort by datatype ID
    std::array<uint8_t, 256> datatypeIDs;
    size_t numberOfDatatypes = 0;
    std::array<uint16_t, 256> places{}; // by datatype ID
    for (const BatchEntry& entry : block)
        if (places[entry.m_datatypeID]++ == 0)
            datatypeIDs[numberOfDatatypes++] = entry.m_datatypeID;
    uint16_t end = 0;
    for (const uint8_t datatypeID : std::span(datatypeIDs).first(numberOfDatatypes))
        end += std::exchange(places[datatypeID], end);
    std::array<BatchEntry, MIXED_BLOCK_SIZE> entries;
    std::array<uint16_t, MIXED_BLOCK_SIZE> indexes;
    for (size_t index = 0; index < block.size(); ++index) {
        const uint16_t place = places[block[index].m_datatypeID]++;
        entries[place] = block[index];
        indexes[place] = static_cast<uint16_t>(index);
    }
    size_t begin = 0;
    for (const uint8_t datatypeID : std::span(datatypeIDs).first(numberOfDatatypes)) {
        const size_t size = places[datatypeID] - begin;
        operation(m_servers[datatypeID].m_datatype, std::span(entries).subspan(begin, size), indexes.data() + begin);
        begin += size;
    }
    for (size_t place = 0; place < block.size(); ++place)
        block[indexes[place]] = entries[place];
}

/// Returns the object that serves all entries of a batch, or null.
DictionaryDatatype* Dictionary::getCommonServer(const std::span<const BatchEntry> batch) const noexcept {
    DictionaryDatatype* const object = batch.empty() ? nullptr : m_servers[batch.front().m_datatypeID].m_datatype;
    const bool isCommon = std::all_of(batch.begin(), batch.end(), [this, object](const BatchEntry& entry) {
        return m_servers[entry.m_datatypeID].m_datatype == object;
    });
    return isCommon ? object : nullptr;
}

/// Creates the missing resources of a block in the order of the entries, which determines their IDs: each object gets
/// the entries up to the first one that another object must create. `begin` is the number of the block's first entry in
/// the batch.
void Dictionary::createMissing(DictionaryThreadContext& threadContext, const std::span<BatchEntry> block,
                               const uint64_t* const hashes, const size_t begin, std::vector<BatchFailure>& failures) {
    const auto isMissing = [](const BatchEntry& entry) { return entry.m_resourceID == 0; };
    std::vector<BatchFailure> ofRun;
    for (auto runBegin = std::ranges::find_if(block, isMissing); runBegin != block.end();) {
        DictionaryDatatype* const object = m_servers[runBegin->m_datatypeID].m_datatype;
        const auto runEnd = std::find_if(runBegin, block.end(), [&](const BatchEntry& entry) {
            return isMissing(entry) && m_servers[entry.m_datatypeID].m_datatype != object;
        });
        const std::span<BatchEntry> run(runBegin, runEnd);
        const auto index = static_cast<size_t>(runBegin - block.begin());
        ofRun.clear();
        if (object != nullptr)
            object->createResources(&threadContext, run, hashes + index, ofRun);
        else
            for (size_t number = 0; number < run.size(); ++number)
                if (isMissing(run[number]))
                    ofRun.emplace_back(number, run[number], UNKNOWN_DATATYPE);
        for (BatchFailure& failure : ofRun) {
            failure.m_entryIndex += begin + index;
            failures.push_back(std::move(failure));
        }
        runBegin = runEnd;
    }
}

void Dictionary::resolveResources(DictionaryThread& thread, const std::span<BatchEntry> entries,
                                  std::vector<BatchFailure>& failures) {
    DictionaryThreadContext& threadContext = thread.getContext(*this);
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::RESOLVE);
    RunningOperations::requireApart(entries);
    if (DictionaryDatatype* const object = getCommonServer(entries); object != nullptr) {
        object->resolveResources(&threadContext, entries, failures);
        return;
    }
    std::array<uint64_t, MIXED_BLOCK_SIZE> hashes;
    for (size_t begin = 0; begin < entries.size(); begin += MIXED_BLOCK_SIZE) {
        const std::span<BatchEntry> block = entries.subspan(begin, std::min(MIXED_BLOCK_SIZE, entries.size() - begin));
        forEachServer(block, [&hashes](const DictionaryDatatype* const object, const std::span<BatchEntry> served,
                                       const uint16_t* const indexes) {
            std::array<uint64_t, MIXED_BLOCK_SIZE> ofServed{};
            if (object != nullptr)
                object->findResources(served, ofServed.data());
            else
                for (BatchEntry& entry : served)
                    entry.m_resourceID = 0;
            for (size_t number = 0; number < served.size(); ++number)
                hashes[indexes == nullptr ? number : indexes[number]] = ofServed[number];
        });
        createMissing(threadContext, block, hashes.data(), begin, failures);
    }
}

void Dictionary::tryResolveResources(const DictionaryCommitPoint commitPoint, const std::span<BatchEntry> entries,
                                     std::vector<BatchFailure>& failures) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    RunningOperations::requireApart(entries);
    if (const DictionaryDatatype* const object = getCommonServer(entries); object != nullptr) {
        object->tryResolveResources(commitPoint, entries, failures);
        return;
    }
    std::vector<BatchFailure> ofBlock;
    for (size_t begin = 0; begin < entries.size(); begin += MIXED_BLOCK_SIZE) {
        const std::span<BatchEntry> block = entries.subspan(begin, std::min(MIXED_BLOCK_SIZE, entries.size() - begin));
        ofBlock.clear();
        forEachServer(block, [&](const DictionaryDatatype* const object, const std::span<BatchEntry> served,
                                 const uint16_t* const indexes) {
            const size_t firstFailure = ofBlock.size();
            if (object != nullptr)
                object->tryResolveResources(commitPoint, served, ofBlock);
            else
                for (size_t index = 0; index < served.size(); ++index) {
                    served[index].m_resourceID = 0;
                    ofBlock.emplace_back(index, served[index], UNKNOWN_DATATYPE);
                }
            if (indexes != nullptr)
                for (size_t failure = firstFailure; failure < ofBlock.size(); ++failure)
                    ofBlock[failure].m_entryIndex = indexes[ofBlock[failure].m_entryIndex];
        });
        std::ranges::sort(ofBlock, {}, &BatchFailure::m_entryIndex);
        for (BatchFailure& failure : ofBlock) {
            failure.m_entryIndex += begin;
            failures.push_back(std::move(failure));
        }
    }
}

/// Prefetches the datatype bytes and offsets of resources, which are indexed by ID.
void Dictionary::prefetchResources(const std::span<const BatchEntry> entries) const noexcept {
    const size_t endResourceID = std::min(m_resourceFlags.getEnd(), m_resourceDataOffsets.getEnd());
    for (const BatchEntry& entry : entries)
        if (entry.m_resourceID < endResourceID) {
            __builtin_prefetch(&m_resourceFlags[entry.m_resourceID]);
            __builtin_prefetch(&m_resourceDataOffsets[entry.m_resourceID]);
        }
}

void Dictionary::getResources(const std::span<BatchEntry> entries) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    // While a block is read, the next one is prefetched.
    const auto getBlock = [entries](const size_t begin) {
        return begin < entries.size() ? entries.subspan(begin, std::min(MIXED_BLOCK_SIZE, entries.size() - begin))
                                      : std::span<BatchEntry>();
    };
    prefetchResources(getBlock(0));
    for (size_t blockBegin = 0; blockBegin < entries.size(); blockBegin += MIXED_BLOCK_SIZE) {
        prefetchResources(getBlock(blockBegin + MIXED_BLOCK_SIZE));
        const std::span<BatchEntry> block = getBlock(blockBegin);
        for (BatchEntry& entry : block) {
            entry.m_datatypeID = getDatatypeID(entry.m_resourceID);
            entry.m_affixNumber = 0;
            if (entry.m_datatypeID == D_INVALID)
                entry.m_lexicalForm = {};
        }
        forEachServer(block,
                      [](const DictionaryDatatype* const object, const std::span<BatchEntry> served, const uint16_t*) {
                          if (object != nullptr)
                              object->getResources(served);
                      });
    }
}

std::string_view Dictionary::getAffix(const BatchEntry& entry) const noexcept {
    return entry.m_affixNumber == 0 ? std::string_view() : m_servers[entry.m_datatypeID].m_datatype->getAffix(entry);
}

void Dictionary::appendLexicalForm(const BatchEntry& entry, std::string& output) const {
    if (entry.m_affixNumber == 0)
        output += entry.m_lexicalForm;
    else
        m_servers[entry.m_datatypeID].m_datatype->appendLexicalForm(entry, output);
}

uint64_t Dictionary::resolveTerm(DictionaryThread& thread, const Term& term) {
    std::string form;
    return resolveResource(thread, term.getLexicalForm(form), term.getDatatypeID());
}

uint64_t Dictionary::tryResolveTerm(const DictionaryCommitPoint commitPoint, const Term& term) const {
    std::string form;
    return tryResolveResource(commitPoint, term.getLexicalForm(form), term.getDatatypeID());
}

Term Dictionary::getTerm(const uint64_t resourceID, std::string& lexicalForm) const {
    const uint8_t datatypeID = getResource(resourceID, lexicalForm);
    return Term::parse(datatypeID, lexicalForm);
}

void Dictionary::getResource(const uint64_t resourceID, ResourceValue& resourceValue) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    const uint8_t datatypeID = getDatatypeIDOrThrow(resourceID);
    getServer(datatypeID).m_datatype->getResource(resourceID, datatypeID, resourceValue);
}

bool Dictionary::mayHaveResources(const uint8_t datatypeID) const {
    return getServer(datatypeID).m_datatype->isInUse();
}

uint8_t Dictionary::getResource(const uint64_t resourceID, std::string& lexicalForm) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
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

DictionaryCommitPoint Dictionary::commit() {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::COMMIT);
    const uint64_t commitPoint = getNextResourceID();
    m_commitPoint.store(commitPoint, std::memory_order_release); // C1
    return {commitPoint};
}

void Dictionary::rollback() {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::COMMIT);
    const uint64_t endResourceID = getNextResourceID();
    for (uint64_t resourceID = getCommitPoint().m_resourceID; resourceID < endResourceID; ++resourceID) {
        const uint8_t datatypeID = getDatatypeID(resourceID);
        if (datatypeID == D_INVALID)
            continue; // withdrawn by an earlier rollback
        getServer(datatypeID).m_datatype->deleteUncommittedResourceID(resourceID, datatypeID);
        m_resourceFlags[resourceID].store(D_INVALID, std::memory_order_release); // D3
        m_numberOfWithdrawn.fetch_add(1, std::memory_order_release);             // C4
    }
}

DictionaryCommitPoint Dictionary::getCommitPoint() const noexcept {
    return {m_commitPoint.load(std::memory_order_acquire)}; // C2
}

void Dictionary::verify() const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::SAVE);
    constexpr uint64_t BATCH_SIZE = 1024;
    const uint64_t endResourceID = getNextResourceID();
    std::vector<BatchEntry> entries;
    std::vector<std::string> joinedForms;
    std::vector<uint64_t> resourceIDs;
    std::vector<BatchFailure> failures;
    for (uint64_t beginResourceID = 1; beginResourceID < endResourceID; beginResourceID += BATCH_SIZE) {
        entries.clear();
        for (uint64_t id = beginResourceID; id < std::min(beginResourceID + BATCH_SIZE, endResourceID); ++id)
            entries.push_back({{}, id});
        getResources(entries);
        std::erase_if(entries, [](const BatchEntry& entry) { return entry.m_datatypeID == D_INVALID; });
        resourceIDs.clear();
        joinedForms.resize(entries.size());
        for (BatchEntry& entry : entries) {
            if (entry.m_affixNumber != 0) {
                std::string& form = joinedForms[resourceIDs.size()];
                form.clear();
                appendLexicalForm(entry, form);
                entry.m_lexicalForm = form;
            }
            resourceIDs.push_back(entry.m_resourceID);
        }
        // All IDs are below this point. A malformed tag is refused, and a form with an empty tag is looked up as
        // another literal, so neither is found under its ID.
        tryResolveResources({endResourceID}, entries, failures);
        for (size_t index = 0; index < entries.size(); ++index)
            if (entries[index].m_resourceID != resourceIDs[index])
                reportDamagedResource(resourceIDs[index], entries[index].m_resourceID,
                                      failures.empty() || failures.front().m_entryIndex != index ? nullptr
                                                                                                 : &failures.front());
    }
}

void Dictionary::save(const std::string& fileName) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::SAVE);
    AtomicFileOutputStream output(fileName);
    DictionaryFile::write(*this, output);
    output.commit();
}

void Dictionary::save(FileLock& lock) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::SAVE);
    AtomicFileOutputStream output(lock);
    DictionaryFile::write(*this, output);
    output.commit();
}

std::unique_ptr<Dictionary> Dictionary::open(const std::string& fileName, const DictionaryOptions& options) {
    FileInputStream input(fileName);
    return DictionaryFile::read(input, options);
}
