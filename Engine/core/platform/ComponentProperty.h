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
        MEMORY_CONSUMED = 0,            ///< bytes of memory of this component
        NUMBER_OF_BUCKETS = 1,          ///< the size of a hash table
        NUMBER_OF_USED_BUCKETS = 2,     ///< those with an entry or a tombstone
        LOAD_FACTOR = 3,                ///< used buckets, in percent of all
        NUMBER_OF_RESOURCES = 4,        ///< resources that exist
        BYTES_OF_TEXT = 5,              ///< the lengths of lexical forms, summed
        BYTES_UNUSED = 6,               ///< bytes of memory that no resource uses
        MEMORY_LIMIT = 7,               ///< the limit in bytes
        AVERAGE_PROBE_LENGTH = 8,       ///< buckets that a hit reads on average
        LONGEST_PROBE_LENGTH = 9,       ///< the most buckets that a hit reads
        NUMBER_OF_DELETED_BUCKETS = 10, ///< tombstones
        BYTES_PER_RESOURCE = 11,        ///< bytes of memory per resource, beyond its text
        IDENTITY = 12,                  ///< of the saved state, in hexadecimal digits
        GENERATION = 13,                ///< how often the dictionary was compacted
        AGGREGATE_MEMORY_CONSUMED = 40, ///< bytes of memory of this component and its parts
    };

    /// Makes a figure; without a name it is known by its metric.
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

    /// Returns what the figure means.
    Metric getMetric() const noexcept { return m_metric; }

    /// Returns the name of the figure, if it needs one beside its metric.
    const std::optional<std::string>& getName() const noexcept { return m_name; }

    /// Returns the name; for a property without one, a description of its metric.
    std::string getLabel() const;

    /// Returns the name of the enumerator, for machines.
    static const char* getMetricName(Metric metric) noexcept;

private:
    const Metric m_metric;
    const std::optional<std::string> m_name;
};
