#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include "Engine/core/data-store/ChecksumChain.h"
#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/sharded/ShardedBatch.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/stream/FileOutputStream.h"
#include "Engine/core/platform/stream/FolderNames.h"
#include "Engine/core/platform/stream/TargetFile.h"
#include "Engine/core/platform/system/ThreadContextIndex.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace melnar;

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/sharded/ShardedDictionary";
constexpr long LINE_OTHER_SHARD = 36;
constexpr long LINE_NOT_DENSE = 70;
constexpr long LINE_NOT_FOUND_AGAIN = 95;
constexpr long LINE_NO_MEMORY_FOR_COPY = 107;
constexpr long LINE_CANNOT_RENAME = 118;
constexpr long LINE_CANNOT_EXAMINE = 127;
constexpr long LINE_MAXIMUM_TOO_LARGE = 163;
constexpr long LINE_OTHER_FOLDER = 208;
constexpr long LINE_TERM_IN_OTHER_SHARD = 244;
constexpr long LINE_UNKNOWN_RESOURCE = 261;
constexpr long LINE_FOREIGN_LOCK = 283;
constexpr long LINE_DAMAGED_SHARD = 310;
constexpr long LINE_OTHER_SIZE = 344;
constexpr long LINE_OTHER_TERMS = 371;

constexpr uint64_t RESOURCES_OF_A_GROUP = 1024; // enough for a dictionary to run at full speed

// The size of the blocks of a batch: enough for each shard to run at full speed.
constexpr size_t BLOCK_SIZE = size_t(1) << 16;

constexpr size_t MEMORY_OF_NO_RESOURCES = size_t(1) << 20;

uint64_t checkMaximumNumberOfResources(const uint64_t maximumNumberOfResourcesOfShard) {
    if (maximumNumberOfResourcesOfShard > ShardedDictionary::MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD)
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_MAXIMUM_TOO_LARGE, MelnarException::NO_CAUSES,
                              "A shard can hold at most ", ShardedDictionary::MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD,
                              " resources, but was asked to hold ", maximumNumberOfResourcesOfShard, ".");
    return maximumNumberOfResourcesOfShard;
}

std::string getManifestName(const std::string& folderName) {
    return folderName + '/' + ShardManifest::FILE_NAME;
}

ShardManifest readManifest(const std::string& folderName) {
    FileInputStream input(getManifestName(folderName));
    return ShardManifest::read(input);
}

ShardManifest makeManifest(const uint64_t maximumNumberOfResourcesOfShard) {
    ShardManifest manifest;
    manifest.m_maximumNumberOfResourcesOfShard = maximumNumberOfResourcesOfShard;
    return manifest;
}

/// Processes a batch of terms block by block: calls `answer(shard, part, failures)` for each part of a block.
template<class Answer>
void answerTerms(ShardedBatch& batch, const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures,
                 const Answer& answer) {
    std::vector<BatchFailure> ofBlock;
    std::vector<BatchFailure> ofPart;
    for (size_t begin = 0; begin < entries.size(); begin += BLOCK_SIZE) {
        const std::span<BatchEntry> block = entries.subspan(begin, std::min(BLOCK_SIZE, entries.size() - begin));
        batch.assignTerms(block);
        ofBlock.clear();
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
            const std::span<BatchEntry> part = batch.getPart(shard);
            if (part.empty())
                continue;
            ofPart.clear();
            answer(shard, part, ofPart);
            batch.copyAnswers(shard, block);
            batch.appendFailures(shard, ofPart, ofBlock);
        }
        std::ranges::sort(ofBlock, {}, &BatchFailure::m_entryIndex);
        for (BatchFailure& failure : ofBlock) {
            failure.m_entryIndex += begin;
            failures.push_back(std::move(failure));
        }
    }
}

