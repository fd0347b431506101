#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/data-store/sharded/ShardedBatch.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/SystemCallException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/stream/FileOutputStream.h"
#include "Engine/core/platform/system/ThreadContextRegistration.h"

#include <algorithm>
#include <cerrno>
#include <exception>
#include <filesystem>
#include <map>
#include <system_error>
#include <thread>
#include <utility>

#include <sys/stat.h>

namespace {

constexpr const char* const SOURCE_FILE = "Engine/core/data-store/sharded/ShardedDictionary";
constexpr long LINE_OTHER_SHARD = 36;
constexpr long LINE_NOT_DENSE = 70;
constexpr long LINE_CANNOT_RENAME = 118;
constexpr long LINE_CANNOT_EXAMINE = 127;
constexpr long LINE_TERM_IN_OTHER_SHARD = 244;
constexpr long LINE_UNKNOWN_RESOURCE = 261;
constexpr long LINE_FOREIGN_LOCK = 283;
constexpr long LINE_DAMAGED_SHARD = 310;

constexpr uint64_t RESOURCES_OF_A_GROUP = 1024; // enough for a dictionary to work at full speed

std::string getManifestName(const std::string& folderName) {
    return folderName + '/' + ShardManifest::FILE_NAME;
}

ShardManifest readManifest(const std::string& folderName) {
    FileInputStream input(getManifestName(folderName));
    return ShardManifest::read(input);
}

/// Calls `visit(entries)` with groups of a dictionary's resources, in ascending order of their IDs, of which none is
/// missing. Entries have whole lexical forms until the next call.
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
                throw MelnarException(SOURCE_FILE, LINE_NOT_DENSE, MelnarException::NO_CAUSES,
                                      "A shard has no resource with ID ", entry.m_resourceID, ".");
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

/// A dictionary with the same terms under the same IDs, laid out as if one thread had created them one after the other. All
/// copies of one shard are the same, byte for byte, whichever threads made the shard, and how often it was saved. Counts the
/// terms.
std::unique_ptr<Dictionary> makeCanonicalCopy(const Dictionary& source,
                                              std::map<uint8_t, ShardManifest::Terms>& termsByDatatype) {
    DictionaryOptions options;
    options.m_largestNumberOfCollisions = DictionaryOptions::NO_COLLISION_LIMIT; // the source has them
    auto copy = std::make_unique<Dictionary>(ShardedDictionary::LARGEST_MEMORY_OF_SHARD,
                                             source.getMaximumNumberOfResources(), options);
    {
        const ThreadContextLoan loan; // whose index shows in the file
        DictionaryThread thread(*copy);
        std::vector<BatchFailure> failures;
        forEachGroup(source, [&](const std::span<BatchEntry> entries) {
            copy->resolveResources(thread, entries, failures);
            if (!failures.empty())
                failures.front().throwException();
            for (const BatchEntry& entry : entries) {
                ShardManifest::Terms& terms = termsByDatatype[entry.m_datatypeID];
                ++terms.m_number;
                terms.m_formBytes += entry.m_lexicalForm.size();
            }
        });
    }
    copy->commit();
    return copy;
}

void rename(const std::string& from, const std::string& to) {
    std::error_code error;
    std::filesystem::rename(from, to, error);
    if (error)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_RENAME, MelnarException::NO_CAUSES, "rename", error.value(),
                                  "Cannot rename file '", from, "' to '", to, "'.");
}

uint64_t getSize(const std::string& fileName) {
    struct stat status;
    if (::stat(fileName.c_str(), &status) != 0)
        throw SystemCallException(SOURCE_FILE, LINE_CANNOT_EXAMINE, MelnarException::NO_CAUSES, "stat", errno,
                                  "Cannot examine file '", fileName, "'.");
    return static_cast<uint64_t>(status.st_size);
}

bool exists(const std::string& fileName) {
    std::error_code error;
    return std::filesystem::exists(fileName, error);
}

/// Writes a file that nobody reads before a manifest names it.
template<class Write>
void writeFile(const std::string& temporaryName, const Write& write) {
    FileOutputStream output(temporaryName, O_WRONLY | O_CREAT | O_TRUNC);
    write(output);
    output.synchronize();
    output.close();
}

