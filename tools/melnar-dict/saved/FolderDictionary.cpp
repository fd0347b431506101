#include "tools/melnar-dict/saved/FolderDictionary.h"

#include "tools/melnar-dict/saved/ComponentSum.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/platform/ComponentInfo.h"

FolderDictionary::FolderDictionary(const std::string& folderName, const size_t memoryLimit)
    : m_folderName(requireFolder(folderName)),
      m_dictionary(ShardedDictionary::open(folderName, {.m_memoryLimit = memoryLimit, .m_canGrow = false})) {}

const std::string& FolderDictionary::requireFolder(const std::string& name) {
    if (!ShardedDictionary::isFolder(name))
        throw ToolFailure(ExitCode::FAILURE, "'" + name + "' is not a folder of shards: there is no file '" + name +
                                                 '/' + ShardManifest::FILE_NAME + "'");
    return name;
}

void FolderDictionary::tryResolveResources(const std::span<BatchEntry> entries,
                                           std::vector<BatchFailure>& failures) const {
    m_dictionary->tryResolveResources(entries, failures);
    const auto& shards = m_dictionary->getManifest().m_shards;
    for (BatchEntry& entry : entries)
        if (entry.m_resourceID != ShardLayout::NO_RESOURCE &&
            ShardLayout::toLocal(entry.m_resourceID) >
                shards[ShardLayout::getShard(entry.m_resourceID)].m_numberOfResources)
            entry.m_resourceID = ShardLayout::NO_RESOURCE;
}

void FolderDictionary::requireWholeState() const {
    const ShardManifest& manifest = m_dictionary->getManifest();
    if (!manifest.getIdentityOfWholeState())
        throw ToolFailure(ExitCode::FAILURE, "'" + m_folderName +
                                                 "' holds a load that has not been completed, so that no file of its "
                                                 "IDs can name it");
}

void FolderDictionary::forEachPart(const std::function<void(const Part& part)>& visitor) const {
    m_dictionary->forEachShard([&](const uint32_t shard, const Dictionary& dictionary) {
        visitor({dictionary, ShardLayout::toGlobal(1, shard), ShardLayout::NUMBER_OF_SHARDS});
    });
}

std::unique_ptr<ComponentInfo> FolderDictionary::getDetailedComponentInfo() const {
    using Metric = ComponentInfo::Metric;
    ComponentSum sum;
    forEachPart([&sum](const Part& part) { sum.add(*part.m_dictionary.getDetailedComponentInfo()); });
    std::unique_ptr<ComponentInfo> root = sum.toComponentInfo("Dictionary");
    if (const std::optional<DictionaryIdentity> identity = getHistory().getIdentity())
        root->addTextProperty(Metric::IDENTITY, std::nullopt, identity->toString());
    root->addNumericProperty(Metric::GENERATION, std::nullopt, getHistory().getGeneration(), 0);
    root->addNumericProperty(Metric::MEMORY_LIMIT, std::nullopt, m_dictionary->getMemoryLimit(), 0);
    return root;
}
