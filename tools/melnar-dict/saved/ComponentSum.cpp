#include "tools/melnar-dict/saved/ComponentSum.h"

#include "tools/melnar-dict/saved/OrderedMerge.h"

#include "Engine/core/platform/DoubleComponentProperty.h"
#include "Engine/core/platform/NumericComponentProperty.h"

#include <algorithm>
#include <functional>
#include <utility>

using namespace melnar;

namespace {

using Metric = ComponentInfo::Metric;

constexpr const char* LANGUAGES = "Languages";

std::string getNameOfFirstPart(const ComponentInfo& component) {
    return component.getChildren().empty() ? "" : component.getChildren().front()->getName();
}

/// Returns the sum of a component's own numbers of a metric.
uint64_t getNumber(const ComponentInfo& component, const Metric metric) {
    uint64_t sum = 0;
    for (const auto& property : component.getProperties())
        if (property->getMetric() == metric)
            sum += dynamic_cast<const NumericComponentProperty&>(*property).getValue();
    return sum;
}

} // namespace

void ComponentSum::collect(const ComponentInfo& component, UsedBuckets& usedBuckets) {
    if (const uint64_t number = getNumber(component, Metric::NUMBER_OF_USED_BUCKETS); number != 0)
        usedBuckets.emplace(component.getName(), number);
    for (const auto& child : component.getChildren())
        collect(*child, usedBuckets);
}

void ComponentSum::add(const ComponentInfo& dictionary) {
    UsedBuckets usedBuckets;
    collect(dictionary, usedBuckets);
    add(dictionary, usedBuckets, m_sum);
}

void ComponentSum::add(const ComponentInfo& component, const UsedBuckets& usedBuckets, Component& sum) {
    if (component.getName() == LANGUAGES) {
        for (const auto& property : component.getProperties())
            m_languages[property->getLabel()] += dynamic_cast<const NumericComponentProperty&>(*property).getValue();
        return;
    }
    OrderedMerge figures(sum.m_figures);
    for (const auto& property : component.getProperties()) {
        const Metric metric = property->getMetric();
        if (metric == Metric::IDENTITY || metric == Metric::GENERATION || metric == Metric::MEMORY_LIMIT)
            continue;
        Figure& figure = figures.findOrMake(
            [&](const Figure& other) { return other.m_metric == metric && other.m_name == property->getName(); },
            [&] {
                return Figure{metric, property->getName()};
            });
        if (const auto* const number = dynamic_cast<const NumericComponentProperty*>(property.get())) {
            figure.m_number = metric == Metric::LONGEST_PROBE_LENGTH ? std::max(figure.m_number, number->getValue())
                                                                     : figure.m_number + number->getValue();
            continue;
        }
        const uint64_t weight =
            metric == Metric::LOAD_FACTOR ? getNumber(component, Metric::NUMBER_OF_BUCKETS)
            : metric == Metric::AVERAGE_PROBE_LENGTH
                ? usedBuckets.at(component.getName()) - getNumber(component, Metric::NUMBER_OF_DELETED_BUCKETS)
                : getNumber(component, Metric::NUMBER_OF_RESOURCES);
        figure.m_weight += static_cast<double>(weight);
        figure.m_weightedSum +=
            static_cast<double>(weight) * dynamic_cast<const DoubleComponentProperty&>(*property).getValue();
    }
    OrderedMerge parts(sum.m_parts);
    for (const auto& child : component.getChildren()) {
        const std::string nameOfFirstPart = getNameOfFirstPart(*child);
        add(*child, usedBuckets,
            parts.findOrMake(
                [&](const Component& other) {
                    return other.m_name == child->getName() && other.m_nameOfFirstPart == nameOfFirstPart;
                },
                [&] {
                    return Component{child->getName(), nameOfFirstPart};
                }));
    }
}

std::unique_ptr<ComponentInfo> ComponentSum::toComponentInfo(std::string name) const {
    auto root = std::make_unique<ComponentInfo>(std::move(name));
    set(m_sum, *root);
    return root;
}

/// Most frequent first, as in the tree of one dictionary.
void ComponentSum::setLanguages(ComponentInfo& component) const {
    std::vector<std::pair<std::string, uint64_t>> languages(m_languages.begin(), m_languages.end());
    std::ranges::stable_sort(languages, std::ranges::greater(), &std::pair<std::string, uint64_t>::second);
    for (const auto& [tag, numberOfStrings] : languages)
        component.addNumericProperty(Metric::NUMBER_OF_RESOURCES, tag, numberOfStrings, 0);
}

void ComponentSum::set(const Component& sum, ComponentInfo& component) const {
    if (sum.m_name == LANGUAGES)
        setLanguages(component);
    for (const Figure& figure : sum.m_figures)
        if (figure.m_weight == 0)
            component.addNumericProperty(figure.m_metric, figure.m_name, figure.m_number, 0);
        else
            component.addDoubleProperty(figure.m_metric, figure.m_name, figure.m_weightedSum / figure.m_weight);
    for (const Component& part : sum.m_parts) {
        auto child = std::make_unique<ComponentInfo>(std::string(part.m_name));
        set(part, *child);
        component.addChild(std::move(child));
    }
}