/// Performs `action(shard)` for all shards on so many threads; throws what the first of them that failed threw.
template<class Action>
void forEachShardNumber(const size_t numberOfThreads, const Action& action) {
    std::atomic<uint32_t> nextShard = 0;
    std::mutex mutex;
    std::exception_ptr failure;
    const auto work = [&] {
        try {
            for (uint32_t shard = nextShard++; shard < ShardLayout::NUMBER_OF_SHARDS; shard = nextShard++)
                action(shard);
        } catch (...) {
            nextShard = ShardLayout::NUMBER_OF_SHARDS;
            const std::lock_guard guard(mutex);
            if (failure == nullptr)
                failure = std::current_exception();
        }
    };
    {
        std::vector<std::jthread> threads;
        try {
            while (threads.size() + 1 < numberOfThreads)
                threads.emplace_back(work);
        } catch (const std::system_error&) { // With fewer threads it takes longer.
        }
        work();
    }
    if (failure != nullptr)
        std::rethrow_exception(failure);
}

} // namespace

ShardedDictionary::ShardedDictionary(const size_t memoryLimit, const uint64_t maximumNumberOfResourcesOfShard)
    : ShardedDictionary(memoryLimit, maximumNumberOfResourcesOfShard, "", {}, {}) {}

ShardedDictionary::ShardedDictionary(const size_t memoryLimit, const uint64_t maximumNumberOfResourcesOfShard,
                                     std::string folderName, ShardManifest manifest, const DictionaryOptions& options)
    : m_memoryManager(memoryLimit, options.m_sharedMemory),
      m_maximumNumberOfResourcesOfShard(maximumNumberOfResourcesOfShard), m_options([&] {
          DictionaryOptions ofShards = options;
          ofShards.m_sharedMemory = &m_memoryManager;
          return ofShards;
      }()),
      m_folderName(std::move(folderName)), m_manifest(std::move(manifest)) {
    m_history.assign(DictionaryHistory::Contents(m_manifest.m_history));
}

ShardedDictionary::~ShardedDictionary() = default;

std::unique_ptr<ShardedDictionary> ShardedDictionary::open(const std::string& folderName, const size_t memoryLimit,
                                                           const DictionaryOptions& options) {
    return open(folderName, readManifest(folderName), memoryLimit, options);
}

std::unique_ptr<ShardedDictionary> ShardedDictionary::open(const std::string& folderName, ShardManifest manifest,
                                                           const size_t memoryLimit, const DictionaryOptions& options) {
    return std::unique_ptr<ShardedDictionary>(new ShardedDictionary(memoryLimit, MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD,
                                                                    folderName, std::move(manifest), options));
}

bool ShardedDictionary::isFolder(const std::string& folderName) {
    return exists(getManifestName(folderName));
}

/// Reads a shard's file. If a writer has replaced it since the manifest was read, the new one has all that the old one had.
std::unique_ptr<Dictionary> ShardedDictionary::openShard(const uint32_t shard) const {
    ShardManifest::Shard expected = m_manifest.m_shards[shard];
    std::string fileName = m_folderName + '/' + m_manifest.getFileName(shard);
    if (!exists(fileName)) {
        const ShardManifest newer = readManifest(m_folderName);
        const auto isOurs = [&](const DictionaryHistory::Entry& entry) {
            return entry.m_identity == m_history.getIdentity();
        };
        if (std::ranges::any_of(newer.m_history.m_entries, isOurs)) {
            expected = newer.m_shards[shard];
            fileName = m_folderName + '/' + newer.getFileName(shard);
        }
    }
    std::unique_ptr<Dictionary> dictionary =
        Dictionary::open(fileName, std::min(m_memoryManager.getReservedBytes(), LARGEST_MEMORY_OF_SHARD), m_options);
    if (dictionary->getHistory().getIdentity() != expected.m_identity ||
        dictionary->getNextResourceID() != expected.m_numberOfResources + 1 ||
        dictionary->getCommitPoint().m_resourceID != dictionary->getNextResourceID())
        throw MelnarException(SOURCE_FILE, LINE_OTHER_SHARD, MelnarException::NO_CAUSES, "File '", fileName,
                              "' is not the one that the manifest of its folder names.");
    return dictionary;
}

