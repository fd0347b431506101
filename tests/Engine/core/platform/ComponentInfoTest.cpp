#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <memory>
#include <utility>

using namespace melnar;

namespace {

using Metric = ComponentInfo::Metric;

/// Makes a root with two figures and two parts, one of which also has a part.
std::unique_ptr<ComponentInfo> makeTree() {
    auto root = std::make_unique<ComponentInfo>("Root");
    root->addNumericProperty(Metric::MEMORY_CONSUMED, std::nullopt, 100, 0);
    root->addDoubleProperty(Metric::LOAD_FACTOR, "Fill", 12.5);
    auto first = std::make_unique<ComponentInfo>("First");
    first->addNumericProperty(Metric::MEMORY_CONSUMED, "Text", 20, 6);
    auto deep = std::make_unique<ComponentInfo>("Deep");
    deep->addNumericProperty(Metric::MEMORY_CONSUMED, "Other", 3, 0);
    first->addChild(std::move(deep));
    root->addChild(std::move(first));
    root->addChild(std::make_unique<ComponentInfo>("Second"));
    return root;
}

std::string getText(const ComponentInfo& componentInfo) {
    MemoryOutputStream output;
    componentInfo.printText(output);
    return output.getBytes();
}

std::string getJSON(const ComponentInfo& componentInfo) {
    MemoryOutputStream output;
    componentInfo.printJSON(output);
    return output.getBytes();
}

} // namespace

TEST(ComponentInfoTest, newNodeHasOnlyItsName) {
    const ComponentInfo componentInfo("Name");
    EXPECT_EQ("Name", componentInfo.getName());
    EXPECT_TRUE(componentInfo.getProperties().empty());
    EXPECT_TRUE(componentInfo.getChildren().empty());
}

TEST(ComponentInfoTest, propertiesAndChildrenKeepTheirOrder) {
    const std::unique_ptr<ComponentInfo> tree = makeTree();
    ASSERT_EQ(2u, tree->getProperties().size());
    EXPECT_EQ(Metric::MEMORY_CONSUMED, tree->getProperties()[0]->getMetric());
    EXPECT_EQ("Fill", tree->getProperties()[1]->getLabel());
    ASSERT_EQ(2u, tree->getChildren().size());
    EXPECT_EQ("First", tree->getChildren()[0]->getName());
    EXPECT_EQ("Second", tree->getChildren()[1]->getName());
}

TEST(ComponentInfoTest, propertiesLieBeforeChildren) {
    const ComponentInfo componentInfo("Name");
    EXPECT_LT(static_cast<const void*>(&componentInfo.getProperties()),
              static_cast<const void*>(&componentInfo.getChildren()));
}

TEST(ComponentInfoTest, sumWithoutANameTakesTheWholeTree) {
    EXPECT_EQ(123u, makeTree()->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt));
}

TEST(ComponentInfoTest, sumWithANameTakesThatNameAndNamelessOnes) {
    const std::unique_ptr<ComponentInfo> tree = makeTree();
    EXPECT_EQ(120u, tree->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, "Text"));
    EXPECT_EQ(103u, tree->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, "Other"));
    EXPECT_EQ(100u, tree->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, "Nobody's"));
}

TEST(ComponentInfoTest, sumLeavesOtherMetricsAndRealNumbersOut) {
    const std::unique_ptr<ComponentInfo> tree = makeTree();
    EXPECT_EQ(0u, tree->getSumOverNumericMetric(Metric::NUMBER_OF_BUCKETS, std::nullopt));
    EXPECT_EQ(0u, tree->getSumOverNumericMetric(Metric::LOAD_FACTOR, std::nullopt));
}

TEST(ComponentInfoTest, sumOfAPartLeavesItsParentOut) {
    EXPECT_EQ(23u, makeTree()->getChildren()[0]->getSumOverNumericMetric(Metric::MEMORY_CONSUMED, std::nullopt));
}

