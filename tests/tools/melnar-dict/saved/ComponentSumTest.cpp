#include "tools/melnar-dict/saved/ComponentSum.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/TableProfile.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

using namespace melnar;

namespace {

using Json = nlohmann::json;

Json toJson(const ComponentInfo& component) {
    MemoryOutputStream output;
    component.printJSON(output);
    return Json::parse(output.getBytes());
}

/// Collects the figures of a tree by their places: names of components, with numbers for equal names, and label.
void collect(const Json& component, const std::string& place, std::map<std::string, double>& figures) {
    for (const Json& property : component["properties"])
        if (property["value"].is_number())
            figures[place + property["label"].get<std::string>()] += property["value"].get<double>();
    for (const Json& child : component["children"])
        collect(child, place + child["name"].get<std::string>() + "/", figures);
}

std::map<std::string, double> collect(const Json& component) {
    std::map<std::string, double> figures;
    collect(component, "", figures);
    return figures;
}

class ComponentSumTest : public testing::Test {
protected:
    using Form = std::pair<std::string, uint8_t>;

    void addDictionary(const std::vector<Form>& forms) {
        auto dictionary = std::make_unique<Dictionary>(
            DictionaryOptions{.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 100000});
        {
            DictionaryThread thread(*dictionary);
            for (const auto& [form, datatypeID] : forms)
                dictionary->resolveResource(thread, form, datatypeID);
        }
        dictionary->commit();
        m_dictionaries.push_back(std::move(dictionary));
    }

    Json getSum() const {
        ComponentSum sum;
        for (const auto& dictionary : m_dictionaries)
            sum.add(*dictionary->getDetailedComponentInfo());
        return toJson(*sum.toComponentInfo("Dictionary"));
    }

    std::vector<std::unique_ptr<Dictionary>> m_dictionaries;
};

TEST_F(ComponentSumTest, nothingHasNoFigures) {
    EXPECT_EQ((Json{{"name", "Dictionary"}, {"properties", Json::array()}, {"children", Json::array()}}), getSum());
}

TEST_F(ComponentSumTest, theSumOfOneIsItsTreeWithoutFiguresOfTheWhole) {
    addDictionary({{"a", D_XSD_STRING}, {"b@en", D_RDF_PLAIN_LITERAL}, {"a:b", D_IRI}, {"5^^a:t", D_TYPED_LITERAL}});
    Json expected = toJson(*m_dictionaries[0]->getDetailedComponentInfo());
    Json& properties = expected["properties"];
    for (size_t index = properties.size(); index-- > 0;)
        if (properties[index]["metric"] == "GENERATION" || properties[index]["metric"] == "MEMORY_LIMIT")
            properties.erase(index);
    EXPECT_EQ(expected, getSum());
}

TEST_F(ComponentSumTest, figuresAreThoseOfAllTogether) {
    std::vector<Form> forms;
    for (int number = 0; number < 2500; ++number) // so the tables have different sizes
        forms.emplace_back(std::to_string(number), D_XSD_STRING);
    forms.emplace_back("_", D_BLANK_NODE);
    forms.emplace_back("x@en", D_RDF_PLAIN_LITERAL);
    addDictionary(forms);
    addDictionary({{"a", D_XSD_STRING},
                   {"b", D_XSD_STRING},
                   {"a:b", D_IRI},
                   {"y@de", D_RDF_PLAIN_LITERAL},
                   {"z@de", D_RDF_PLAIN_LITERAL},
                   {"z@fr", D_RDF_PLAIN_LITERAL},
                   {"z@en", D_RDF_PLAIN_LITERAL},
                   {"z@be", D_RDF_PLAIN_LITERAL}});
    std::map<std::string, double> expected;
    for (const auto& dictionary : m_dictionaries)
        for (const auto& [place, value] : collect(toJson(*dictionary->getDetailedComponentInfo())))
            expected[place] += value;
    expected.erase("Generation");
    expected.erase("Memory limit (bytes)");
    const auto terms = static_cast<double>(forms.size() + 8);
    expected["Bytes per resource beyond its text"] =
        (expected["Aggregate memory consumed (bytes)"] - expected["Bytes of text"]) / terms;
    std::map<std::string, std::string> datatypes{{"xsd:string", "StringDatatype"},
                                                 {"rdf:PlainLiteral", "StringDatatype"},
                                                 {"IRIs", "TermDatatype"},
                                                 {"blank nodes", "TermDatatype"}};
    for (const auto& [table, datatype] : datatypes) {
        double entries = 0;
        double buckets = 0;
        size_t longest = 0;
        for (const auto& dictionary : m_dictionaries)
            for (const TableProfile& profile : dictionary->getTableProfiles(1))
                if (profile.m_name == table) {
                    longest = std::max(longest, profile.m_probeLengths.size());
                    for (size_t index = 0; index < profile.m_probeLengths.size(); ++index) {
                        entries += static_cast<double>(profile.m_probeLengths[index]);
                        buckets += static_cast<double>(profile.m_probeLengths[index] * (index + 1));
                    }
                }
        const std::string tablePlace = datatype + "/" + table + "/";
        const std::string probesPlace = datatype + " probes/" + table + "/";
        expected[tablePlace + "Load factor (%)"] =
            expected[tablePlace + "Number of used buckets"] * 100 / expected[tablePlace + "Number of buckets"];
        expected[probesPlace + "Average probe length (buckets)"] = buckets / entries;
        expected[probesPlace + "Longest probe length (buckets)"] = static_cast<double>(longest);
    }
    const Json sum = getSum();
    const std::map<std::string, double> figures = collect(sum);
    EXPECT_EQ(expected.size(), figures.size());
    for (const auto& [place, value] : expected) {
        ASSERT_TRUE(figures.contains(place)) << place;
        EXPECT_NEAR(value, figures.at(place), 1e-9 * value) << place;
    }
    EXPECT_LT(1, figures.at("StringDatatype probes/xsd:string/Average probe length (buckets)"));
    const auto languages =
        std::ranges::find(sum["children"], "Languages", [](const Json& child) { return child["name"]; });
    ASSERT_NE(sum["children"].end(), languages);
    std::vector<std::string> tags;
    for (const Json& property : (*languages)["properties"])
        tags.push_back(property["label"]);
    EXPECT_EQ((std::vector<std::string>{"de", "en", "be", "fr"}), tags) << "most frequent first, then by the alphabet";
}

TEST_F(ComponentSumTest, deletedBucketsDoNotCountAsEntries) {
    addDictionary({{"a", D_XSD_STRING}, {"b", D_XSD_STRING}});
    {
        DictionaryThread thread(*m_dictionaries[0]);
        m_dictionaries[0]->resolveResource(thread, "c", D_XSD_STRING);
    }
    m_dictionaries[0]->rollback();
    addDictionary({{"d", D_XSD_STRING}});
    const std::map<std::string, double> figures = collect(getSum());
    EXPECT_EQ(1, figures.at("StringDatatype probes/xsd:string/Number of deleted buckets"));
    EXPECT_EQ(4, figures.at("StringDatatype/xsd:string/Number of used buckets"));
    EXPECT_EQ(3, figures.at("Number of resources of http://www.w3.org/2001/XMLSchema#string"));
    EXPECT_DOUBLE_EQ(1, figures.at("StringDatatype probes/xsd:string/Average probe length (buckets)"));
}

} // namespace
