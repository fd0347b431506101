#include "tools/melnar-dict/load/LoadEstimate.h"

#include "tests/tools/melnar-dict/load/SampleTermFigures.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <string>

namespace {

LoadEstimate makeEstimate() {
    LoadEstimate estimate;
    estimate.m_inputBytes = 1000;
    estimate.m_sampledBytes = 900;
    SampleTermFigures::set(estimate);
    estimate.m_textBytes = 6;
    estimate.m_otherTextBytes = 66;
    estimate.m_size = {12345678901, 12345};
    estimate.m_rowBytes = 376;
    estimate.m_seconds = 0.5;
    return estimate;
}

TEST(LoadEstimateTest, isATableForPeople) {
    EXPECT_EQ(std::string("bytes of input                       1000\n"
                          "bytes sampled                         900\n"
                          "triples                                10\n"
                          "string literals                         7\n") +
                  SampleTermFigures::LINES +
                  "bytes of text                           6\n"
                  "bytes of other text                    66\n"
                  "bytes of memory               12345678901\n"
                  "bytes of the saved file             12345\n"
                  "bytes of the rows                     376\n"
                  "seconds                             0.500\n",
              makeEstimate().toText());
}

TEST(LoadEstimateTest, isJsonForMachines) {
    EXPECT_EQ(SampleTermFigures::addTo({{"inputBytes", 1000},
                                        {"sampledBytes", 900},
                                        {"triples", 10},
                                        {"stringLiterals", 7},
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
