#include "tools/melnar-dict/shell/Amounts.h"

std::string groupDigits(const uint64_t number) {
    std::string text = std::to_string(number);
    for (size_t place = text.size(); place > 3;)
        text.insert(place -= 3, 1, ',');
    return text;
}
