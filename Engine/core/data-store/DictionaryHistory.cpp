#include "Engine/core/data-store/DictionaryHistory.h"

#include <algorithm>
#include <utility>

using namespace melnar;

uint64_t DictionaryHistory::getGeneration() const {
    const std::lock_guard guard(m_mutex);
    return m_contents.m_generation;
}

std::optional<DictionaryIdentity> DictionaryHistory::getIdentity() const {
    const std::lock_guard guard(m_mutex);
    if (m_contents.m_entries.empty())
        return std::nullopt;
    return m_contents.m_entries.back().m_identity;
}

bool DictionaryHistory::contains(const DictionaryIdentity& identity) const {
    const std::lock_guard guard(m_mutex);
    return std::any_of(m_contents.m_entries.begin(), m_contents.m_entries.end(),
                       [&identity](const Entry& entry) { return entry.m_identity == identity; });
}

DictionaryHistory::Contents DictionaryHistory::add(const uint64_t commitPoint,
                                                   const ChecksumChain::Value& contentChecksum) {
    const std::lock_guard guard(m_mutex);
    std::vector<Entry>& entries = m_contents.m_entries;
    if (entries.empty() || entries.back().m_commitPoint < commitPoint) {
        ChecksumChain checksum(entries.empty() ? ChecksumChain::Value{} : entries.back().m_identity.m_checksum);
        checksum.add(m_contents.m_generation);
        for (const uint64_t half : contentChecksum)
            checksum.add(half);
        entries.push_back({commitPoint, {checksum.getValue()}});
    }
    return m_contents;
}

void DictionaryHistory::assign(Contents&& contents) noexcept {
    const std::lock_guard guard(m_mutex);
    m_contents = std::move(contents);
}

void DictionaryHistory::startGeneration(const bool keepsIDs) noexcept {
    const std::lock_guard guard(m_mutex);
    ++m_contents.m_generation;
    if (!keepsIDs)
        m_contents.m_entries.clear();
}
