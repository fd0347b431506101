#include "tests/torture/IdentityModel.h"

#include "Engine/core/data-store/Dictionary.h"
#include "tests/torture/NumberedTerms.h"

#include <algorithm>
#include <utility>

IdentityModel::IdentityModel(const uint32_t numberOfTerms, const uint64_t largestResourceID)
    : m_numberOfTerms(numberOfTerms), m_largestResourceID(largestResourceID),
      m_resourceIDs(std::make_unique<std::atomic<uint64_t>[]>(numberOfTerms)),
      m_numbers(std::make_unique<std::atomic<uint32_t>[]>(largestResourceID + 1)) {
    for (uint64_t resourceID = 0; resourceID <= largestResourceID; ++resourceID)
        m_numbers[resourceID].store(NO_NUMBER, std::memory_order_relaxed);
}

/// The first thread that sees an ID records it, all others compare.
bool IdentityModel::record(const uint32_t number, const uint64_t resourceID) noexcept {
    if (resourceID == 0 || resourceID > m_largestResourceID)
        return false;
    uint64_t knownID = 0;
    if (!m_resourceIDs[number].compare_exchange_strong(knownID, resourceID, std::memory_order_relaxed) &&
        knownID != resourceID)
        return false;
    uint32_t knownNumber = NO_NUMBER;
    return m_numbers[resourceID].compare_exchange_strong(knownNumber, number, std::memory_order_relaxed) ||
           knownNumber == number;
}

size_t IdentityModel::rollBack(const uint64_t commitPoint, const uint64_t nextResourceID) noexcept {
    size_t numberOfWithdrawn = 0;
    for (uint64_t resourceID = commitPoint; resourceID < nextResourceID; ++resourceID) {
        const uint32_t number = m_numbers[resourceID].exchange(WITHDRAWN, std::memory_order_relaxed);
        if (number < WITHDRAWN) {
            m_resourceIDs[number].store(0, std::memory_order_relaxed);
            ++numberOfWithdrawn;
        }
    }
    return numberOfWithdrawn;
}

std::string IdentityModel::compact(const std::vector<uint64_t>& newResourceIDs, const uint64_t nextResourceID) {
    uint64_t lastID = 0;
    for (uint64_t oldID = 0; oldID < newResourceIDs.size(); ++oldID) {
        const uint32_t number = m_numbers[oldID].exchange(NO_NUMBER, std::memory_order_relaxed);
        const uint64_t newID = newResourceIDs[oldID];
        if (number < WITHDRAWN)
            m_resourceIDs[number].store(newID, std::memory_order_relaxed);
        if (newID == 0)
            continue;
        if (number >= WITHDRAWN)
            return "ID " + std::to_string(oldID) + " had no term, and has survived a compaction";
        if (newID != ++lastID)
            return "a compaction gives the ID " + std::to_string(newID) + " after " + std::to_string(lastID - 1);
        m_numbers[newID].store(number, std::memory_order_relaxed); // newID <= oldID, so it has been read
    }
    return nextResourceID == lastID + 1 ? ""
                                        : "the next ID is " + std::to_string(nextResourceID) +
                                              ", but a compaction gave " + std::to_string(lastID);
}

std::string IdentityModel::compare(const Dictionary& dictionary) const {
    constexpr uint64_t BATCH_SIZE = 1024;
    const uint64_t nextResourceID = dictionary.getNextResourceID();
    if (nextResourceID > m_largestResourceID + 1)
        return "there are more IDs than terms: the next one is " + std::to_string(nextResourceID);
    NumberedTerm term;
    std::string form;
    size_t numberOfResources = 0;
    std::vector<BatchEntry> entries;
    for (uint64_t begin = 1; begin < nextResourceID; begin += BATCH_SIZE) {
        entries.clear();
        for (uint64_t resourceID = begin; resourceID < std::min(begin + BATCH_SIZE, nextResourceID); ++resourceID)
            entries.push_back({{}, resourceID});
        dictionary.getResources(entries);
        for (const BatchEntry& entry : entries) {
            const uint32_t number = m_numbers[entry.m_resourceID].load(std::memory_order_relaxed);
            if (number == WITHDRAWN && entry.m_datatypeID == D_INVALID)
                continue;
            form.clear();
            dictionary.appendLexicalForm(entry, form);
            const auto describe = [&] { return "ID " + std::to_string(entry.m_resourceID) + " means '" + form + "'"; };
            if (number == WITHDRAWN)
                return describe() + ", but was withdrawn";
            if (number == NO_NUMBER)
                return describe() + ", but no thread got it";
            term.make(number);
            if (entry.m_datatypeID != term.getDatatypeID() || form != term.getForm())
                return describe() + ", not '" + term.getForm() + "'";
            if (getResourceID(number) != entry.m_resourceID)
                return describe() + ", and so does " + std::to_string(getResourceID(number));
            ++numberOfResources;
        }
    }
    if (numberOfResources != dictionary.size())
        return "there are " + std::to_string(numberOfResources) + " resources, not " +
               std::to_string(dictionary.size());
    for (uint32_t number = 0; number < m_numberOfTerms; ++number)
        numberOfResources -= getResourceID(number) != 0;
    if (numberOfResources != 0)
        return "there are terms whose IDs are gone";
    return "";
}
