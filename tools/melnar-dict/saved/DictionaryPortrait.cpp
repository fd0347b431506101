#include "tools/melnar-dict/saved/DictionaryPortrait.h"

#include "tools/melnar-dict/saved/OrderedMerge.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/NumericComponentProperty.h"

#include <algorithm>
#include <array>
#include <bit>
#include <functional>
#include <map>
#include <numeric>
#include <optional>
#include <utility>

using namespace melnar;

namespace {

using Metric = ComponentInfo::Metric;
using Lengths = DictionaryPortrait::Lengths;

/// Collects the memory of a component and of those below it. A part with the name of a table is a hash table.
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

template<class Number>
void addEach(const std::vector<Number>& numbers, std::vector<Number>& sums) {
    sums.resize(std::max(sums.size(), numbers.size()), 0);
    std::ranges::transform(numbers, sums, sums.begin(), std::plus());
}

void add(const TableProfile& table, TableProfile& sum) {
    sum.m_numberOfBuckets += table.m_numberOfBuckets;
    addEach(table.m_usedBuckets, sum.m_usedBuckets);
    addEach(table.m_probeLengths, sum.m_probeLengths);
}

void add(const Lengths& lengths, Lengths& sum) {
    if (lengths.m_numberOfTerms == 0)
        return;
    sum.m_shortest = sum.m_numberOfTerms == 0 ? lengths.m_shortest : std::min(sum.m_shortest, lengths.m_shortest);
    sum.m_longest = std::max(sum.m_longest, lengths.m_longest);
    sum.m_numberOfTerms += lengths.m_numberOfTerms;
    sum.m_bytes += lengths.m_bytes;
    addEach(lengths.m_terms, sum.m_terms);
}

void add(const DictionaryPortrait::Part& part, DictionaryPortrait::Part& sum) {
    sum.m_bytes += part.m_bytes;
}

void addEach(const std::vector<DictionaryPortrait::Language>& languages,
             std::vector<DictionaryPortrait::Language>& sums) {
    std::map<std::string, uint64_t> strings;
    for (const auto* const counted : {&languages, &std::as_const(sums)})
        for (const DictionaryPortrait::Language& language : *counted)
            strings[language.m_tag] += language.m_numberOfStrings;
    sums.clear();
    for (const auto& [tag, numberOfStrings] : strings)
        sums.push_back({tag, numberOfStrings});
    std::ranges::stable_sort(sums, std::ranges::greater(), &DictionaryPortrait::Language::m_numberOfStrings);
}

/// Adds each item to the one with the same name.
template<class Item>
void addEach(const std::vector<Item>& items, std::vector<Item>& sums, std::string Item::*const name) {
    OrderedMerge merge(sums);
    for (const Item& item : items) {
        Item& sum = merge.findOrMake([&](const Item& other) { return other.*name == item.*name; },
                                     [&] {
                                         Item added;
                                         added.*name = item.*name;
                                         return added;
                                     });
        add(item, sum);
    }
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
    for (const auto& [resourceID, value] : dictionary)
        add(lengths[value.m_datatypeID], value.m_dataSize - 1 + value.m_auxiliaryDataSize);
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

void DictionaryPortrait::addShard(const DictionaryPortrait& shard) {
    addEach(shard.m_parts, m_parts, &Part::m_name);
    addEach(shard.m_tables, m_tables, &TableProfile::m_name);
    addEach(shard.m_lengths, m_lengths, &Lengths::m_datatypeName);
    addEach(shard.m_languages, m_languages);
    m_poolBytes += shard.m_poolBytes;
    m_unusedPoolBytes += shard.m_unusedPoolBytes;
    m_numberOfIDs += shard.m_numberOfIDs;
    ++m_numberOfShards;
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
