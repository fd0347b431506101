#pragma once

#include "Engine/core/platform/Export.h"

#include <optional>
#include <string>
#include <utility>

/// One figure of a ComponentInfo node, or what it is known by. Immutable.
class MELNAR_EXPORT ComponentProperty {
public:
    /// What a figure means. The numbers are part of the interface and never change.
    enum class Metric : unsigned short {
        MEMORY_CONSUMED = 0,
        NUMBER_OF_BUCKETS = 1,
        NUMBER_OF_USED_BUCKETS = 2,
        LOAD_FACTOR = 3,
        NUMBER_OF_RESOURCES = 4,
        BYTES_OF_TEXT = 5,
        BYTES_UNUSED = 6,
        MEMORY_LIMIT = 7,
        AVERAGE_PROBE_LENGTH = 8,
        LONGEST_PROBE_LENGTH = 9,
        NUMBER_OF_DELETED_BUCKETS = 10,
        BYTES_PER_RESOURCE = 11,
        IDENTITY = 12,
        GENERATION = 13,
        AGGREGATE_MEMORY_CONSUMED = 40,
    };

    ComponentProperty(const Metric metric, std::optional<std::string>&& name)
        : m_metric(metric), m_name(std::move(name)) {}
    ComponentProperty(const ComponentProperty&) = delete;
    ComponentProperty& operator=(const ComponentProperty&) = delete;
    virtual ~ComponentProperty();

    /// The value: a text of ASCII letters and digits, or in decimal, and then a valid JSON number unless it is not
    /// finite, which no figure here is.
    virtual std::string getValueText() const = 0;

    /// Whether the value is a number.
    virtual bool isNumber() const noexcept { return true; }

    Metric getMetric() const noexcept { return m_metric; }
    const std::optional<std::string>& getName() const noexcept { return m_name; }

    /// The name, or for a nameless property the usual words for its metric.
    std::string getLabel() const;

    /// The enumerator's name, as machines read it.
    static const char* getMetricName(Metric metric) noexcept;

private:
    const Metric m_metric;
    const std::optional<std::string> m_name;
};
