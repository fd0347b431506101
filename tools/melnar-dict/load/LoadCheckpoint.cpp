#include "tools/melnar-dict/load/LoadCheckpoint.h"

#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/stream/TargetFile.h"

#include <exception>
#include <filesystem>
#include <new>
#include <system_error>
#include <utility>

using namespace melnar;

namespace {

std::string getName() {
    return std::string(ShardSpill::WORK_PREFIX) + ShardManifest::FILE_NAME;
}

} // namespace

std::string LoadCheckpoint::getFileName(const std::string& folderName) {
    return folderName + '/' + getName();
}

ShardManifest LoadCheckpoint::readManifestOf(const std::string& folderName) {
    if (!ShardedDictionary::isFolder(folderName))
        return {};
    try {
        FileInputStream input(folderName + '/' + ShardManifest::FILE_NAME);
        return ShardManifest::read(input);
    } catch (const MelnarException&) {
        return {};
    }
}

std::string LoadCheckpoint::describeState(const std::string& folderName) {
    const ShardManifest manifest = readManifestOf(folderName);
    const std::vector<DictionaryHistory::Entry>& states = manifest.m_history.m_entries;
    return states.empty() ? "" : states.back().m_identity.toString() + ' ' + std::to_string(manifest.m_inputs.size());
}

std::optional<LoadCheckpoint::Unfinished> LoadCheckpoint::read(const std::string& folderName) {
    std::error_code error;
    if (!std::filesystem::exists(getFileName(folderName), error))
        return std::nullopt;
    FileInputStream input(getFileName(folderName));
    Unfinished unfinished{ShardManifest::read(input), {}};
    unfinished.m_work = LoadWork::parse(std::exchange(unfinished.m_manifest.m_work, {}));
    return unfinished;
}

void LoadCheckpoint::removeRemains(const std::string& folderName) noexcept {
    try {
        // If a manifest was replaced, the new one may not be on the disk, and the files that the old one names must
        // stay then.
        AtomicFileOutputStream::synchronizeFolder(folderName);
        const std::optional<Unfinished> unfinished = read(folderName);
        if (unfinished)
            ShardedDictionary::removeRemains(folderName, {&unfinished->m_manifest});
        else
            ShardedDictionary::removeRemains(folderName, {});
    } catch (const std::exception&) { // The next reader of the folder reports the error.
    }
}

void LoadCheckpoint::removeAllButUnfinished(const std::string& folderName) noexcept {
    try {
        std::error_code error;
        if (!std::filesystem::exists(getFileName(folderName), error) && !error)
            ShardSpill::removeFrom(folderName);
    } catch (const std::bad_alloc&) { // The next load removes them.
    }
    removeRemains(folderName);
}

void LoadCheckpoint::removeFrom(const std::string& folderName) {
    const TargetFile target(getFileName(folderName));
    std::error_code error;
    for (const std::string& fileName : {target.getName(), AtomicFileOutputStream::getTemporaryFileNameOf(target),
                                        FileLock::getLockFileNameOf(target)})
        if (std::filesystem::remove(fileName, error); error)
            return; // The next load may resume, and needs the spilled files.
    ShardSpill::removeFrom(folderName);
}

bool LoadCheckpoint::isNameOfFile(const std::string& fileName) {
    return fileName == getName() || fileName.starts_with(getName() + '.') || ShardSpill::isNameOfFile(fileName);
}

LoadCheckpoint::LoadCheckpoint(std::string folderName, const CheckpointOptions& options, const size_t numberOfThreads,
                               ShardedDictionary& dictionary, ShardSpill& spill)
    : m_folderName(std::move(folderName)), m_options(options), m_numberOfThreads(numberOfThreads),
      m_dictionary(dictionary), m_spill(spill), m_oldManifest(readManifestOf(m_folderName)),
      m_last(std::chrono::steady_clock::now()) {}

bool LoadCheckpoint::isDue() {
    if (m_options.m_blocks != 0)
        return m_numberOfBlocks++ >= m_options.m_blocks;
    return m_options.m_interval.count() != 0 && std::chrono::steady_clock::now() - m_last >= m_options.m_interval;
}

void LoadCheckpoint::save(LoadWork& work) {
    m_spill.synchronize(work);
    ShardManifest manifest =
        m_dictionary.saveShards(m_folderName, ShardedDictionary::State::INTERMEDIATE, m_numberOfThreads);
    m_dictionary.noteSaved(m_folderName, manifest);
    write(work, manifest);
    ShardedDictionary::removeRemains(m_folderName, {&manifest, &m_oldManifest});
}

void LoadCheckpoint::startResolving(const LoadWork& work) {
    m_work = work;
    m_spill.synchronize(m_work);
    m_manifest = m_dictionary.getManifest();
    write(m_work, m_manifest);
    m_savedManifest = m_manifest;
    ShardedDictionary::removeRemains(m_folderName, {&m_manifest, &m_oldManifest});
}

void LoadCheckpoint::noteResolved(const uint32_t shard) {
    LoadWork::Shard ofShard = m_work.m_shards[shard];
    m_spill.synchronizeIDs(shard, ofShard);
    const std::lock_guard guard(m_mutex);
    m_work.m_shards[shard] = ofShard;
    m_manifest.m_shards[shard] = m_dictionary.getManifest().m_shards[shard];
    if (!isDue())
        return;
    write(m_work, m_manifest);
    removeReplaced();
    m_savedManifest = m_manifest;
}

/// Other threads are creating files of shards, which no manifest names yet.
void LoadCheckpoint::removeReplaced() const {
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard) {
        const std::string fileName = m_savedManifest.getFileName(shard);
        std::error_code error; // A file that cannot be removed does no harm.
        if (fileName != m_manifest.getFileName(shard) && fileName != m_oldManifest.getFileName(shard))
            std::filesystem::remove(m_folderName + '/' + fileName, error);
    }
}

void LoadCheckpoint::write(const std::string& folderName, const LoadWork& work, ShardManifest& manifest) {
    manifest.m_work = work.toBytes();
    AtomicFileOutputStream::synchronizeFolder(folderName); // No later failure removes the names of the files.
    AtomicFileOutputStream output(getFileName(folderName));
    manifest.write(output);
    output.commit();
    manifest.m_work.clear();
}

void LoadCheckpoint::write(const LoadWork& work, ShardManifest& manifest) {
    write(m_folderName, work, manifest);
    m_spill.keep();
    m_last = std::chrono::steady_clock::now();
    m_numberOfBlocks = 1; // the one that starts now
}
