#include "tools/melnar-dict/saved/DictionaryPortrait.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/NumericComponentProperty.h"

#include <algorithm>
#include <bit>
#include <numeric>
#include <optional>
#include <utility>

namespace {

using Metric = ComponentInfo::Metric;
using Lengths = DictionaryPortrait::Lengths;

/// Collects the memory of a component and of those below it. A part that is called like a datatype is its hash table.
void collectParts(const ComponentInfo& component, const size_t depth, std::vector<DictionaryPortrait::Part>& parts) {
    for (const auto& property : component.getProperties())
        if (property->getMetric() == Metric::MEMORY_CONSUMED)
            parts.push_back({depth == 1 ? component.getName() : "Hash table of " + component.getName(),
                             dynamic_cast<const NumericComponentProperty&>(*property).getValue()});
    for (const auto& child : component.getChildren())
        collectParts(*child, depth + 1, parts);
}

const ComponentInfo* findChild(const ComponentInfo& component, const std::string& name) {
    for (const auto& child : component.getChildren())
        if (child->getName() == name)
            return child.get();
    return nullptr;
}

void add(Lengths& lengths, const uint64_t length) {
    lengths.m_shortest = lengths.m_numberOfStrings == 0 ? length : std::min(lengths.m_shortest, length);
    lengths.m_longest = std::max(lengths.m_longest, length);
    ++lengths.m_numberOfStrings;
    lengths.m_bytes += length;
    const auto digits = static_cast<size_t>(std::bit_width(length));
    if (digits >= lengths.m_strings.size())
        lengths.m_strings.resize(digits + 1, 0);
    ++lengths.m_strings[digits];
}

template<class Items, class Member>
uint64_t getSum(const Items& items, const Member member) {
    return std::accumulate(items.begin(), items.end(), uint64_t(0),
                           [member](const uint64_t sum, const auto& item) { return sum + item.*member; });
}

} // namespace

DictionaryPortrait DictionaryPortrait::of(const Dictionary& dictionary, std::string name) {
    DictionaryPortrait portrait;
    portrait.m_name = std::move(name);
    const std::unique_ptr<ComponentInfo> componentInfo = dictionary.getDetailedComponentInfo();
    collectParts(*componentInfo, 0, portrait.m_parts);
    if (const ComponentInfo* const dataPool = findChild(*componentInfo, "Data pool")) {
        portrait.m_poolBytes = dataPool->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt);
        portrait.m_unusedPoolBytes = dataPool->getSumOverNumericMetric(Metric::BYTES_UNUSED, std::nullopt);
    }
    if (const ComponentInfo* const languages = findChild(*componentInfo, "Languages"))
        for (const auto& property : languages->getProperties())
            portrait.m_languages.push_back(
                {property->getLabel(), dynamic_cast<const NumericComponentProperty&>(*property).getValue()});
    portrait.m_tables = dictionary.getTableProfiles(NUMBER_OF_SEGMENTS);
    portrait.m_lengths.resize(2);
    Lengths& ofStrings = portrait.m_lengths[0];
    Lengths& ofPlainLiterals = portrait.m_lengths[1];
    ofStrings.m_datatypeName = "xsd:string";
    ofPlainLiterals.m_datatypeName = "rdf:PlainLiteral";
    dictionary.forEachResource([&](uint64_t, const ResourceValue& value) {
        add(value.m_datatypeID == D_XSD_STRING ? ofStrings : ofPlainLiterals, value.m_dataSize - 1);
    });
    portrait.m_numberOfIDs = dictionary.getNextResourceID() - 1;
    return portrait;
}

uint64_t DictionaryPortrait::getNumberOfStrings() const {
    return getSum(m_lengths, &Lengths::m_numberOfStrings);
}

uint64_t DictionaryPortrait::getMemoryBytes() const {
    return getSum(m_parts, &Part::m_bytes);
}

uint64_t DictionaryPortrait::getTextBytes() const {
    return getSum(m_lengths, &Lengths::m_bytes);
}