/// Calls `visit(entries)` with groups of a dictionary's resources, in ascending order of their IDs, without gaps.
/// Entries have whole lexical forms until the next call.
template<class Visit>
void forEachGroup(const Dictionary& dictionary, const Visit& visit) {
    std::vector<BatchEntry> entries;
    std::string forms;
    std::vector<size_t> begins;
    for (uint64_t begin = 1; begin < dictionary.getNextResourceID(); begin += RESOURCES_OF_A_GROUP) {
        entries.resize(std::min(RESOURCES_OF_A_GROUP, dictionary.getNextResourceID() - begin));
        for (size_t index = 0; index < entries.size(); ++index)
            entries[index].m_resourceID = begin + index;
        dictionary.getResources(entries);
        forms.clear();
        begins.clear();
        for (const BatchEntry& entry : entries) {
            if (entry.m_datatypeID == D_INVALID)
                throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_NOT_DENSE,
                                      MelnarException::NO_CAUSES, "A shard has no resource with ID ",
                                      entry.m_resourceID, ".");
            begins.push_back(forms.size());
            if (entry.m_affixNumber != 0)
                dictionary.appendLexicalForm(entry, forms);
        }
        begins.push_back(forms.size());
        for (size_t index = 0; index < entries.size(); ++index)
            if (entries[index].m_affixNumber != 0) {
                entries[index].m_lexicalForm =
                    std::string_view(forms.data() + begins[index], begins[index + 1] - begins[index]);
                entries[index].m_affixNumber = 0;
            }
        visit(std::span<BatchEntry>(entries));
    }
}

void countTerms(const std::span<const BatchEntry> entries, std::map<uint8_t, ShardManifest::Terms>& termsByDatatype) {
    for (const BatchEntry& entry : entries) {
        ShardManifest::Terms& terms = termsByDatatype[entry.m_datatypeID];
        ++terms.m_number;
        terms.m_formBytes += entry.m_lexicalForm.size();
    }
}

/// Makes a dictionary with the same terms under the same IDs, laid out as if a single thread had created them one after
/// the other. All copies of one shard are identical, byte for byte, whichever threads made the shard, and however often
/// it was saved. Counts the terms. `memory` must outlive the copy.
std::unique_ptr<Dictionary> makeCanonicalCopy(const Dictionary& source, MemoryManager& memory,
                                              std::map<uint8_t, ShardManifest::Terms>& termsByDatatype) {
    const ThreadContextLoan loan;
    auto copy = std::make_unique<Dictionary>(
        DictionaryOptions{.m_memoryLimit = memory.getReservedBytes(),
                          .m_maximumNumberOfResources = source.getMaximumNumberOfResources(),
                          .m_largestNumberOfCollisions = DictionaryOptions::NO_COLLISION_LIMIT, // the source has them
                          .m_sharedMemory = &memory});
    {
        DictionaryThread thread(*copy);
        std::vector<BatchFailure> failures;
        uint64_t nextResourceID = 1;
        forEachGroup(source, [&](const std::span<BatchEntry> entries) {
            copy->resolveResources(thread, entries, failures);
            if (!failures.empty())
                failures.front().throwException();
            countTerms(entries, termsByDatatype);
            for (const BatchEntry& entry : entries) // A damaged file may contain a term twice.
                if (const uint64_t resourceID = nextResourceID++; entry.m_resourceID != resourceID)
                    throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_NOT_FOUND_AGAIN,
                                          MelnarException::NO_CAUSES, "A shard has the term of resource ",
                                          entry.m_resourceID, " a second time, under ID ", resourceID, ".");
        });
    }
    // With less memory a dictionary still works, but has another layout: for example, it stores whole a text that terms
    // could share.
    if (memory.getNumberOfRefusals() != 0)
        throw MelnarException(FailureKind::SYSTEM, SOURCE_FILE, LINE_NO_MEMORY_FOR_COPY, MelnarException::NO_CAUSES,
                              "The system has no memory for a second copy of a shard, which a save needs.");
    copy->commit();
    return copy;
}

bool exists(const std::string& fileName) {
    std::error_code error;
    return std::filesystem::exists(fileName, error);
}

bool hasSize(const std::string& fileName, const uint64_t numberOfBytes) noexcept {
    struct stat status;
    return ::stat(fileName.c_str(), &status) == 0 && static_cast<uint64_t>(status.st_size) == numberOfBytes;
}

