#include "tools/melnar-dict/LiteralCollector.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(LiteralCollectorTest, knowsItsTwoDatatypesHoweverTheirIrisAreSplit) {
    const std::string string = "http://www.w3.org/2001/XMLSchema#string";
    const std::string plainLiteral = "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral";
    for (size_t length = 0; length <= string.size(); ++length)
        EXPECT_EQ(LiteralKind::STRING, literalKindOfDatatype(string.substr(0, length), string.substr(length)));
    for (size_t length = 0; length <= plainLiteral.size(); ++length)
        EXPECT_EQ(LiteralKind::PLAIN_LITERAL,
                  literalKindOfDatatype(plainLiteral.substr(0, length), plainLiteral.substr(length)));
}

TEST(LiteralCollectorTest, passesAllOtherDatatypes) {
    for (const char* const iri :
         {"", "http://www.w3.org/2001/XMLSchema#", "http://www.w3.org/2001/XMLSchema#String",
          "http://www.w3.org/2001/XMLSchema#strings", "http://www.w3.org/2001/XMLSchema#normalizedString",
          "https://www.w3.org/2001/XMLSchema#string", "http://www.w3.org/1999/02/22-rdf-syntax-ns#langString",
          "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral "}) {
        EXPECT_EQ(LiteralKind::OTHER, literalKindOfDatatype(iri, {})) << iri;
        EXPECT_EQ(LiteralKind::OTHER, literalKindOfDatatype({}, iri)) << iri;
    }
    const std::string string = "http://www.w3.org/2001/XMLSchema#string";
    EXPECT_EQ(LiteralKind::OTHER, literalKindOfDatatype(string, string.substr(30)));
    EXPECT_EQ(LiteralKind::OTHER, literalKindOfDatatype(string.substr(0, 20), string.substr(21)));
}

} // namespace
