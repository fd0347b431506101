#include "tools/melnar-dict-mpi/RankDictionary.h"

#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <vector>

using namespace melnar;

RankDictionary::RankDictionary(const Ranks& ranks, const std::string& folderName, const ShardManifest& manifest,
                               const DictionaryOptions& options)
    : m_ranks(ranks),
      m_dictionary(folderName.empty() ? std::make_unique<ShardedDictionary>(options)
                                      : ShardedDictionary::open(folderName, selectOwn(ranks, manifest), options)) {}

std::string RankDictionary::toBytes(const ShardManifest& manifest) {
    MemoryOutputStream output;
    manifest.write(output);
    return output.getBytes();
}

ShardManifest RankDictionary::fromBytes(const std::string& bytes) {
    MemoryInputStream input(bytes);
    return ShardManifest::read(input);
}

/// Returns the manifest with only the shards of this rank.
ShardManifest RankDictionary::selectOwn(const Ranks& ranks, ShardManifest manifest) {
    for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
        if (!ranks.isMine(shard))
            manifest.m_shards[shard] = {};
    return manifest;
}

void RankDictionary::resolve(const uint32_t shard, const std::span<BatchEntry> terms) {
    Dictionary& dictionary = m_dictionary->getOrMakeShard(shard);
    if (!m_threads[shard])
        m_threads[shard].emplace(dictionary);
    std::vector<BatchFailure> failures;
    dictionary.resolveResources(*m_threads[shard], terms, failures);
    for (const BatchFailure& failure : failures)
        if (failure.m_kind != FailureKind::REFUSED_LITERAL)
            failure.throwException();
}

void RankDictionary::tryResolve(const uint32_t shard, const std::span<BatchEntry> terms) const {
    std::vector<BatchFailure> failures;
    if (const Dictionary* const dictionary = m_dictionary->getShard(shard))
        dictionary->tryResolveResources(DictionaryCommitPoint::ALL, terms, failures);
    for (const BatchFailure& failure : failures)
        if (failure.m_kind != FailureKind::REFUSED_LITERAL)
            failure.throwException();
    // A writer may have replaced the file of the shard by a larger one.
    const uint64_t numberOfResources = m_dictionary->getManifest().m_shards[shard].m_numberOfResources;
    for (BatchEntry& term : terms)
        if (term.m_resourceID > numberOfResources)
            term.m_resourceID = ShardLayout::NO_RESOURCE;
}

BatchFailure RankDictionary::getRefusal(BatchEntry term) const {
    std::vector<BatchFailure> failures;
    // A term that one shard refuses, all refuse.
    m_dictionary->getShardInMemory(0).tryResolveResources(DictionaryCommitPoint::ALL, {&term, 1}, failures);
    return failures.at(0);
}

ShardManifest RankDictionary::save(const std::string& folderName) {
    ShardManifest manifest;
    m_ranks.perform([&] {
        manifest = m_dictionary->saveShards(folderName, ShardedDictionary::State::INTERMEDIATE, 1);
        m_dictionary->noteSaved(folderName, manifest);
    });
    std::string own;
    m_ranks.perform([&] {
        ShardManifest shards = manifest;
        shards.m_inputs.clear(); // known to all ranks, like the history, which covers the shards of all
        shards.m_history = {};
        own = toBytes(shards);
    });
    const std::vector<std::string> all = m_ranks.gather(own);
    for (uint32_t rank = 1; rank < all.size(); ++rank) {
        const ShardManifest ofRank = fromBytes(all[rank]);
        for (uint32_t shard = 0; shard < ShardLayout::NUMBER_OF_SHARDS; ++shard)
            if (m_ranks.getOwner(shard) == rank)
                manifest.m_shards[shard] = ofRank.m_shards[shard];
    }
    return manifest;
}
