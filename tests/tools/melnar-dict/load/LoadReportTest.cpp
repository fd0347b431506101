#include "tools/melnar-dict/load/LoadReport.h"

#include "tests/tools/melnar-dict/load/SampleTermFigures.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace {

LoadReport makeReport() {
    LoadReport report;
    SampleTermFigures::set(report);
    report.m_firstDocument = 11;
    report.m_errors = 5;
    report.m_textBytes = 6;
    report.m_otherTextBytes = 66;
    report.m_memoryBytes = 12345678901;
    report.m_seconds = 0.5;
    return report;
}

TEST(LoadReportTest, isATableForPeople) {
    EXPECT_EQ(std::string("triples                                10\n"
                          "string literals met                     7\n"
                          "  xsd:string                            3\n"
                          "  rdf:PlainLiteral                      4\n") +
                  SampleTermFigures::LINES +
                  "first document                         11\n"
                  "errors                                  5\n"
                  "bytes of text                           6\n"
                  "bytes of other text                    66\n"
                  "bytes of memory               12345678901\n"
                  "seconds                             0.500\n"
                  "literals per second                    14\n"
                  "terms per second                       64\n",
              makeReport().toText());
}

TEST(LoadReportTest, isJsonForMachines) {
    const nlohmann::json json = nlohmann::json::parse(makeReport().toJson({}));
    EXPECT_EQ(SampleTermFigures::addTo({{"triples", 10},
                                        {"stringLiterals", 7},
                                        {"xsdStringLiterals", 3},
                                        {"rdfPlainLiteralLiterals", 4},
                                        {"firstDocument", 11},
                                        {"errors", 5},
                                        {"textBytes", 6},
                                        {"otherTextBytes", 66},
                                        {"memoryBytes", 12345678901},
                                        {"seconds", 0.5},
                                        {"literalsPerSecond", 14},
                                        {"termsPerSecond", 64}}),
              json);
}

TEST(LoadReportTest, givesTheAnswersWithTheJson) {
    const nlohmann::json json =
        nlohmann::json::parse(makeReport().toJson({Lookup::ofTerm("'a\"b'"), Lookup::ofResourceID(3)}));
    ASSERT_EQ(2u, json["lookups"].size());
    EXPECT_EQ("'a\"b'", json["lookups"][0]["question"]);
    EXPECT_EQ("3", json["lookups"][1]["question"]);
}

TEST(LoadReportTest, doesNotDivideByZeroTime) {
    LoadReport report = makeReport();
    report.m_seconds = 0;
    EXPECT_EQ(0, report.getLiteralsPerSecond());
}

} // namespace