/// Writes a shard's file, which no process reads before a manifest names it. It has a temporary name, and is removed
/// unless it is renamed.
class ShardFile : private Unmovable {
public:
    ShardFile(const std::string& folderName, const uint32_t shard)
        : m_name(folderName + '/' + ShardManifest::getTemporaryFileName(shard)),
          m_hasOldManifest(::stat(getManifestName(folderName).c_str(), &m_oldManifest) == 0) {
        ::unlink(m_name.c_str()); // left by a killed writer
        m_output.emplace(m_name, O_WRONLY | O_EXCL | O_NOFOLLOW,
                         m_hasOldManifest ? m_oldManifest.st_mode & 0777 : 0666);
    }

    ~ShardFile() {
        if (m_output.has_value() && !m_isRenamed)
            ::unlink(m_name.c_str());
    }

    OutputStream& getOutput() noexcept { return *m_output; }

    /// Returns the number of bytes.
    uint64_t complete() {
        m_output->flush();
        if (m_hasOldManifest)
            AtomicFileOutputStream::keepMetadata(*m_output, m_oldManifest);
        struct stat status;
        if (::fstat(m_output->getFileDescriptor(), &status) != 0)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_EXAMINE, MelnarException::NO_CAUSES, "fstat", errno,
                                      "Cannot examine file '", m_name, "'.");
        m_output->synchronize();
        m_output->close();
        return static_cast<uint64_t>(status.st_size);
    }

    void renameTo(const std::string& fileName) {
        if (::rename(m_name.c_str(), fileName.c_str()) != 0)
            throw SystemCallException(SOURCE_FILE, LINE_CANNOT_RENAME, MelnarException::NO_CAUSES, "rename", errno,
                                      "Cannot rename file '", m_name, "' to '", fileName, "'.");
        m_isRenamed = true;
    }

private:
    const std::string m_name;
    struct stat m_oldManifest {}; // whose owner, group and permissions the file gets
    const bool m_hasOldManifest;
    std::optional<FileOutputStream> m_output;
    bool m_isRenamed = false;
};

void copyFile(const std::string& fileName, OutputStream& output) {
    FileInputStream input(fileName);
    std::vector<char> buffer(FileInputStream::BUFFER_SIZE);
    while (const size_t delivered = input.read(buffer.data(), buffer.size()))
        output.write(buffer.data(), delivered);
}

void addNames(const ShardManifest& manifest, std::set<std::string>& names) {
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        if (manifest.m_shards[shard].m_numberOfResources != 0)
            names.insert(manifest.getFileName(shard));
}

/// Performs `action(shard)` for all shards on `numberOfThreads` threads; throws the exception of the first action that
/// failed.
template<class Action>
void forEachShardNumber(const size_t numberOfThreads, const Action& action) {
    std::atomic<uint32_t> nextShard = 0;
    std::mutex mutex;
    std::exception_ptr failure;
    const auto work = [&] {
        try {
            for (;;) {
                const uint32_t shard = nextShard.fetch_add(1, std::memory_order_relaxed);
                if (shard >= ShardLayout::NUMBER_OF_SHARDS)
                    return;
                action(shard);
            }
        } catch (...) {
            nextShard.store(ShardLayout::NUMBER_OF_SHARDS, std::memory_order_relaxed);
            const std::lock_guard guard(mutex);
            if (failure == nullptr)
                failure = std::current_exception();
        }
    };
    std::vector<std::jthread> threads;
    try {
        while (threads.size() + 1 < std::min<size_t>(numberOfThreads, ShardLayout::NUMBER_OF_SHARDS))
            threads.emplace_back(work);
    } catch (const std::exception&) { // It takes longer with fewer threads.
    }
    work();
    threads.clear();
    if (failure != nullptr)
        std::rethrow_exception(failure);
}

} // namespace

ShardedDictionary::ShardedDictionary(const DictionaryOptions& options)
    : ShardedDictionary("",
                        makeManifest(options.m_maximumNumberOfResources == DictionaryOptions::AS_MANY_AS_FIT
                                         ? MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD
                                         : options.m_maximumNumberOfResources),
                        options) {}

