#include "Engine/core/platform/ComponentProperty.h"
#include "Engine/core/platform/DoubleComponentProperty.h"
#include "Engine/core/platform/NumericComponentProperty.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <limits>
#include <set>
#include <type_traits>
#include <utility>

using namespace melnar;

namespace {

using Metric = ComponentProperty::Metric;

constexpr std::array ALL_METRICS = {
    Metric::MEMORY_CONSUMED,
    Metric::NUMBER_OF_BUCKETS,
    Metric::NUMBER_OF_USED_BUCKETS,
    Metric::LOAD_FACTOR,
    Metric::NUMBER_OF_RESOURCES,
    Metric::BYTES_OF_TEXT,
    Metric::BYTES_UNUSED,
    Metric::MEMORY_LIMIT,
    Metric::AVERAGE_PROBE_LENGTH,
    Metric::LONGEST_PROBE_LENGTH,
    Metric::NUMBER_OF_DELETED_BUCKETS,
    Metric::BYTES_PER_RESOURCE,
    Metric::AGGREGATE_MEMORY_CONSUMED,
};

std::string getValueText(const double value) {
    return DoubleComponentProperty(Metric::LOAD_FACTOR, std::nullopt, value).getValueText();
}

} // namespace

TEST(ComponentPropertyTest, metricsKeepTheirNumbers) {
    static_assert(std::is_same_v<unsigned short, std::underlying_type_t<Metric>>);
    constexpr std::array<unsigned short, ALL_METRICS.size()> NUMBERS = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 40};
    for (size_t index = 0; index < NUMBERS.size(); ++index)
        EXPECT_EQ(NUMBERS[index], static_cast<unsigned short>(ALL_METRICS[index]));
}

TEST(ComponentPropertyTest, everyMetricHasANameAndALabelOfItsOwn) {
    std::set<std::string> names;
    std::set<std::string> labels;
    for (const Metric metric : ALL_METRICS) {
        names.insert(ComponentProperty::getMetricName(metric));
        labels.insert(NumericComponentProperty(metric, std::nullopt, 0, 0).getLabel());
    }
    EXPECT_EQ(ALL_METRICS.size(), names.size());
    EXPECT_EQ(ALL_METRICS.size(), labels.size());
    EXPECT_EQ(0u, names.count("UNKNOWN"));
    EXPECT_EQ("LOAD_FACTOR", std::string(ComponentProperty::getMetricName(Metric::LOAD_FACTOR)));
}

TEST(ComponentPropertyTest, metricOfNoNameIsUnknown) {
    const Metric metric = static_cast<Metric>(999);
    EXPECT_STREQ("UNKNOWN", ComponentProperty::getMetricName(metric));
    EXPECT_EQ("Unknown", NumericComponentProperty(metric, std::nullopt, 0, 0).getLabel());
}

TEST(ComponentPropertyTest, nameIsTheLabel) {
    const NumericComponentProperty property(Metric::NUMBER_OF_BUCKETS, "Mine", 5, 3);
    EXPECT_EQ("Mine", property.getLabel());
    EXPECT_EQ("Mine", property.getName());
    EXPECT_EQ(Metric::NUMBER_OF_BUCKETS, property.getMetric());
    EXPECT_EQ(5u, property.getValue());
    EXPECT_EQ(3u, property.getMinimumWidth());
}

TEST(ComponentPropertyTest, namelessPropertyIsLabelledByItsMetric) {
    const NumericComponentProperty property(Metric::NUMBER_OF_BUCKETS, std::nullopt, 5, 0);
    EXPECT_EQ("Number of buckets", property.getLabel());
    EXPECT_FALSE(property.getName().has_value());
}

TEST(ComponentPropertyTest, wholeNumbersPrintInDecimal) {
    const unsigned long largest = std::numeric_limits<unsigned long>::max();
    EXPECT_EQ("0", NumericComponentProperty(Metric::BYTES_UNUSED, std::nullopt, 0, 9).getValueText());
    EXPECT_EQ(std::to_string(largest),
              NumericComponentProperty(Metric::BYTES_UNUSED, std::nullopt, largest, 0).getValueText());
}

TEST(ComponentPropertyTest, realNumbersPrintTheShortestTextThatReadsBack) {
    EXPECT_EQ("0", getValueText(0.0));
    EXPECT_EQ("12.5", getValueText(12.5));
    EXPECT_EQ("0.1", getValueText(0.1));
    EXPECT_EQ("33.333333333333336", getValueText(100.0 / 3.0));
    for (const double value : {1e300, -1.7976931348623157e308, 5e-324, 2.2250738585072014e-308})
        EXPECT_EQ(value, std::strtod(getValueText(value).c_str(), nullptr));
    EXPECT_EQ(12.5, DoubleComponentProperty(Metric::LOAD_FACTOR, std::nullopt, 12.5).getValue());
}
