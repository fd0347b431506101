#include "Engine/core/data-store/dictionary/LanguageCounts.h"

#include "Engine/core/data-store/dictionary/PlainLiteral.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace melnar {

namespace {

/// Counts all malformed tags, which are not printed since they could control a terminal.
constexpr std::string_view MALFORMED_TAGS = "(malformed)";

} // namespace

void LanguageCounts::add(const std::string_view plainLiteral) {
    const bool hasTag = classifyPlainLiteral(plainLiteral.data(), plainLiteral.size()) == PlainLiteralKind::WITH_TAG;
    const std::string_view tag = hasTag ? plainLiteral.substr(plainLiteral.rfind('@') + 1) : MALFORMED_TAGS;
    const auto found = m_literalsByTag.find(tag);
    if (found == m_literalsByTag.end())
        m_literalsByTag.emplace(tag, 1);
    else
        ++found->second;
}

std::unique_ptr<ComponentInfo> LanguageCounts::toComponentInfo() const {
    std::vector<std::pair<std::string, size_t>> tags(m_literalsByTag.begin(), m_literalsByTag.end());
    std::stable_sort(tags.begin(), tags.end(),
                     [](const auto& left, const auto& right) { return left.second > right.second; });
    auto languages = std::make_unique<ComponentInfo>("Languages");
    for (const auto& [tag, literals] : tags)
        languages->addNumericProperty(ComponentInfo::Metric::NUMBER_OF_RESOURCES, tag, literals, 0);
    return languages;
}

} // namespace melnar