ShardedDictionary::ShardedDictionary(std::string folderName, ShardManifest manifest, const DictionaryOptions& options)
    : m_memoryManager(options.m_memoryLimit, options.m_sharedMemory),
      m_maximumNumberOfResourcesOfShard(checkMaximumNumberOfResources(manifest.m_maximumNumberOfResourcesOfShard)),
      m_options([&] {
          DictionaryOptions ofShards = options;
          ofShards.m_memoryLimit = std::min(options.m_memoryLimit, LARGEST_MEMORY_OF_SHARD);
          ofShards.m_maximumNumberOfResources = m_maximumNumberOfResourcesOfShard;
          ofShards.m_sharedMemory = &m_memoryManager;
          return ofShards;
      }()),
      m_noResources({.m_memoryLimit = MEMORY_OF_NO_RESOURCES,
                     .m_maximumNumberOfResources = 0,
                     .m_keepFingerprints = false,
                     .m_canGrow = false}),
      m_folderName(std::move(folderName)), m_manifest(std::move(manifest)) {
    m_history.assign(DictionaryHistory::Contents(m_manifest.m_history));
}

ShardedDictionary::~ShardedDictionary() {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::ALONE);
}

std::unique_ptr<ShardedDictionary> ShardedDictionary::open(const std::string& folderName,
                                                           const DictionaryOptions& options) {
    return open(folderName, readManifest(folderName), options);
}

std::unique_ptr<ShardedDictionary> ShardedDictionary::open(const std::string& folderName, ShardManifest manifest,
                                                           const DictionaryOptions& options) {
    // Shards are opened later; by then the name may lead elsewhere.
    return std::unique_ptr<ShardedDictionary>(
        new ShardedDictionary(TargetFile(getManifestName(folderName)).getFolderName(), std::move(manifest), options));
}

bool ShardedDictionary::isFolder(const std::string& folderName) {
    return exists(getManifestName(folderName));
}

/// Returns null unless the shard is in memory.
Dictionary* ShardedDictionary::findShard(const uint32_t shard) const noexcept {
    return m_slots[shard].m_published.load(std::memory_order_acquire); // U2
}

/// Brings a shard into memory, unless another thread has done so. Threads wait for each other only at the same shard.
template<class Make>
Dictionary& ShardedDictionary::publishShard(const uint32_t shard, const Make& make) const {
    Slot& slot = m_slots[shard];
    const std::lock_guard guard(slot.m_mutex);
    if (slot.m_owned == nullptr) {
        slot.m_owned = make();
        slot.m_published.store(slot.m_owned.get(), std::memory_order_release); // U1
    }
    return *slot.m_owned;
}

/// Returns null if the shard is not in memory and has no file.
Dictionary* ShardedDictionary::findOrOpenShard(const uint32_t shard) const {
    if (Dictionary* const dictionary = findShard(shard))
        return dictionary;
    {
        const std::shared_lock lock(m_savedMutex);
        if (m_manifest.m_shards[shard].m_numberOfResources == 0)
            return nullptr;
    }
    return &publishShard(shard, [&] { return openShard(shard); });
}

Dictionary& ShardedDictionary::getOrMakeShard(const uint32_t shard) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    if (Dictionary* const dictionary = findOrOpenShard(shard))
        return *dictionary;
    return publishShard(
        shard, [&] { return m_memoryManager.withReclaim([&] { return std::make_unique<Dictionary>(m_options); }); });
}

const Dictionary& ShardedDictionary::getShardInMemory(const uint32_t shard) const noexcept {
    const Dictionary* const dictionary = findShard(shard);
    return dictionary == nullptr ? m_noResources : *dictionary;
}

const Dictionary* ShardedDictionary::getShard(const uint32_t shard) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    return findOrOpenShard(shard);
}

/// Returns the shard, or a dictionary without resources if it does not exist.
const Dictionary& ShardedDictionary::getShardOrNone(const uint32_t shard) const {
    const Dictionary* const dictionary = findOrOpenShard(shard);
    return dictionary == nullptr ? m_noResources : *dictionary;
}

