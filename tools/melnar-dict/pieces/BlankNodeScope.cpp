#include "tools/melnar-dict/pieces/BlankNodeScope.h"

#include <charconv>

namespace {

constexpr std::string_view DOCUMENT = "doc";

} // namespace

uint64_t BlankNodeScope::getDocument(const std::string_view uniqueLabel) noexcept {
    if (!uniqueLabel.starts_with(DOCUMENT))
        return 1;
    const char* const digits = uniqueLabel.data() + DOCUMENT.size();
    const char* const labelEnd = uniqueLabel.data() + uniqueLabel.size();
    uint64_t document = 0;
    const auto [end, error] = std::from_chars(digits, labelEnd, document);
    return error == std::errc() && *digits != '0' && end != labelEnd && *end == '-' ? document : 1;
}

void BlankNodeScope::appendLabel(const uint64_t document, const std::string_view label, std::string& output) {
    if (document == NO_DOCUMENT) {
        output += label;
        return;
    }
    if (document != 1) {
        output.append(DOCUMENT).append(std::to_string(document)).append("-").append(label);
        return;
    }
    // A label that has the underscores already gets one more, so that no two labels become the same.
    const size_t behindUnderscores = label.find_first_not_of('_', DOCUMENT.size());
    const bool looksUnique = label.starts_with(DOCUMENT) && behindUnderscores != std::string_view::npos &&
                             getDocument(std::string(DOCUMENT).append(label.substr(behindUnderscores))) != 1;
    if (looksUnique)
        output.append(DOCUMENT).append("_").append(label.substr(DOCUMENT.size()));
    else
        output += label;
}
