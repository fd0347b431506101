#include "tools/melnar-dict/saved/DictionaryPortrait.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/NumericComponentProperty.h"

#include <algorithm>
#include <array>
#include <bit>
#include <numeric>
#include <optional>
#include <utility>

namespace {

using Metric = ComponentInfo::Metric;
using Lengths = DictionaryPortrait::Lengths;

/// Collects the memory of a component and of those below it. A part that is called like a table is a hash table.
void collectParts(const ComponentInfo& component, DictionaryPortrait& portrait) {
    const bool isTable =
        std::ranges::find(portrait.m_tables, component.getName(), &TableProfile::m_name) != portrait.m_tables.end();
    for (const auto& property : component.getProperties())
        if (property->getMetric() == Metric::MEMORY_CONSUMED)
            portrait.m_parts.push_back({isTable ? "Hash table of " + component.getName() : component.getName(),
                                        dynamic_cast<const NumericComponentProperty&>(*property).getValue()});
    for (const auto& child : component.getChildren())
        collectParts(*child, portrait);
}

const ComponentInfo* findChild(const ComponentInfo& component, const std::string& name) {
    for (const auto& child : component.getChildren())
        if (child->getName() == name)
            return child.get();
    return nullptr;
}

void add(Lengths& lengths, const uint64_t length) {
    lengths.m_shortest = lengths.m_numberOfTerms == 0 ? length : std::min(lengths.m_shortest, length);
    lengths.m_longest = std::max(lengths.m_longest, length);
    ++lengths.m_numberOfTerms;
    lengths.m_bytes += length;
    const auto digits = static_cast<size_t>(std::bit_width(length));
    if (digits >= lengths.m_terms.size())
        lengths.m_terms.resize(digits + 1, 0);
    ++lengths.m_terms[digits];
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
    portrait.m_tables = dictionary.getTableProfiles(NUMBER_OF_SEGMENTS);
    collectParts(*componentInfo, portrait);
    if (const ComponentInfo* const dataPool = findChild(*componentInfo, "Data pool")) {
        portrait.m_poolBytes = dataPool->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt);
        portrait.m_unusedPoolBytes = dataPool->getSumOverNumericMetric(Metric::BYTES_UNUSED, std::nullopt);
    }
    if (const ComponentInfo* const languages = findChild(*componentInfo, "Languages"))
        for (const auto& property : languages->getProperties())
            portrait.m_languages.push_back(
                {property->getLabel(), dynamic_cast<const NumericComponentProperty&>(*property).getValue()});
    std::array<Lengths, NUMBER_OF_DATATYPE_IDS> lengths;
    dictionary.forEachResource([&](uint64_t, const ResourceValue& value) {
        add(lengths[value.m_datatypeID], value.m_dataSize - 1 + value.m_auxiliaryDataSize);
    });
    lengths[D_XSD_STRING].m_datatypeName = "xsd:string";
    lengths[D_RDF_PLAIN_LITERAL].m_datatypeName = "rdf:PlainLiteral";
    portrait.m_lengths = {lengths[D_XSD_STRING], lengths[D_RDF_PLAIN_LITERAL]};
    for (const uint8_t datatypeID : {D_IRI, D_BLANK_NODE, D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM})
        if (lengths[datatypeID].m_numberOfTerms != 0) {
            lengths[datatypeID].m_datatypeName = TermFamily::get(datatypeID).m_plural;
            portrait.m_lengths.push_back(lengths[datatypeID]);
        }
    portrait.m_numberOfIDs = dictionary.getNextResourceID() - 1;
    return portrait;
}

uint64_t DictionaryPortrait::getNumberOfTerms() const {
    return getSum(m_lengths, &Lengths::m_numberOfTerms);
}

uint64_t DictionaryPortrait::getMemoryBytes() const {
    return getSum(m_parts, &Part::m_bytes);
}

uint64_t DictionaryPortrait::getTextBytes() const {
    return getSum(m_lengths, &Lengths::m_bytes);
}