TEST(ComponentInfoTest, textIsALineForEachNameAndFigure) {
    EXPECT_EQ("Root\n"
              "    Memory consumed (bytes): 100\n"
              "    Fill: 12.5\n"
              "    First\n"
              "        Text:     20\n"
              "        Deep\n"
              "            Other: 3\n"
              "    Second\n",
              getText(*makeTree()));
}

TEST(ComponentInfoTest, jsonIsLaidOutForPeopleToo) {
    EXPECT_EQ("{\n"
              "    \"name\": \"Root\",\n"
              "    \"properties\": [\n"
              "        {\"metric\": \"LOAD_FACTOR\", \"label\": \"Fill\", \"value\": 12.5},\n"
              "        {\"metric\": \"BYTES_UNUSED\", \"label\": \"Bytes unused\", \"value\": 7}\n"
              "    ],\n"
              "    \"children\": [\n"
              "        {\n"
              "            \"name\": \"Part\",\n"
              "            \"properties\": [],\n"
              "            \"children\": []\n"
              "        }\n"
              "    ]\n"
              "}\n",
              [] {
                  ComponentInfo root("Root");
                  root.addDoubleProperty(Metric::LOAD_FACTOR, "Fill", 12.5);
                  root.addNumericProperty(Metric::BYTES_UNUSED, std::nullopt, 7, 0);
                  root.addChild(std::make_unique<ComponentInfo>("Part"));
                  return getJSON(root);
              }());
}

TEST(ComponentInfoTest, jsonHoldsTheWholeTree) {
    const nlohmann::json json = nlohmann::json::parse(getJSON(*makeTree()));
    const nlohmann::json expected = {
        {"name", "Root"},
        {"properties",
         {{{"metric", "MEMORY_CONSUMED"}, {"label", "Memory consumed (bytes)"}, {"value", 100}},
          {{"metric", "LOAD_FACTOR"}, {"label", "Fill"}, {"value", 12.5}}}},
        {"children",
         {{{"name", "First"},
           {"properties", {{{"metric", "MEMORY_CONSUMED"}, {"label", "Text"}, {"value", 20}}}},
           {"children",
            {{{"name", "Deep"},
              {"properties", {{{"metric", "MEMORY_CONSUMED"}, {"label", "Other"}, {"value", 3}}}},
              {"children", nlohmann::json::array()}}}}},
          {{"name", "Second"}, {"properties", nlohmann::json::array()}, {"children", nlohmann::json::array()}}}}};
    EXPECT_EQ(expected, json);
}

TEST(ComponentInfoTest, jsonEscapesEveryCharacterThatNeedsIt) {
    std::string name;
    for (char character = 0; character < 0x7F; ++character)
        name.push_back(character);
    name += "\x7F\xC3\xA4\xF0\x9F\x98\x80";
    ComponentInfo componentInfo{std::string(name)};
    componentInfo.addNumericProperty(Metric::MEMORY_CONSUMED, name, 1, 0);
    const nlohmann::json json = nlohmann::json::parse(getJSON(componentInfo));
    EXPECT_EQ(name, json["name"].get<std::string>());
    EXPECT_EQ(name, json["properties"][0]["label"].get<std::string>());
}

TEST(ComponentInfoTest, largeAndSmallNumbersReadBackFromJSON) {
    ComponentInfo componentInfo("Numbers");
    componentInfo.addNumericProperty(Metric::MEMORY_LIMIT, std::nullopt, 18446744073709551615u, 0);
    componentInfo.addDoubleProperty(Metric::LOAD_FACTOR, std::nullopt, 1e300);
    componentInfo.addDoubleProperty(Metric::LOAD_FACTOR, std::nullopt, 100.0 / 3.0);
    const nlohmann::json json = nlohmann::json::parse(getJSON(componentInfo));
    EXPECT_EQ(18446744073709551615u, json["properties"][0]["value"].get<uint64_t>());
    EXPECT_EQ(1e300, json["properties"][1]["value"].get<double>());
    EXPECT_EQ(100.0 / 3.0, json["properties"][2]["value"].get<double>());
}
