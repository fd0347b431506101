#include "tools/melnar-dict/load/LoadEstimate.h"

#include "Engine/core/data-store/terms/TermFamily.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace {

LoadEstimate makeEstimate() {
    LoadEstimate estimate;
    estimate.m_inputBytes = 1000;
    estimate.m_sampledBytes = 900;
    estimate.m_counts = {10, 3, 4, 15, 4, 3, 2, 1};
    estimate.m_distinct[D_XSD_STRING] = 2;
    estimate.m_distinct[D_RDF_PLAIN_LITERAL] = 1;
    estimate.m_distinct[D_IRI] = 9;
    estimate.m_distinct[D_BLANK_NODE] = 8;
    estimate.m_distinct[D_TYPED_LITERAL] = 7;
    estimate.m_distinct[D_DIRECTIONAL_STRING] = 6;
    estimate.m_distinct[D_TRIPLE_TERM] = 5;
    estimate.m_textBytes = 6;
    estimate.m_otherTextBytes = 66;
    estimate.m_size = {12345678901, 12345};
    estimate.m_rowBytes = 376;
    estimate.m_seconds = 0.5;
    return estimate;
}

TEST(LoadEstimateTest, isATableForPeople) {
    EXPECT_EQ("bytes of input                       1000\n"
              "bytes sampled                         900\n"
              "triples                                10\n"
              "string literals                         7\n"
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
              "bytes of text                           6\n"
              "bytes of other text                    66\n"
              "bytes of memory               12345678901\n"
              "bytes of the saved file             12345\n"
              "bytes of the rows                     376\n"
              "seconds                             0.500\n",
              makeEstimate().toText());
}

TEST(LoadEstimateTest, isJsonForMachines) {
    EXPECT_EQ(nlohmann::json({{"inputBytes", 1000},
                              {"sampledBytes", 900},
                              {"triples", 10},
                              {"stringLiterals", 7},
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
                              {"textBytes", 6},
                              {"otherTextBytes", 66},
                              {"memoryBytes", 12345678901},
                              {"fileBytes", 12345},
                              {"rowBytes", 376},
                              {"seconds", 0.5},
                              {"isWholeInput", true}}),
              nlohmann::json::parse(makeEstimate().toJson()));
}

} // namespace