const Dictionary* ShardedDictionary::getShard(const uint32_t shard) const {
    if (const Dictionary* const dictionary = m_shards[shard].load(std::memory_order_acquire)) // U2
        return dictionary;
    if (m_manifest.m_shards[shard].m_numberOfResources == 0)
        return nullptr;
    const std::lock_guard guard(m_mutex);
    if (m_ownedShards[shard] == nullptr) {
        m_ownedShards[shard] = openShard(shard);
        m_shards[shard].store(m_ownedShards[shard].get(), std::memory_order_release); // U1
    }
    return m_ownedShards[shard].get();
}

Dictionary& ShardedDictionary::getOrMakeShard(const uint32_t shard) {
    if (getShard(shard) == nullptr) {
        const std::lock_guard guard(m_mutex);
        if (m_ownedShards[shard] == nullptr) {
            m_ownedShards[shard] =
                std::make_unique<Dictionary>(std::min(m_memoryManager.getReservedBytes(), LARGEST_MEMORY_OF_SHARD),
                                             m_maximumNumberOfResourcesOfShard, m_options);
            m_shards[shard].store(m_ownedShards[shard].get(), std::memory_order_release); // U1
        }
    }
    return *m_shards[shard].load(std::memory_order_acquire); // U2
}

void ShardedDictionary::forEachShard(
    const std::function<void(uint32_t shard, const Dictionary& dictionary)>& visitor) const {
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        if (getNumberOfResources(shard) == 0)
            continue;
        if (const Dictionary* const dictionary = m_shards[shard].load(std::memory_order_acquire)) // U2
            visitor(shard, *dictionary);
        else
            visitor(shard, *openShard(shard));
    }
}

void ShardedDictionary::resolveResources(ShardedDictionaryThread& thread, const std::span<BatchEntry> entries,
                                         std::vector<BatchFailure>& failures) {
    const size_t firstFailure = failures.size();
    std::vector<BatchFailure> ofPart;
    ShardedBatch& batch = thread.m_batch;
    batch.assignTerms(entries);
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        const std::span<BatchEntry> part = batch.getPart(shard);
        if (part.empty())
            continue;
        ofPart.clear();
        getOrMakeShard(shard).resolveResources(thread.getThread(shard), part, ofPart);
        batch.copyAnswers(shard, entries);
        batch.appendFailures(shard, ofPart, failures);
    }
    std::ranges::sort(std::span(failures).subspan(firstFailure), {}, &BatchFailure::m_entryIndex);
}

void ShardedDictionary::tryResolveResources(const std::span<BatchEntry> entries,
                                            std::vector<BatchFailure>& failures) const {
    const size_t firstFailure = failures.size();
    std::vector<BatchFailure> ofPart;
    ShardedBatch batch;
    batch.assignTerms(entries);
    static const Dictionary s_empty(size_t(1) << 20, 0, {.m_canGrow = false});
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        const std::span<BatchEntry> part = batch.getPart(shard);
        if (part.empty())
            continue;
        const Dictionary* const dictionary = getShard(shard);
        ofPart.clear();
        (dictionary == nullptr ? s_empty : *dictionary).tryResolveResources(BEHIND_ALL_RESOURCES, part, ofPart);
        batch.copyAnswers(shard, entries);
        batch.appendFailures(shard, ofPart, failures);
    }
    std::ranges::sort(std::span(failures).subspan(firstFailure), {}, &BatchFailure::m_entryIndex);
}

void ShardedDictionary::getResources(const std::span<BatchEntry> entries) const {
    for (BatchEntry& entry : entries) {
        entry.m_datatypeID = D_INVALID;
        entry.m_lexicalForm = {};
        entry.m_affixNumber = 0;
    }
    ShardedBatch batch;
    batch.assignIDs(entries);
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        const std::span<BatchEntry> part = batch.getPart(shard);
        if (part.empty())
            continue;
        if (const Dictionary* const dictionary = getShard(shard)) {
            dictionary->getResources(part);
            batch.copyAnswers(shard, entries);
        }
    }
}

