#include "tools/melnar-dict/load/LoadReport.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

LoadReport makeReport() {
    LoadReport report;
    report.m_counts = {10, 3, 4, 25};
    report.m_distinctStrings = 2;
    report.m_distinctPlainLiterals = 1;
    report.m_errors = 5;
    report.m_textBytes = 6;
    report.m_memoryBytes = 12345678901;
    report.m_seconds = 0.5;
    return report;
}

TEST(LoadReportTest, isATableForPeople) {
    EXPECT_EQ("triples                                10\n"
              "string literals met                     7\n"
              "  xsd:string                            3\n"
              "  rdf:PlainLiteral                      4\n"
              "distinct xsd:string                     2\n"
              "distinct rdf:PlainLiteral               1\n"
              "other terms                            25\n"
              "errors                                  5\n"
              "bytes of text                           6\n"
              "bytes of memory               12345678901\n"
              "seconds                             0.500\n"
              "literals per second                    14\n",
              makeReport().toText());
}

TEST(LoadReportTest, isJsonForMachines) {
    const nlohmann::json json = nlohmann::json::parse(makeReport().toJson({}));
    EXPECT_EQ(nlohmann::json({{"triples", 10},
                              {"stringLiterals", 7},
                              {"xsdStringLiterals", 3},
                              {"rdfPlainLiteralLiterals", 4},
                              {"distinctXsdString", 2},
                              {"distinctRdfPlainLiteral", 1},
                              {"otherTerms", 25},
                              {"errors", 5},
                              {"textBytes", 6},
                              {"memoryBytes", 12345678901},
                              {"seconds", 0.5},
                              {"literalsPerSecond", 14}}),
              json);
}

TEST(LoadReportTest, givesTheAnswersWithTheJson) {
    const nlohmann::json json =
        nlohmann::json::parse(makeReport().toJson({Lookup::ofLiteral("'a\"b'"), Lookup::ofResourceID(3)}));
    ASSERT_EQ(2u, json["lookups"].size());
    EXPECT_EQ("'a\"b'", json["lookups"][0]["question"]);
    EXPECT_EQ("3", json["lookups"][1]["question"]);
}

TEST(LoadReportTest, dividesByNoTimeAtAll) {
    LoadReport report = makeReport();
    report.m_seconds = 0;
    EXPECT_EQ(0, report.getLiteralsPerSecond());
}

} // namespace
