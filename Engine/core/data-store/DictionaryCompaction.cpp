#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/dictionary/DictionaryCompactionState.h"

#include <algorithm>

/// Returns the new ID of each old one, 0 for what does not survive.
std::vector<uint64_t> Dictionary::assignCompactIDs(const SurvivesCompaction& survives) const {
    std::vector<uint64_t> newResourceIDs(getNextResourceID(), 0);
    uint64_t nextNewResourceID = 1;
    for (const auto& [resourceID, literal] : *this)
        if (survives == nullptr || survives(resourceID, literal))
            newResourceIDs[resourceID] = nextNewResourceID++;
    return newResourceIDs;
}

std::vector<uint64_t> Dictionary::compact(const SurvivesCompaction& survives) {
    const RunningOperations::Operation operation(m_operations, RunningOperations::Kind::ALONE);
    std::vector<uint64_t> newResourceIDs = assignCompactIDs(survives);
    m_memoryManager.withReclaim([this, &newResourceIDs] { compact(newResourceIDs); });
    return newResourceIDs;
}

/// Takes over the new IDs. After a throw nothing has changed.
void Dictionary::compact(const std::vector<uint64_t>& newResourceIDs) {
    const size_t numberOfSurvivors =
        newResourceIDs.size() -
        static_cast<size_t>(std::count(newResourceIDs.begin(), newResourceIDs.end(), uint64_t(0)));

    // First prepare separately everything that can fail: the records and the new data pool.
    DictionaryCompactionState state(m_memoryManager);
    state.m_entries.initialize(numberOfSurvivors);
    state.m_entries.ensureEndAtLeast(numberOfSurvivors);
    // One datatype after the other, which is the order of records that the datatypes need.
    for (size_t datatypeID = 0; datatypeID < NUMBER_OF_DATATYPE_IDS; ++datatypeID)
        if (m_servers[datatypeID].m_datatype != nullptr)
            for (uint64_t resourceID = 1; resourceID < newResourceIDs.size(); ++resourceID)
                if (newResourceIDs[resourceID] != 0 && getDatatypeID(resourceID) == datatypeID)
                    m_servers[datatypeID].m_datatype->prepareCompact(resourceID, newResourceIDs[resourceID], state);
    DataPool dataPool(m_memoryManager);
    state.copyChunks(m_dataPool, dataPool);

    // From here on nothing fails.
    const uint64_t numberOfCommittedSurvivors = static_cast<uint64_t>(std::count_if(
        newResourceIDs.begin() + 1, newResourceIDs.begin() + static_cast<ptrdiff_t>(getCommitPoint().m_resourceID),
        [](const uint64_t newResourceID) { return newResourceID != 0; }));
    m_history.startGeneration(numberOfCommittedSurvivors + 1 == getCommitPoint().m_resourceID);
    m_dataPool.swapContents(dataPool);
    for (const Datatype& datatype : m_datatypes)
        datatype.m_datatype->finishCompact(state);
    m_resourceDataOffsets.truncate(numberOfSurvivors + 1);
    m_resourceFlags.truncate(numberOfSurvivors + 1);
    m_nextResourceID.store(numberOfSurvivors + 1, std::memory_order_relaxed);
    m_numberOfWithdrawn.store(0, std::memory_order_relaxed);
    m_commitPoint.store(numberOfCommittedSurvivors + 1, std::memory_order_release); // C3
}