std::string_view ShardedDictionary::getAffix(const BatchEntry& entry) const noexcept {
    if (entry.m_affixNumber == 0)
        return {};
    return m_shards[ShardLayout::getShard(entry.m_resourceID)].load(std::memory_order_acquire)->getAffix(entry); // U2
}

void ShardedDictionary::appendLexicalForm(const BatchEntry& entry, std::string& output) const {
    if (entry.m_affixNumber == 0)
        output += entry.m_lexicalForm;
    else
        m_shards[ShardLayout::getShard(entry.m_resourceID)]
            .load(std::memory_order_acquire) // U2
            ->appendLexicalForm(entry, output);
}

uint64_t ShardedDictionary::resolveTerm(ShardedDictionaryThread& thread, const Term& term) {
    std::string form;
    term.appendLexicalForm(form);
    const uint32_t shard = ShardLayout::getShard(form, term.getDatatypeID());
    return ShardLayout::toGlobal(
        getOrMakeShard(shard).resolveResource(thread.getThread(shard), form, term.getDatatypeID()), shard);
}

uint64_t ShardedDictionary::tryResolveTerm(const Term& term) const {
    std::string form;
    term.appendLexicalForm(form);
    BatchEntry entry{form, 0, term.getDatatypeID()};
    std::vector<BatchFailure> failures;
    tryResolveResources({&entry, 1}, failures);
    if (!failures.empty())
        failures.front().throwException();
    return entry.m_resourceID;
}

bool ShardedDictionary::hasResource(const uint64_t resourceID) const {
    if (resourceID == ShardLayout::NO_RESOURCE)
        return false;
    const Dictionary* const dictionary = getShard(ShardLayout::getShard(resourceID));
    return dictionary != nullptr && dictionary->hasResource(ShardLayout::toLocal(resourceID));
}

Term ShardedDictionary::getTerm(const uint64_t resourceID, std::string& lexicalForm) const {
    if (!hasResource(resourceID))
        throw MelnarException(SOURCE_FILE, LINE_UNKNOWN_RESOURCE, MelnarException::NO_CAUSES,
                              "There is no resource with ID ", resourceID, ".");
    return getShard(ShardLayout::getShard(resourceID))->getTerm(ShardLayout::toLocal(resourceID), lexicalForm);
}

