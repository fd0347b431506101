#pragma once

#include "Engine/core/platform/Export.h"

#include <optional>
#include <string>
#include <utility>

/// One property of a ComponentInfo node: a figure or an identifying text. Immutable.
class MELNAR_EXPORT ComponentProperty {
public:
    /// The meaning of a property. The numbers are part of the interface and never change.
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

    /// Returns the value: a text of ASCII letters and digits, or a decimal number. The number is valid JSON unless it
    /// is not finite, which no figure here is.
    virtual std::string getValueText() const = 0;

    /// Returns whether the value is a number.
    virtual bool isNumber() const noexcept { return true; }

    Metric getMetric() const noexcept { return m_metric; }
    const std::optional<std::string>& getName() const noexcept { return m_name; }

    /// Returns the name; for a property without one, a description of its metric.
    std::string getLabel() const;

    /// Returns the name of the enumerator, for machines.
    static const char* getMetricName(Metric metric) noexcept;

private:
    const Metric m_metric;
    const std::optional<std::string> m_name;
};