/// Reads a shard's file, or the file with which a writer has replaced it since the manifest was read.
std::unique_ptr<Dictionary> ShardedDictionary::openShard(const uint32_t shard) const {
    std::shared_lock lock(m_savedMutex);
    const std::string folderName = m_folderName;
    const std::optional<DictionaryIdentity> openedState = m_manifest.getIdentityOfWholeState();
    ShardManifest::Shard expected = m_manifest.m_shards[shard];
    lock.unlock();
    for (;;)
        try {
            return openFile(folderName, shard, expected);
        } catch (const SystemCallException& exception) {
            if (exception.getErrorCode() != ENOENT)
                throw;
            const ShardManifest manifest = readManifest(folderName);
            if (manifest.m_shards[shard] == expected)
                throw; // No writer has replaced it.
            if (std::ranges::none_of(manifest.m_history.m_entries, [&](const DictionaryHistory::Entry& entry) {
                    return entry.m_identity == openedState;
                }))
                throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_OTHER_FOLDER,
                                      {std::current_exception()}, "Folder '", folderName,
                                      "' no longer contains the dictionary that was opened.");
            expected = manifest.m_shards[shard];
        }
}

std::unique_ptr<Dictionary> ShardedDictionary::openFile(const std::string& folderName, const uint32_t shard,
                                                        const ShardManifest::Shard& expected) const {
    const std::string fileName = folderName + '/' + ShardManifest::getFileName(shard, expected.m_identity);
    std::unique_ptr<Dictionary> dictionary =
        m_memoryManager.withReclaim([&] { return Dictionary::open(fileName, m_options); });
    if (dictionary->getHistory().getIdentity() != expected.m_identity ||
        dictionary->getMaximumNumberOfResources() != m_maximumNumberOfResourcesOfShard ||
        dictionary->getNextResourceID() != expected.m_numberOfResources + 1 ||
        dictionary->getCommitPoint().m_resourceID != dictionary->getNextResourceID())
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_OTHER_SHARD, MelnarException::NO_CAUSES,
                              "File '", fileName, "' is not the one that the manifest of its folder names.");
    return dictionary;
}

void ShardedDictionary::forEachShard(
    const std::function<void(uint32_t shard, const Dictionary& dictionary)>& visitor) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        if (getNumberOfResources(shard) == 0)
            continue;
        if (const Dictionary* const dictionary = findShard(shard))
            visitor(shard, *dictionary);
        else
            visitor(shard, *openShard(shard));
    }
}

void ShardedDictionary::resolveResources(ShardedDictionaryThread& thread, const std::span<BatchEntry> entries,
                                         std::vector<BatchFailure>& failures) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::RESOLVE);
    RunningOperations::requireApart(entries);
    answerTerms(thread.m_batch, entries, failures,
                [&](const uint32_t shard, const std::span<BatchEntry> part, std::vector<BatchFailure>& ofPart) {
                    getOrMakeShard(shard).resolveResources(thread.getThread(shard), part, ofPart);
                });
}

void ShardedDictionary::tryResolveResources(const std::span<BatchEntry> entries,
                                            std::vector<BatchFailure>& failures) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    RunningOperations::requireApart(entries);
    ShardedBatch batch;
    answerTerms(batch, entries, failures,
                [&](const uint32_t shard, const std::span<BatchEntry> part, std::vector<BatchFailure>& ofPart) {
                    getShardOrNone(shard).tryResolveResources(DictionaryCommitPoint::ALL, part, ofPart);
                });
}

void ShardedDictionary::getResources(const std::span<BatchEntry> entries) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    ShardedBatch batch;
    for (size_t begin = 0; begin < entries.size(); begin += BLOCK_SIZE) {
        const std::span<BatchEntry> block = entries.subspan(begin, std::min(BLOCK_SIZE, entries.size() - begin));
        batch.assignIDs(block);
        for (BatchEntry& entry : block) // ID 0 is in no part.
            entry = {{}, entry.m_resourceID, D_INVALID};
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
            if (const std::span<BatchEntry> part = batch.getPart(shard); !part.empty()) {
                getShardOrNone(shard).getResources(part);
                batch.copyAnswers(shard, block);
            }
    }
}

std::string_view ShardedDictionary::getAffix(const BatchEntry& entry) const noexcept {
    return entry.m_affixNumber == 0 ? std::string_view()
                                    : findShard(ShardLayout::getShard(entry.m_resourceID))->getAffix(entry);
}

void ShardedDictionary::appendLexicalForm(const BatchEntry& entry, std::string& output) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    if (entry.m_affixNumber == 0)
        output += entry.m_lexicalForm;
    else
        findShard(ShardLayout::getShard(entry.m_resourceID))->appendLexicalForm(entry, output);
}

