#include "tools/melnar-dict/shell/Suggestion.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr size_t SHORTEST_BEGINNING = 3;
constexpr size_t CHARACTERS_AN_ERROR = 3; // of which one may be wrong

/// Returns the number of characters to insert, delete, replace or swap with the next one to turn one text into the
/// other.
size_t editDistance(const std::string_view left, const std::string_view right) {
    std::vector<size_t> beforePrevious;
    std::vector<size_t> previous(right.size() + 1);
    for (size_t column = 0; column <= right.size(); ++column)
        previous[column] = column;
    for (size_t row = 1; row <= left.size(); ++row) {
        std::vector<size_t> current{row};
        for (size_t column = 1; column <= right.size(); ++column) {
            const bool isSame = left[row - 1] == right[column - 1];
            size_t distance = std::min({previous[column] + 1, current[column - 1] + 1, previous[column - 1] + !isSame});
            if (row > 1 && column > 1 && left[row - 1] == right[column - 2] && left[row - 2] == right[column - 1])
                distance = std::min(distance, beforePrevious[column - 2] + 1);
            current.push_back(distance);
        }
        beforePrevious = std::move(previous);
        previous = std::move(current);
    }
    return previous.back();
}

} // namespace

std::string suggest(const std::string_view typed, const std::vector<std::string>& names) {
    const std::string* best = nullptr;
    const size_t numberOfDashes = std::min(typed.find_first_not_of('-'), typed.size());
    size_t leastDistance = std::max(size_t(1), (typed.size() - numberOfDashes) / CHARACTERS_AN_ERROR) + 1;
    for (const std::string& name : names) {
        const bool isBeginning = typed.size() >= SHORTEST_BEGINNING && name.starts_with(typed);
        // Long texts are not typing errors of short names.
        const size_t distance = isBeginning                      ? 0
                                : typed.size() > 2 * name.size() ? leastDistance
                                                                 : editDistance(typed, name);
        if (distance < leastDistance) {
            leastDistance = distance;
            best = &name;
        }
    }
    return best == nullptr ? "" : "; did you mean '" + *best + "'?";
}
