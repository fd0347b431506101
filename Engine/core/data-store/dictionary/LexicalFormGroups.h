#pragma once

#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace melnar::LexicalFormLanes {

/// Hashes one form per lane, in ascending order of their lengths in whole words.
template<size_t NUMBER_OF_LANES>
using HashOneFormPerLane = void (*)(const std::array<const char*, NUMBER_OF_LANES>& data,
                                    const std::array<size_t, NUMBER_OF_LANES>& lengths,
                                    std::array<uint64_t, NUMBER_OF_LANES>& hashes) noexcept;

/// A HashInOrder that passes one form per lane to a vectorised function, except for forms shorter than MINIMUM_LENGTH.
///
/// That function must be local to its source file, so that the instance is local, too: two files that are compiled for
/// different processors may have functions with the same name, and the linker must not use one for the other.
template<size_t NUMBER_OF_LANES, size_t MINIMUM_LENGTH, HashOneFormPerLane<NUMBER_OF_LANES> HASH_ONE_FORM_PER_LANE>
void hashGroupsInOrder(const std::string_view* const forms, const uint16_t* const order, const size_t numberOfForms,
                       uint64_t* const hashes) noexcept {
    const uint16_t* const end = order + numberOfForms;
    const uint16_t* next = std::partition_point(
        order, end, [forms](const uint16_t place) { return forms[place].size() < MINIMUM_LENGTH; });
    hashInOrderPortably(forms, order, static_cast<size_t>(next - order), hashes);
    while (next != end) {
        std::array<const char*, NUMBER_OF_LANES> data;
        std::array<size_t, NUMBER_OF_LANES> lengths;
        std::array<uint64_t, NUMBER_OF_LANES> laneHashes;
        const size_t numberOfUsedLanes = std::min(NUMBER_OF_LANES, static_cast<size_t>(end - next));
        for (size_t lane = 0; lane < NUMBER_OF_LANES; ++lane) {
            // Unused lanes repeat the last form.
            const std::string_view& form = forms[next[std::min(lane, numberOfUsedLanes - 1)]];
            data[lane] = form.data();
            lengths[lane] = form.size();
        }
        HASH_ONE_FORM_PER_LANE(data, lengths, laneHashes);
        for (size_t lane = 0; lane < numberOfUsedLanes; ++lane)
            hashes[next[lane]] = laneHashes[lane];
        next += numberOfUsedLanes;
    }
}

} // namespace melnar::LexicalFormLanes
