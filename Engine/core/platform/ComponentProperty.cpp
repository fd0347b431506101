#include "Engine/core/platform/ComponentProperty.h"

namespace {

struct MetricTexts {
    const char* m_name;
    const char* m_label;
};

MetricTexts getMetricTexts(const ComponentProperty::Metric metric) noexcept {
    using Metric = ComponentProperty::Metric;
    switch (metric) {
    case Metric::MEMORY_CONSUMED:
        return {"MEMORY_CONSUMED", "Memory consumed (bytes)"};
    case Metric::NUMBER_OF_BUCKETS:
        return {"NUMBER_OF_BUCKETS", "Number of buckets"};
    case Metric::NUMBER_OF_USED_BUCKETS:
        return {"NUMBER_OF_USED_BUCKETS", "Number of used buckets"};
    case Metric::LOAD_FACTOR:
        return {"LOAD_FACTOR", "Load factor (%)"};
    case Metric::NUMBER_OF_RESOURCES:
        return {"NUMBER_OF_RESOURCES", "Number of resources"};
    case Metric::BYTES_OF_TEXT:
        return {"BYTES_OF_TEXT", "Bytes of text"};
    case Metric::BYTES_UNUSED:
        return {"BYTES_UNUSED", "Bytes unused"};
    case Metric::MEMORY_LIMIT:
        return {"MEMORY_LIMIT", "Memory limit (bytes)"};
    case Metric::AVERAGE_PROBE_LENGTH:
        return {"AVERAGE_PROBE_LENGTH", "Average probe length (buckets)"};
    case Metric::LONGEST_PROBE_LENGTH:
        return {"LONGEST_PROBE_LENGTH", "Longest probe length (buckets)"};
    case Metric::NUMBER_OF_DELETED_BUCKETS:
        return {"NUMBER_OF_DELETED_BUCKETS", "Number of deleted buckets"};
    case Metric::BYTES_PER_RESOURCE:
        return {"BYTES_PER_RESOURCE", "Bytes per resource beyond its text"};
    case Metric::IDENTITY:
        return {"IDENTITY", "Identity"};
    case Metric::GENERATION:
        return {"GENERATION", "Generation"};
    case Metric::AGGREGATE_MEMORY_CONSUMED:
        return {"AGGREGATE_MEMORY_CONSUMED", "Aggregate memory consumed (bytes)"};
    }
    return {"UNKNOWN", "Unknown"};
}

} // namespace

ComponentProperty::~ComponentProperty() = default;

std::string ComponentProperty::getLabel() const {
    return m_name ? *m_name : getMetricTexts(m_metric).m_label;
}

const char* ComponentProperty::getMetricName(const Metric metric) noexcept {
    return getMetricTexts(metric).m_name;
}
