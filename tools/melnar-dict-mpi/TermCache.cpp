#include "tools/melnar-dict-mpi/TermCache.h"

#include <algorithm>

TermCache::TermCache()
    : m_sets(std::make_unique<Set[]>(NUMBER_OF_SETS)),
      m_places(std::make_unique_for_overwrite<Place[]>(NUMBER_OF_SETS * PLACES_OF_A_SET)) {}

uint64_t TermCache::find(const uint64_t hash, const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
    Set& set = m_sets[getSet(hash)];
    const uint16_t tag = getTag(hash);
    for (size_t number = 0; number < PLACES_OF_A_SET; ++number)
        if (set.m_tags[number] == tag) {
            const Place& place = m_places[getSet(hash) * PLACES_OF_A_SET + number];
            if (place.m_datatypeID != datatypeID ||
                std::string_view(place.m_form.data(), place.m_length) != lexicalForm)
                continue;
            set.m_uses[number] = std::min<uint8_t>(set.m_uses[number] + 1, LARGEST_USES);
            return place.m_resourceID;
        }
    return 0;
}

/// Returns whether a term has been refused recently, and forgets that; otherwise records that it is refused now.
bool TermCache::admits(Set& set, const uint16_t tag) noexcept {
    const auto refused = std::ranges::find(set.m_refused, tag);
    if (refused != set.m_refused.end()) {
        *refused = 0;
        return true;
    }
    set.m_refused[set.m_nextRefused] = tag;
    set.m_nextRefused = (set.m_nextRefused + 1) % TAGS_OF_THE_REFUSED;
    return false;
}

void TermCache::add(const uint64_t hash, const std::string_view lexicalForm, const uint8_t datatypeID,
                    const uint64_t resourceID) noexcept {
    Set& set = m_sets[getSet(hash)];
    const uint16_t tag = getTag(hash);
    if (lexicalForm.size() > LONGEST_FORM || find(hash, lexicalForm, datatypeID) != 0 || !admits(set, tag))
        return;
    const auto least = std::ranges::min_element(set.m_uses);
    if (*least != 0)
        for (uint8_t& uses : set.m_uses)
            --uses;
    *least = 1;
    const auto number = static_cast<size_t>(least - set.m_uses.begin());
    set.m_tags[number] = tag;
    Place& place = m_places[getSet(hash) * PLACES_OF_A_SET + number];
    place.m_resourceID = resourceID;
    place.m_datatypeID = datatypeID;
    place.m_length = static_cast<uint8_t>(lexicalForm.size());
    lexicalForm.copy(place.m_form.data(), lexicalForm.size());
}
