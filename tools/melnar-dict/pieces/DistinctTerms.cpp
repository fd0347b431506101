#include "tools/melnar-dict/pieces/DistinctTerms.h"

#include <algorithm>

#define XXH_INLINE_ALL
#include <xxhash.h>

uint32_t DistinctTerms::hash(const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
    return static_cast<uint32_t>(XXH3_64bits_withSeed(lexicalForm.data(), lexicalForm.size(), datatypeID) >> 32);
}

uint32_t DistinctTerms::add(const std::string_view lexicalForm, const uint8_t datatypeID, const uint64_t line,
                            FormBatch& batch) {
    const uint32_t hashOfSlot = hash(lexicalForm, datatypeID);
    size_t index = hashOfSlot & (m_slots.size() - 1);
    for (size_t probeLength = 0; m_slots[index].m_end != 0; ++probeLength, index = (index + 1) & (m_slots.size() - 1)) {
        if (m_slots[index].m_hash == hashOfSlot) {
            const uint32_t found = m_slots[index].m_end - 1;
            const BatchEntry& entry = batch.getEntries()[found];
            if (entry.m_datatypeID == datatypeID && entry.m_lexicalForm == lexicalForm)
                return found;
        }
        if (probeLength == LONGEST_PROBE)
            break;
    }
    const auto newIndex = static_cast<uint32_t>(batch.getEntries().size());
    batch.append(lexicalForm, datatypeID, line);
    if (m_slots[index].m_end == 0)
        ++m_numberOfTerms;
    m_slots[index] = {hashOfSlot, newIndex + 1};
    if (2 * m_numberOfTerms > m_slots.size())
        grow();
    return newIndex;
}

void DistinctTerms::clear() noexcept {
    if (m_slots.size() > LARGEST_NUMBER_OF_SLOTS_KEPT) { // otherwise each block after a large one would take longer
        m_slots.resize(FIRST_NUMBER_OF_SLOTS);
        m_slots.shrink_to_fit();
    }
    std::fill(m_slots.begin(), m_slots.end(), Slot());
    m_numberOfTerms = 0;
}

void DistinctTerms::grow() {
    std::vector<Slot> slots(2 * m_slots.size());
    for (const Slot& slot : m_slots) {
        if (slot.m_end == 0)
            continue;
        size_t index = slot.m_hash & (slots.size() - 1);
        while (slots[index].m_end != 0)
            index = (index + 1) & (slots.size() - 1);
        slots[index] = slot;
    }
    m_slots = std::move(slots);
}
