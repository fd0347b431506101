#pragma once

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/sharded/ShardLayout.h"
#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/platform/stream/FileInputStream.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/stream/FileOutputStream.h"
#include "tests/Engine/core/data-store/DictionaryModel.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <numeric>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <vector>

// Sharded dictionaries of the model's literals, and the folders to which they are saved.

/// Slightly more memory than 256 shards with a few terms of all families take.
constexpr size_t SHARDED_MEMORY_LIMIT = size_t(512) << 20;

constexpr uint64_t FEW_RESOURCES = uint64_t(1) << 16;

/// The bytes of files by name.
struct FolderContents : std::map<std::string, std::string> {
    using std::map<std::string, std::string>::map;
};

/// Prints them for GoogleTest.
inline void PrintTo(const FolderContents& contents,
                    std::ostream* const output) { // NOLINT(readability-identifier-naming)
    for (const auto& [name, bytes] : contents)
        *output << name << " (" << bytes.size() << " bytes) ";
}

inline FolderContents getFolderContents(const std::string& folder) {
    FolderContents contents;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.is_regular_file())
            contents[entry.path().filename().string()] = TemporaryDirectory::getContentsOf(entry.path().string());
    return contents;
}

inline void writeFolder(const std::string& folder, const std::map<std::string, std::string>& contents) {
    std::filesystem::remove_all(folder);
    std::filesystem::create_directory(folder);
    for (const auto& [name, bytes] : contents) {
        melnar::FileOutputStream output(folder + '/' + name);
        output.write(bytes.data(), bytes.size());
        output.close();
    }
}

inline ShardManifest readManifestOf(const std::string& folder) {
    melnar::FileInputStream input(folder + "/manifest");
    return ShardManifest::read(input);
}

/// The model's literals as the entries of a batch.
struct LiteralBatch {
    explicit LiteralBatch(const std::vector<uint32_t>& numbers) {
        for (const uint32_t number : numbers)
            m_literals.push_back(DictionaryModel::makeLiteral(number));
        for (const DictionaryModel::Literal& literal : m_literals)
            m_entries.push_back({literal.m_lexicalForm, 0, literal.m_datatypeID});
    }

    /// Makes those from `begin` to before `end`.
    LiteralBatch(const uint32_t begin, const uint32_t end) : LiteralBatch(count(begin, end)) {}

    static std::vector<uint32_t> count(const uint32_t begin, const uint32_t end) {
        std::vector<uint32_t> numbers(end - begin);
        std::iota(numbers.begin(), numbers.end(), begin);
        return numbers;
    }

    std::vector<uint64_t> getIDs() const {
        std::vector<uint64_t> resourceIDs;
        for (const BatchEntry& entry : m_entries)
            resourceIDs.push_back(entry.m_resourceID);
        return resourceIDs;
    }

    std::vector<DictionaryModel::Literal> m_literals;
    std::vector<BatchEntry> m_entries;
    std::vector<BatchFailure> m_failures;
};

inline uint32_t getShardOf(const uint32_t number) {
    const DictionaryModel::Literal literal = DictionaryModel::makeLiteral(number);
    return ShardLayout::getShard(literal.m_lexicalForm, literal.m_datatypeID);
}

/// Returns the first numbers whose literals are in one of the first shards.
inline std::vector<uint32_t> findNumbersOfFirstShards(const uint32_t numberOfShards, const size_t count) {
    std::vector<uint32_t> numbers;
    for (uint32_t number = 0; numbers.size() < count; ++number)
        if (getShardOf(number) < numberOfShards)
            numbers.push_back(number);
    return numbers;
}

/// A sharded dictionary of the model's literals, with a thread, and a model of the IDs.
class ShardedHost {
public:
    explicit ShardedHost(const size_t memoryLimit = SHARDED_MEMORY_LIMIT, const uint64_t maximum = FEW_RESOURCES)
        : m_dictionary(std::make_unique<ShardedDictionary>(
              DictionaryOptions{.m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = maximum})) {}

    /// Opens the dictionary in a folder.
    explicit ShardedHost(const std::string& folder, const DictionaryOptions& options = {},
                         const size_t memoryLimit = SHARDED_MEMORY_LIMIT)
        : m_dictionary([&] {
              DictionaryOptions withLimit = options;
              withLimit.m_memoryLimit = memoryLimit;
              return ShardedDictionary::open(folder, withLimit);
          }()) {}

    explicit ShardedHost(std::unique_ptr<ShardedDictionary> dictionary) : m_dictionary(std::move(dictionary)) {}

    std::vector<uint64_t> resolve(const std::vector<uint32_t>& numbers) {
        ShardedDictionaryThread thread(*m_dictionary);
        LiteralBatch batch(numbers);
        m_dictionary->resolveResources(thread, batch.m_entries, batch.m_failures);
        EXPECT_TRUE(batch.m_failures.empty());
        return batch.getIDs();
    }

    std::vector<uint64_t> lookUp(const std::vector<uint32_t>& numbers) const {
        LiteralBatch batch(numbers);
        m_dictionary->tryResolveResources(batch.m_entries, batch.m_failures);
        EXPECT_TRUE(batch.m_failures.empty());
        return batch.getIDs();
    }

    void save(const std::string& folder, const ShardedDictionary::State state = ShardedDictionary::State::WHOLE,
              const size_t numberOfThreads = 1) {
        FileLock lock(folder + "/manifest");
        m_dictionary->save(lock, state, numberOfThreads);
    }

    ShardedDictionary& operator*() const { return *m_dictionary; }
    ShardedDictionary* operator->() const { return m_dictionary.get(); }

private:
    std::unique_ptr<ShardedDictionary> m_dictionary;
};

/// Returns the IDs that literals get in this order.
inline std::vector<uint64_t> getModelIDs(const std::vector<uint32_t>& numbers) {
    std::map<DictionaryModel::Literal, uint64_t> resourceIDs;
    std::vector<uint64_t> lastLocalIDs(ShardLayout::NUMBER_OF_SHARDS);
    std::vector<uint64_t> answers;
    for (const uint32_t number : numbers) {
        const DictionaryModel::Literal literal = DictionaryModel::makeLiteral(number).getStored();
        uint64_t& resourceID = resourceIDs[literal];
        if (resourceID == 0) {
            const uint32_t shard = getShardOf(number);
            resourceID = ++lastLocalIDs[shard] * 256 - 255 + shard;
        }
        answers.push_back(resourceID);
    }
    return answers;
}
