#include "Engine/core/data-store/Dictionary.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <optional>
#include <utility>

size_t Dictionary::getLexicalLength(const ResourceValue& resourceValue) const {
    return getServer(resourceValue.m_datatypeID)
        .m_factory->appendLexicalForm(resourceValue.m_datatypeID, resourceValue.m_data, resourceValue.m_dataSize,
                                      resourceValue.m_auxiliaryData, resourceValue.m_auxiliaryDataSize, nullptr, 0);
}

size_t Dictionary::getNumberOfResources(const uint8_t datatypeID) const noexcept {
    size_t numberOfResources = 0;
    const uint64_t endResourceID = getNextResourceID();
    for (uint64_t resourceID = 1; resourceID < endResourceID; ++resourceID)
        numberOfResources += getDatatypeID(resourceID) == datatypeID;
    return numberOfResources;
}

size_t Dictionary::getTextBytes(const uint8_t datatypeID) const {
    size_t textBytes = 0;
    for (const auto& [resourceID, literal] : *this)
        if (literal.m_datatypeID == datatypeID)
            textBytes += getLexicalLength(literal);
    return textBytes;
}

size_t Dictionary::getUnusedDataPoolBytes() const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    size_t usedBytes = 0;
    const uint64_t endResourceID = getNextResourceID();
    for (uint64_t resourceID = 1; resourceID < endResourceID; ++resourceID)
        if (const uint8_t datatypeID = getDatatypeID(resourceID); datatypeID != D_INVALID)
            usedBytes += getServer(datatypeID).m_datatype->getChunkSize(resourceID);
    return m_dataPool.getEnd() - usedBytes;
}

std::unique_ptr<ComponentInfo> Dictionary::getComponentInfo() const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::READ);
    using Metric = ComponentInfo::Metric;
    const auto describeMemory = [](std::string&& name, const size_t committedBytes) {
        auto component = std::make_unique<ComponentInfo>(std::move(name));
        component->addNumericProperty(Metric::MEMORY_CONSUMED, std::nullopt, committedBytes, 0);
        return component;
    };
    auto root = std::make_unique<ComponentInfo>("Dictionary");
    auto dataPool = describeMemory("Data pool", m_dataPool.getCommittedBytes());
    dataPool->addNumericProperty(Metric::BYTES_UNUSED, std::nullopt, getUnusedDataPoolBytes(), 0);
    root->addChild(std::move(dataPool));
    root->addChild(describeMemory("Data offsets", m_resourceDataOffsets.getCommittedBytes()));
    root->addChild(describeMemory("Datatype bytes", m_resourceFlags.getCommittedBytes()));
    const size_t fingerprintBytes = std::accumulate(
        m_datatypes.begin(), m_datatypes.end(), size_t(0),
        [](const size_t sum, const Datatype& datatype) { return sum + datatype.m_datatype->getFingerprintBytes(); });
    root->addChild(describeMemory("Fingerprints", fingerprintBytes));
    for (const Datatype& datatype : m_datatypes)
        if (datatype.m_datatype->isInUse())
            root->addChild(datatype.m_datatype->getComponentInfo());
    for (const Datatype& datatype : m_datatypes)
        if (datatype.m_datatype->isInUse())
            for (const auto& [datatypeID, datatypeName] : datatype.m_factory->getSupportedDatatypes())
                root->addNumericProperty(Metric::NUMBER_OF_RESOURCES, "Number of resources of " + datatypeName,
                                         getNumberOfResources(datatypeID), 0);
    if (const std::optional<DictionaryIdentity> identity = m_history.getIdentity())
        root->addTextProperty(Metric::IDENTITY, std::nullopt, identity->toString());
    root->addNumericProperty(Metric::GENERATION, std::nullopt, m_history.getGeneration(), 0);
    root->addNumericProperty(Metric::MEMORY_LIMIT, std::nullopt, getMemoryLimit(), 0);
    const std::string aggregateName = "Aggregate memory consumed (bytes)";
    root->addNumericProperty(Metric::AGGREGATE_MEMORY_CONSUMED, aggregateName,
                             root->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, aggregateName), 0);
    return root;
}

std::unique_ptr<ComponentInfo> Dictionary::getDetailedComponentInfo() const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::SAVE);
    using Metric = ComponentInfo::Metric;
    size_t numberOfResources = 0;
    size_t textBytes = 0;
    for (const auto& [resourceID, literal] : *this) {
        ++numberOfResources;
        textBytes += getLexicalLength(literal);
    }
    std::unique_ptr<ComponentInfo> root = getComponentInfo();
    root->addNumericProperty(Metric::BYTES_OF_TEXT, std::nullopt, textBytes, 0);
    if (numberOfResources != 0)
        root->addDoubleProperty(Metric::BYTES_PER_RESOURCE, std::nullopt,
                                (static_cast<double>(getMemoryInUse()) - static_cast<double>(textBytes)) /
                                    static_cast<double>(numberOfResources));
    for (const Datatype& datatype : m_datatypes)
        datatype.m_datatype->addDetailedComponentInfo(*root);
    return root;
}

std::vector<TableProfile> Dictionary::getTableProfiles(const size_t numberOfSegments) const {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::SAVE);
    std::vector<TableProfile> tableProfiles;
    for (const Datatype& datatype : m_datatypes)
        std::ranges::move(datatype.m_datatype->getTableProfiles(numberOfSegments), std::back_inserter(tableProfiles));
    return tableProfiles;
}