uint64_t ShardedDictionary::resolveTerm(ShardedDictionaryThread& thread, const Term& term) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::RESOLVE);
    std::string made;
    const std::string_view form = term.getLexicalForm(made);
    const uint8_t datatypeID = term.getDatatypeID();
    const uint32_t shard = ShardLayout::getShard(form, datatypeID);
    return ShardLayout::toGlobal(getOrMakeShard(shard).resolveResource(thread.getThread(shard), form, datatypeID),
                                 shard);
}

uint64_t ShardedDictionary::tryResolveTerm(const Term& term) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    std::string made;
    const std::string_view form = term.getLexicalForm(made);
    const uint8_t datatypeID = term.getDatatypeID();
    const uint32_t shard = ShardLayout::getShard(form, datatypeID);
    return ShardLayout::toGlobal(getShardOrNone(shard).tryResolveResource(DictionaryCommitPoint::ALL, form, datatypeID),
                                 shard);
}

bool ShardedDictionary::hasResource(const uint64_t resourceID) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    return resourceID != ShardLayout::NO_RESOURCE &&
           getShardOrNone(ShardLayout::getShard(resourceID)).hasResource(ShardLayout::toLocal(resourceID));
}

Term ShardedDictionary::getTerm(const uint64_t resourceID, std::string& lexicalForm) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    if (!hasResource(resourceID))
        throw MelnarException(FailureKind::NO_SUCH_RESOURCE, SOURCE_FILE, LINE_UNKNOWN_RESOURCE,
                              MelnarException::NO_CAUSES, "There is no resource with ID ", resourceID, ".");
    return getShardOrNone(ShardLayout::getShard(resourceID)).getTerm(ShardLayout::toLocal(resourceID), lexicalForm);
}

const ShardManifest& ShardedDictionary::getManifest() const {
    const RunningOperations::Operation operation(m_manifestOperations, RunningOperations::Kind::READ);
    return m_manifest;
}

void ShardedDictionary::setInputs(std::vector<ShardManifest::Input> inputs, const uint64_t nextDocument) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::COMMIT);
    const RunningOperations::Operation replacement(m_manifestOperations, RunningOperations::Kind::ALONE);
    const std::lock_guard guard(m_savedMutex);
    m_manifest.m_inputs = std::move(inputs);
    m_manifest.m_nextDocument = nextDocument;
}

/// Returns the number of resources in memory, or in the file if the shard is not in memory.
uint64_t ShardedDictionary::getNumberOfResources(const uint32_t shard) const noexcept {
    if (const Dictionary* const dictionary = findShard(shard))
        return dictionary->getNextResourceID() - 1;
    const std::shared_lock lock(m_savedMutex);
    return m_manifest.m_shards[shard].m_numberOfResources;
}

uint64_t ShardedDictionary::getNumberOfResources() const noexcept {
    uint64_t sum = 0;
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        sum += getNumberOfResources(shard);
    return sum;
}

uint64_t ShardedDictionary::getEndOfResourceIDs() const noexcept {
    uint64_t lastID = 0;
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        lastID = std::max(lastID, ShardLayout::toGlobal(getNumberOfResources(shard), shard));
    return lastID + 1;
}

