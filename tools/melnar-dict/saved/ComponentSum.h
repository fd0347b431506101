#pragma once

#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

/// The sum of the trees of figures of several dictionaries, which is a tree like each of them: counts and bytes are
/// added up, of lengths the longest is taken, averages and shares are those of all together. Properties of a dictionary
/// as a whole are omitted: identity, generation and limit.
///
/// Ownership  Refers to nothing.
/// Threads    One at a time.
/// Errors     std::bad_alloc.
class ComponentSum : private Unmovable {
public:
    /// Adds the tree that Dictionary::getDetailedComponentInfo returns for a dictionary with terms.
    void add(const ComponentInfo& dictionary);

    std::unique_ptr<ComponentInfo> toComponentInfo(std::string name) const;

private:
    using Metric = ComponentInfo::Metric;

    /// A number, or an average: a sum over `m_weight` items.
    struct Figure {
        Metric m_metric;
        std::optional<std::string> m_name;
        uint64_t m_number = 0;
        double m_weightedSum = 0;
        double m_weight = 0;
    };

    struct Component {
        std::string m_name;
        std::string m_nameOfFirstPart; // distinguishes components with the same name
        std::vector<Figure> m_figures{};
        std::vector<Component> m_parts{};
    };

    /// The used buckets of the tables of a dictionary, by their names.
    using UsedBuckets = std::map<std::string, uint64_t>;

    static void collect(const ComponentInfo& component, UsedBuckets& usedBuckets);
    void add(const ComponentInfo& component, const UsedBuckets& usedBuckets, Component& sum);
    void set(const Component& sum, ComponentInfo& component) const;
    void setLanguages(ComponentInfo& component) const;

    Component m_sum;
    std::map<std::string, uint64_t> m_languages; // which may be many
};
