#include "Engine/core/data-store/dictionary/LexicalFormHashes.h"

#include "Engine/core/data-store/dictionary/LexicalFormLanes.h"

#include <algorithm>
#include <array>

namespace melnar {

namespace {

/// Lengths of the same number of whole words share a class, and all long ones share the last class.
constexpr size_t NUMBER_OF_LENGTH_CLASSES = 32;

size_t getLengthClass(const std::string_view form) noexcept {
    return std::min(form.size() / LexicalFormLanes::BYTES_PER_WORD, NUMBER_OF_LENGTH_CLASSES - 1);
}

/// Stores the indexes of the forms in ascending order of their lengths, those of one class in any order.
void sortByLength(const std::string_view* const forms, const size_t numberOfForms, uint16_t* const order) noexcept {
    std::array<uint16_t, NUMBER_OF_LENGTH_CLASSES + 1> begins{};
    for (size_t place = 0; place < numberOfForms; ++place) {
        ++begins[getLengthClass(forms[place]) + 1];
        __builtin_prefetch(forms[place].data()); // Forms are scattered, and sorting jumps between them.
        __builtin_prefetch(forms[place].data() + forms[place].size());
    }
    for (size_t lengthClass = 1; lengthClass < NUMBER_OF_LENGTH_CLASSES; ++lengthClass)
        begins[lengthClass] = static_cast<uint16_t>(begins[lengthClass] + begins[lengthClass - 1]);
    const size_t beginOfLongForms = begins[NUMBER_OF_LENGTH_CLASSES - 1];
    for (size_t place = 0; place < numberOfForms; ++place)
        order[begins[getLengthClass(forms[place])]++] = static_cast<uint16_t>(place);
    std::sort(order + beginOfLongForms, order + numberOfForms, [forms](const uint16_t first, const uint16_t second) {
        return forms[first].size() < forms[second].size();
    });
}

} // namespace

void hashLexicalForms(const std::string_view* const forms, const size_t numberOfForms, uint64_t* const hashes,
                      uint16_t* const order) noexcept {
    static const LexicalFormLanes::HashInOrder s_hashInOrder = LexicalFormLanes::getFastest();
    sortByLength(forms, numberOfForms, order);
    s_hashInOrder(forms, order, numberOfForms, hashes);
}

} // namespace melnar
