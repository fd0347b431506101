#include "tools/melnar-dict/load/LoadCheckpoint.h"

#include "Engine/core/platform/stream/AtomicFileOutputStream.h"
#include "Engine/core/platform/stream/FileInputStream.h"

#include <exception>
#include <filesystem>
#include <system_error>
#include <utility>

namespace {

std::string getFileName(const std::string& folderName) {
    return folderName + '/' + ShardSpill::WORK_PREFIX + ShardManifest::FILE_NAME;
}

} // namespace

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
        const std::optional<Unfinished> unfinished = read(folderName);
        if (unfinished)
            ShardedDictionary::removeRemains(folderName, {&unfinished->m_manifest});
        else
            ShardedDictionary::removeRemains(folderName, {});
    } catch (const std::exception&) { // Who reads the folder next tells what is wrong with it.
    }
}

LoadCheckpoint::LoadCheckpoint(std::string folderName, const CheckpointOptions& options, const size_t numberOfThreads,
                               ShardedDictionary& dictionary, ShardSpill& spill)
    : m_folderName(std::move(folderName)), m_options(options), m_numberOfThreads(numberOfThreads),
      m_dictionary(dictionary), m_spill(spill), m_last(std::chrono::steady_clock::now()) {}

bool LoadCheckpoint::isDue() {
    if (m_options.m_blocks != 0)
        return ++m_numberOfBlocks > m_options.m_blocks;
    return m_options.m_interval.count() != 0 && std::chrono::steady_clock::now() - m_last >= m_options.m_interval;
}

void LoadCheckpoint::save(LoadWork& work) {
    m_spill.synchronize(work);
    ShardManifest manifest =
        m_dictionary.saveShards(m_folderName, ShardedDictionary::State::INTERMEDIATE, m_numberOfThreads);
    m_dictionary.noteSaved(m_folderName, manifest);
    write(work, manifest);
    ShardedDictionary::removeRemains(m_folderName, {&manifest});
}

void LoadCheckpoint::startResolving(const LoadWork& work) {
    m_work = work;
    m_spill.synchronize(m_work);
    m_manifest = m_dictionary.getManifest();
    write(m_work, m_manifest);
    ShardedDictionary::removeRemains(m_folderName, {&m_manifest});
}

void LoadCheckpoint::noteResolved(const uint32_t shard) {
    LoadWork::Shard ofShard = m_work.m_shards[shard];
    m_spill.synchronizeIDs(shard, ofShard);
    const std::lock_guard guard(m_mutex);
    m_work.m_shards[shard] = ofShard;
    m_manifest.m_shards[shard] = m_dictionary.getManifest().m_shards[shard];
    if (isDue())
        write(m_work, m_manifest);
}

void LoadCheckpoint::write(const LoadWork& work, ShardManifest& manifest) {
    manifest.m_work = work.toBytes();
    AtomicFileOutputStream::synchronizeFolder(m_folderName); // The files have names that nothing takes back.
    AtomicFileOutputStream output(getFileName(m_folderName));
    manifest.write(output);
    output.commit();
    manifest.m_work.clear();
    m_spill.keep();
    m_last = std::chrono::steady_clock::now();
    m_numberOfBlocks = 0;
}

void LoadCheckpoint::remove() {
    ShardSpill::removeFrom(m_folderName);
}