/// Of a shard that is in memory, those it has; of another one, those in its file.
uint64_t ShardedDictionary::getNumberOfResources(const uint32_t shard) const noexcept {
    const Dictionary* const dictionary = m_shards[shard].load(std::memory_order_acquire); // U2
    return dictionary == nullptr ? m_manifest.m_shards[shard].m_numberOfResources : dictionary->getNextResourceID() - 1;
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

/// Makes a shard's file, unless it is there. A shard only grows, so that its number of resources tells whether it has.
ShardManifest::Shard ShardedDictionary::saveShard(const uint32_t shard, const std::string& folderName) const {
    const uint64_t numberOfResources = getNumberOfResources(shard);
    if (numberOfResources == 0)
        return {};
    ShardManifest manifest; // of this shard alone
    ShardManifest::Shard& saved = manifest.m_shards[shard];
    saved = m_manifest.m_shards[shard];
    const auto getPath = [&] { return folderName + '/' + manifest.getFileName(shard); };
    const std::string temporaryName = folderName + "/shard-" + std::to_string(shard) + ".saving";
    if (numberOfResources == saved.m_numberOfResources) {
        if (exists(getPath()))
            return saved;
        FileInputStream input(m_folderName + '/' + m_manifest.getFileName(shard));
        writeFile(temporaryName, [&](OutputStream& output) {
            std::vector<char> buffer(FileInputStream::BUFFER_SIZE);
            while (const size_t delivered = input.read(buffer.data(), buffer.size()))
                output.write(buffer.data(), delivered);
        });
    } else {
        saved = ShardManifest::Shard();
        saved.m_numberOfResources = numberOfResources;
        const std::unique_ptr<Dictionary> copy =
            makeCanonicalCopy(*m_shards[shard].load(std::memory_order_acquire), saved.m_terms); // U2
        writeFile(temporaryName, [&](OutputStream& output) { DictionaryFile::write(*copy, output); });
        saved.m_identity = copy->getHistory().getIdentity().value();
        saved.m_fileBytes = getSize(temporaryName);
    }
    rename(temporaryName, getPath());
    return saved;
}

void ShardedDictionary::saveAndRelease(const std::string& folderName, const size_t numberOfThreads) {
    ShardManifest manifest = m_manifest;
    forEachShardNumber(numberOfThreads, [&](const uint32_t shard) {
        manifest.m_shards[shard] = saveShard(shard, folderName);
        releaseShard(shard);
    });
    m_manifest = std::move(manifest);
    m_folderName = folderName;
}

void ShardedDictionary::saveAndRelease(const uint32_t shard) {
    m_manifest.m_shards[shard] = saveShard(shard, m_folderName);
    releaseShard(shard);
}

void ShardedDictionary::releaseShard(const uint32_t shard) {
    m_shards[shard].store(nullptr, std::memory_order_relaxed);
    m_ownedShards[shard].reset();
}

ShardManifest ShardedDictionary::saveShards(const std::string& folderName, const State state,
                                            const size_t numberOfThreads) {
    ShardManifest manifest = m_manifest;
    forEachShardNumber(numberOfThreads,
                       [&](const uint32_t shard) { manifest.m_shards[shard] = saveShard(shard, folderName); });
    AtomicFileOutputStream::synchronizeFolder(folderName);
    if (state == State::WHOLE) {
        ChecksumChain checksum;
        for (const ShardManifest::Shard& shard : manifest.m_shards)
            for (const uint64_t half : shard.m_identity.m_checksum)
                checksum.add(half);
        manifest.m_history = m_history.add(manifest.getNumberOfResources() + 1, checksum.getValue());
    }
    return manifest;
}

void ShardedDictionary::noteSaved(const std::string& folderName, ShardManifest manifest) {
    m_manifest = std::move(manifest);
    m_folderName = folderName;
}

void ShardedDictionary::removeRemains(const std::string& folderName,
                                      const std::initializer_list<const ShardManifest*> manifests) {
    std::error_code error;
    for (const auto& entry : std::filesystem::directory_iterator(folderName, error)) {
        const std::string fileName = entry.path().filename().string();
        const auto isNamedBy = [&fileName](const ShardManifest* const manifest) { return manifest->names(fileName); };
        if (ShardManifest::isNameOfShard(fileName) && std::ranges::none_of(manifests, isNamedBy))
            std::filesystem::remove(entry.path(), error);
    }
}

void ShardedDictionary::save(FileLock& lock, const State state, const size_t numberOfThreads) {
    const std::string folderName = lock.getTarget().getFolderName();
    if (lock.getTarget().getName() != getManifestName(folderName))
        throw MelnarException(SOURCE_FILE, LINE_FOREIGN_LOCK, MelnarException::NO_CAUSES, "The lock is one of '",
                              lock.getFileName(), "', and not of a manifest.");
    ShardManifest manifest = saveShards(folderName, state, numberOfThreads);
    AtomicFileOutputStream output(lock);
    manifest.write(output);
    output.commit();
    removeRemains(folderName, {&manifest});
    noteSaved(folderName, std::move(manifest));
}

void ShardedDictionary::verify() const {
    forEachShard([this](const uint32_t shard, const Dictionary& dictionary) { verifyShard(shard, dictionary); });
}

void ShardedDictionary::verifyShard(const uint32_t shard, const Dictionary& dictionary) const {
    try {
        dictionary.verify();
        forEachGroup(dictionary, [shard](const std::span<BatchEntry> entries) {
            for (const BatchEntry& entry : entries)
                if (ShardLayout::getShard(entry.m_lexicalForm, entry.m_datatypeID) != shard)
                    throw MelnarException(SOURCE_FILE, LINE_TERM_IN_OTHER_SHARD, MelnarException::NO_CAUSES,
                                          "Resource ", entry.m_resourceID, " belongs to another shard.");
        });
    } catch (const MelnarException& exception) {
        throw MelnarException(SOURCE_FILE, LINE_DAMAGED_SHARD, {std::current_exception()}, "File '", m_folderName, "/",
                              m_manifest.getFileName(shard), "' is damaged: ", exception.getMessage());
    }
}
