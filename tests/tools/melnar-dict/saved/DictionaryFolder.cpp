#include "tests/tools/melnar-dict/saved/DictionaryFolder.h"

#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/stream/FileOutputStream.h"
#include "tools/melnar-dict/saved/WholeEntries.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include <fcntl.h>

using namespace melnar;

namespace DictionaryFolder {

namespace {

constexpr size_t MEMORY_LIMIT = size_t(1) << 30;

std::string getManifestName(const std::string& folderName) {
    return folderName + "/" + ShardManifest::FILE_NAME;
}

} // namespace

void add(const Dictionary& dictionary, const std::string& folderName, const ShardedDictionary::State state) {
    std::filesystem::create_directory(folderName);
    const std::unique_ptr<ShardedDictionary> folder =
        ShardedDictionary::isFolder(folderName)
            ? ShardedDictionary::open(folderName, {.m_memoryLimit = MEMORY_LIMIT})
            : std::make_unique<ShardedDictionary>(DictionaryOptions{.m_memoryLimit = MEMORY_LIMIT});
    {
        ShardedDictionaryThread thread(*folder);
        std::vector<BatchFailure> failures;
        forEachWholeEntry(dictionary, [&](BatchEntry& entry) {
            folder->resolveResources(thread, {&entry, 1}, failures);
        });
        EXPECT_TRUE(failures.empty());
    }
    FileLock lock(getManifestName(folderName));
    folder->save(lock, state);
}

void add(const std::string& fileName, const std::string& folderName, const ShardedDictionary::State state) {
    add(*Dictionary::open(fileName, {.m_memoryLimit = MEMORY_LIMIT}), folderName, state);
}

ShardManifest readManifest(const std::string& folderName) {
    FileInputStream input(getManifestName(folderName));
    return ShardManifest::read(input);
}

void writeManifest(const ShardManifest& manifest, const std::string& folderName) {
    FileOutputStream output(getManifestName(folderName), O_WRONLY | O_TRUNC);
    manifest.write(output);
    output.close();
}

std::string getPathOf(const std::string& folderName, const uint32_t shard) {
    const std::string path = folderName + "/" + readManifest(folderName).getFileName(shard);
    EXPECT_TRUE(std::filesystem::exists(path)) << path;
    return path;
}

void keepOnly(const std::vector<uint32_t>& shards, const std::string& folderName) {
    const ShardManifest manifest = readManifest(folderName);
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        if (std::ranges::find(shards, shard) == shards.end())
            std::filesystem::remove(folderName + "/" + manifest.getFileName(shard));
}

} // namespace DictionaryFolder