/// Makes a shard's file, unless it exists.
ShardManifest::Shard ShardedDictionary::saveShard(const uint32_t shard, const std::string& folderName) const {
    const auto getPath = [shard](const std::string& folder, const ShardManifest::Shard& ofShard) {
        return folder + '/' + ShardManifest::getFileName(shard, ofShard.m_identity);
    };
    const Dictionary* const dictionary = findShard(shard);
    std::optional<RunningOperations::Operation> operation;
    if (dictionary != nullptr)
        operation.emplace(dictionary->m_operations, RunningOperations::Kind::SAVE);
    ShardManifest::Shard saved = m_manifest.m_shards[shard];
    const uint64_t numberOfResources = getNumberOfResources(shard);
    if (numberOfResources == 0 ||
        (numberOfResources == saved.m_numberOfResources && hasSize(getPath(folderName, saved), saved.m_fileBytes)))
        return saved;
    ShardFile file(folderName, shard);
    if (dictionary != nullptr) {
        saved = ShardManifest::Shard();
        saved.m_numberOfResources = numberOfResources;
        MemoryManager memory(LARGEST_MEMORY_OF_SHARD);
        const std::unique_ptr<Dictionary> copy = makeCanonicalCopy(*dictionary, memory, saved.m_terms);
        DictionaryFile::write(*copy, file.getOutput());
        saved.m_fileBytes = file.complete();
        saved.m_identity = copy->getHistory().getIdentity().value();
    } else {
        const std::string oldName = getPath(m_folderName, saved);
        copyFile(oldName, file.getOutput());
        if (file.complete() != saved.m_fileBytes)
            throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_OTHER_SIZE, MelnarException::NO_CAUSES,
                                  "File '", oldName, "' does not have the ", saved.m_fileBytes,
                                  " bytes that the manifest of its folder states.");
    }
    file.renameTo(getPath(folderName, saved));
    return saved;
}

void ShardedDictionary::removeRemains(const std::string& folderName,
                                      const std::initializer_list<const ShardManifest*> manifests) noexcept {
    try {
        std::set<std::string> names;
        for (const ShardManifest* const manifest : manifests)
            addNames(*manifest, names);
        try {
            addNames(readManifest(folderName), names);
        } catch (const SystemCallException& exception) {
            if (exception.getErrorCode() != ENOENT) // It is unknown which files an unreadable manifest names.
                throw;
        }
        const FolderNames folder(folderName);
        while (const char* const name = folder.readName())
            if (struct stat status; ShardManifest::isNameOfShard(name) && names.count(name) == 0 &&
                                    ::lstat((folderName + '/' + name).c_str(), &status) == 0 && S_ISREG(status.st_mode))
                ::unlink((folderName + '/' + name).c_str());
    } catch (...) {
    }
}

/// Also keeps the files that were opened or saved last, if they are in this folder.
void ShardedDictionary::removeRemains(const std::string& folderName) const noexcept {
    if (folderName == m_folderName)
        removeRemains(folderName, {&m_manifest});
    else
        removeRemains(folderName, {});
}

ShardManifest ShardedDictionary::saveShards(const std::string& folderName, const State state,
                                            const size_t numberOfThreads) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::COMMIT);
    return writeShards(folderName, state, numberOfThreads);
}

ShardManifest ShardedDictionary::writeShards(const std::string& folderName, const State state,
                                             const size_t numberOfThreads) const {
    ShardManifest manifest = m_manifest;
    manifest.m_work.clear(); // is written by the caller
    forEachShardNumber(numberOfThreads,
                       [&](const uint32_t shard) { manifest.m_shards[shard] = saveShard(shard, folderName); });
    AtomicFileOutputStream::synchronizeFolder(folderName);
    if (state == State::WHOLE)
        addState(manifest);
    return manifest;
}

void ShardedDictionary::addState(ShardManifest& manifest) {
    ChecksumChain checksum;
    for (const ShardManifest::Shard& shard : manifest.m_shards)
        for (const uint64_t half : shard.m_identity.m_checksum)
            checksum.add(half);
    DictionaryHistory extended;
    extended.assign(std::move(manifest.m_history));
    manifest.m_history = extended.add(manifest.getNumberOfResources() + 1, checksum.getValue());
}

void ShardedDictionary::noteSaved(const std::string& folderName, ShardManifest manifest) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::COMMIT);
    const RunningOperations::Operation replacement(m_manifestOperations, RunningOperations::Kind::ALONE);
    adoptSaved(folderName, std::move(manifest));
}

void ShardedDictionary::adoptSaved(const std::string& folderName, ShardManifest manifest) {
    DictionaryHistory::Contents history = manifest.m_history;
    adopt(TargetFile(getManifestName(folderName)).getFolderName(), std::move(manifest), std::move(history));
}

/// Sets what the dictionary knows of its folder from now on. `history` is that of the manifest.
void ShardedDictionary::adopt(std::string folderName, ShardManifest manifest,
                              DictionaryHistory::Contents history) noexcept {
    const std::lock_guard guard(m_savedMutex);
    m_history.assign(std::move(history));
    m_manifest = std::move(manifest);
    m_folderName.swap(folderName);
}

