#include "tools/melnar-dict/load/LoadReport.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

LoadReport makeReport() {
    LoadReport report;
    report.m_counts = {10, 3, 4, 15, 4, 3, 2, 1};
    report.m_distinct[D_XSD_STRING] = 2;
    report.m_distinct[D_RDF_PLAIN_LITERAL] = 1;
    report.m_distinct[D_IRI] = 9;
    report.m_distinct[D_BLANK_NODE] = 8;
    report.m_distinct[D_TYPED_LITERAL] = 7;
    report.m_distinct[D_DIRECTIONAL_STRING] = 6;
    report.m_distinct[D_TRIPLE_TERM] = 5;
    report.m_firstDocument = 11;
    report.m_errors = 5;
    report.m_textBytes = 6;
    report.m_otherTextBytes = 66;
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
              "  IRIs                                 15\n"
              "  blank nodes                           4\n"
              "  other literals                        3\n"
              "  directional strings                   2\n"
              "  triple terms                          1\n"
              "distinct IRIs                           9\n"
              "distinct blank nodes                    8\n"
              "distinct other literals                 7\n"
              "distinct directional strings            6\n"
              "distinct triple terms                   5\n"
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
    EXPECT_EQ(nlohmann::json({{"triples", 10},
                              {"stringLiterals", 7},
                              {"xsdStringLiterals", 3},
                              {"rdfPlainLiteralLiterals", 4},
                              {"distinctXsdString", 2},
                              {"distinctRdfPlainLiteral", 1},
                              {"otherTerms", 25},
                              {"iris", 15},
                              {"blankNodes", 4},
                              {"otherLiterals", 3},
                              {"directionalStrings", 2},
                              {"tripleTerms", 1},
                              {"distinctIris", 9},
                              {"distinctBlankNodes", 8},
                              {"distinctOtherLiterals", 7},
                              {"distinctDirectionalStrings", 6},
                              {"distinctTripleTerms", 5},
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

TEST(LoadReportTest, dividesByNoTimeAtAll) {
    LoadReport report = makeReport();
    report.m_seconds = 0;
    EXPECT_EQ(0, report.getLiteralsPerSecond());
}

} // namespace
