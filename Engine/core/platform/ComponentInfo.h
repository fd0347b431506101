#pragma once

#include "Engine/core/platform/ComponentProperty.h"
#include "Engine/core/platform/Export.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

class OutputStream;

/// A node of a statistics tree: the name, the figures and the parts of a component.
///
/// Ownership  A node owns its properties and its children.
/// Threads    One thread at a time.
/// Errors     std::bad_alloc; the node is then unchanged.
class MELNAR_EXPORT ComponentInfo {
public:
    /// What a figure means.
    using Metric = ComponentProperty::Metric;

    /// Makes a node without figures and parts.
    explicit ComponentInfo(std::string&& name);
    ComponentInfo(const ComponentInfo&) = delete;
    ComponentInfo& operator=(const ComponentInfo&) = delete;
    ~ComponentInfo();

    /// Adds an integer. Its text is padded to `minimumWidth`; 0 means no padding.
    void addNumericProperty(Metric metric, std::optional<std::string> name, unsigned long value,
                            unsigned short minimumWidth);

    /// Adds a number with a fraction.
    void addDoubleProperty(Metric metric, std::optional<std::string> name, double value);

    /// Adds a text of ASCII letters and digits.
    void addTextProperty(Metric metric, std::optional<std::string> name, std::string value);

    /// Adds a part after the others.
    void addChild(std::unique_ptr<ComponentInfo> child);

    /// Returns the sum of the integers of this metric in this node and all its descendants. A property with a name
    /// counts only if `name` is absent or the same; properties without a name always count.
    unsigned long getSumOverNumericMetric(Metric metric, std::optional<std::string> name) const;

    /// Returns the name of the component.
    const std::string& getName() const noexcept { return m_name; }

    /// Returns the figures, in the order in which they were added.
    const std::vector<std::unique_ptr<ComponentProperty>>& getProperties() const noexcept { return m_properties; }

    /// Returns the parts, in the order in which they were added.
    const std::vector<std::unique_ptr<ComponentInfo>>& getChildren() const noexcept { return m_children; }

    /// Writes the tree as text for people: one line per name or figure, parts indented by four spaces.
    void printText(OutputStream& output) const;

    /// Writes the tree as one JSON object with "name", "properties" and "children", and a line feed.
    void printJSON(OutputStream& output) const;

private:
    void appendText(std::string& output, size_t depth) const;
    void appendJSON(std::string& output, size_t depth) const;

    const std::string m_name;
    std::vector<std::unique_ptr<ComponentProperty>> m_properties;
    std::vector<std::unique_ptr<ComponentInfo>> m_children;
};