void ShardedDictionary::save(FileLock& lock, const State state, const size_t numberOfThreads) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::COMMIT);
    const RunningOperations::Operation replacement(m_manifestOperations, RunningOperations::Kind::ALONE);
    const TargetFile& target = lock.getTarget();
    std::string folderName = target.getFolderName();
    if (std::filesystem::path(target.getName()).filename() != ShardManifest::FILE_NAME)
        throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_FOREIGN_LOCK, MelnarException::NO_CAUSES,
                              "The lock is that of '", lock.getFileName(), "', not of a manifest.");
    AtomicFileOutputStream output(lock); // keeps other threads from saving under this lock
    // If flushing failed when it was saved, the manifest may not be on the disk yet, and the files of the one before
    // must stay until it is.
    AtomicFileOutputStream::synchronizeFolder(folderName);
    removeRemains(folderName);
    ShardManifest manifest;
    DictionaryHistory::Contents history;
    try {
        manifest = writeShards(folderName, state, numberOfThreads);
        history = manifest.m_history;
        manifest.write(output);
        output.prepare();
    } catch (...) {
        removeRemains(folderName);
        throw;
    }
    output.commit();
    adopt(std::move(folderName), std::move(manifest), std::move(history));
    removeRemains(m_folderName);
}

/// No thread uses the shard, so no order is needed.
void ShardedDictionary::releaseShard(const uint32_t shard) noexcept {
    m_slots[shard].m_published.store(nullptr, std::memory_order_relaxed);
    m_slots[shard].m_owned.reset();
}

void ShardedDictionary::saveAndRelease(const std::string& folderName, const size_t numberOfThreads) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::ALONE);
    const RunningOperations::Operation replacement(m_manifestOperations, RunningOperations::Kind::ALONE);
    ShardManifest manifest = m_manifest;
    forEachShardNumber(numberOfThreads, [&](const uint32_t shard) {
        manifest.m_shards[shard] = saveShard(shard, folderName);
        releaseShard(shard);
    });
    adoptSaved(folderName, std::move(manifest));
}

/// Several threads may save shards, as if they created resources.
void ShardedDictionary::saveAndRelease(const uint32_t shard) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::RESOLVE);
    ShardManifest::Shard saved = saveShard(shard, m_folderName);
    {
        const std::lock_guard guard(m_savedMutex);
        m_manifest.m_shards[shard] = std::move(saved);
    }
    releaseShard(shard);
}

void ShardedDictionary::verify() const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::SAVE);
    forEachShard([this](const uint32_t shard, const Dictionary& dictionary) { verifyShard(shard, dictionary); });
}

void ShardedDictionary::verifyShard(const uint32_t shard, const Dictionary& dictionary) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::SAVE);
    try {
        dictionary.verify();
        std::map<uint8_t, ShardManifest::Terms> termsByDatatype;
        forEachGroup(dictionary, [&](const std::span<BatchEntry> entries) {
            for (const BatchEntry& entry : entries)
                if (ShardLayout::getShard(entry.m_lexicalForm, entry.m_datatypeID) != shard)
                    throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_TERM_IN_OTHER_SHARD,
                                          MelnarException::NO_CAUSES, "Resource ", entry.m_resourceID,
                                          " belongs to another shard.");
            countTerms(entries, termsByDatatype);
        });
        const std::shared_lock lock(m_savedMutex);
        const ShardManifest::Shard& saved = m_manifest.m_shards[shard];
        if (saved.m_numberOfResources == dictionary.getNextResourceID() - 1 && saved.m_terms != termsByDatatype)
            throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_OTHER_TERMS, MelnarException::NO_CAUSES,
                                  "Its numbers of terms, or their lengths, differ from those in the manifest.");
    } catch (const MelnarException& exception) {
        if (exception.getKind() == FailureKind::MISUSE)
            throw;
        throw MelnarException(FailureKind::DAMAGED_FILE, SOURCE_FILE, LINE_DAMAGED_SHARD, {std::current_exception()},
                              "Shard ", shard, m_folderName.empty() ? "" : " of folder '" + m_folderName + "'",
                              " is damaged: ", exception.getMessage());
    }
}
