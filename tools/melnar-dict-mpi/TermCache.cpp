#include "tools/melnar-dict-mpi/TermCache.h"

#include "tools/melnar-dict/pieces/DistinctTerms.h"

#include <algorithm>
#include <span>

TermCache::TermCache() : m_places(std::make_unique<Place[]>(NUMBER_OF_SETS * PLACES_OF_A_SET)) {}

TermCache::Place* TermCache::getSet(const std::string_view lexicalForm, const uint8_t datatypeID) const noexcept {
    return &m_places[DistinctTerms::hash(lexicalForm, datatypeID) % NUMBER_OF_SETS * PLACES_OF_A_SET];
}

uint64_t TermCache::find(const std::string_view lexicalForm, const uint8_t datatypeID) noexcept {
    if (lexicalForm.size() > LONGEST_FORM)
        return 0;
    for (Place& place : std::span(getSet(lexicalForm, datatypeID), PLACES_OF_A_SET))
        if (place.isOf(lexicalForm, datatypeID)) {
            place.m_uses = std::min<uint8_t>(place.m_uses + 1, LARGEST_USES);
            return place.m_resourceID;
        }
    return 0;
}

void TermCache::add(const std::string_view lexicalForm, const uint8_t datatypeID, const uint64_t resourceID) noexcept {
    if (lexicalForm.size() > LONGEST_FORM)
        return;
    const std::span<Place> set(getSet(lexicalForm, datatypeID), PLACES_OF_A_SET);
    if (std::ranges::any_of(set, [&](const Place& place) { return place.isOf(lexicalForm, datatypeID); }))
        return;
    Place& place = *std::ranges::min_element(set, {}, [](const Place& candidate) { return candidate.m_uses; });
    if (place.m_uses != 0)
        for (Place& other : set)
            --other.m_uses;
    place.m_resourceID = resourceID;
    place.m_uses = 0;
    place.m_datatypeID = datatypeID;
    place.m_length = static_cast<uint8_t>(lexicalForm.size());
    lexicalForm.copy(place.m_form.data(), lexicalForm.size());
}
