#include "tools/melnar-dict/load/BatchResolver.h"

#include "Engine/core/data-store/DictionaryThread.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

constexpr size_t MEMORY_LIMIT = size_t(64) << 20;

class BatchResolverTest : public testing::Test {
protected:
    explicit BatchResolverTest(const uint64_t maximumNumberOfResources = 1000)
        : m_dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources}),
          m_thread(m_dictionary) {}

    void resolve(const bool lenient) { resolveBatch(m_dictionary, m_thread, lenient, m_piece); }

    uint64_t find(const std::string& form, const uint8_t datatypeID) const {
        return m_dictionary.tryResolveResource({m_dictionary.getNextResourceID()}, form, datatypeID);
    }

    std::vector<uint64_t> getErrorLines() const {
        std::vector<uint64_t> lines;
        for (const InputError& error : m_piece.m_errors)
            lines.push_back(error.m_line);
        return lines;
    }

    Dictionary m_dictionary;
    DictionaryThread m_thread;
    ParsedPiece m_piece;
};

TEST_F(BatchResolverTest, givesIDsInTheOrderOfTheFile) {
    m_piece.m_terms.append("a", D_XSD_STRING, 1);
    m_piece.m_terms.appendTagged("a", "en", 2);
    m_piece.m_terms.append("a", D_XSD_STRING, 3);
    m_piece.m_terms.append("b@", D_RDF_PLAIN_LITERAL, 4);
    resolve(false);
    EXPECT_TRUE(m_piece.m_errors.empty());
    EXPECT_EQ(1u, find("a", D_XSD_STRING));
    EXPECT_EQ(2u, find("a@en", D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(3u, find("b", D_XSD_STRING)) << "a plain literal with an empty tag is a string";
    EXPECT_EQ(4u, m_dictionary.getNextResourceID());
}

TEST_F(BatchResolverTest, stopsSoonAfterTheFirstRefusedLiteral) {
    m_piece.m_terms.append("a", D_XSD_STRING, 1);
    m_piece.m_terms.append("none", D_RDF_PLAIN_LITERAL, 2);
    for (uint64_t line = 3; line < 5000; ++line)
        m_piece.m_terms.append("text", D_XSD_STRING, line);
    m_piece.m_terms.append("b", D_XSD_STRING, 5000);
    m_piece.m_terms.append("none", D_RDF_PLAIN_LITERAL, 5001);
    resolve(false);
    ASSERT_EQ(std::vector<uint64_t>{2}, getErrorLines());
    EXPECT_EQ(ExitCode::BAD_DATA, m_piece.m_errors[0].m_exitCode);
    EXPECT_EQ(
        "Lexical form 'none' is invalid for datatype rdf:PlainLiteral because it does not contain the '@' character.",
        m_piece.m_errors[0].m_cause);
    EXPECT_EQ(0u, find("b", D_XSD_STRING));
}

TEST_F(BatchResolverTest, continuesAfterEveryRefusedLiteralWhenLenient) {
    m_piece.m_terms.append("none", D_RDF_PLAIN_LITERAL, 2);
    m_piece.m_terms.append("x@1", D_RDF_PLAIN_LITERAL, 3);
    m_piece.m_terms.append("b", D_XSD_STRING, 4);
    resolve(true);
    EXPECT_EQ((std::vector<uint64_t>{2, 3}), getErrorLines());
    EXPECT_EQ("Lexical form 'x@1' is invalid for datatype rdf:PlainLiteral because  it its language tag is malformed.",
              m_piece.m_errors[1].m_cause);
    EXPECT_EQ(1u, find("b", D_XSD_STRING));
}

TEST_F(BatchResolverTest, bringsTheErrorsOfAllSourcesIntoTheOrderOfTheFile) {
    m_piece.m_errors.push_back({0, ExitCode::FAILURE, "the file as a whole"});
    m_piece.m_errors.push_back({7, ExitCode::BAD_DATA, "syntax", 1, 0});
    m_piece.m_errors.push_back({7, ExitCode::BAD_DATA, "syntax", 20, 1});
    m_piece.m_terms.append("none", D_RDF_PLAIN_LITERAL, 7);
    m_piece.m_terms.append("none", D_RDF_PLAIN_LITERAL, 7);
    resolve(true);
    ASSERT_EQ((std::vector<uint64_t>{7, 7, 7, 7, 0}), getErrorLines());
    EXPECT_EQ(1u, m_piece.m_errors[0].m_column);
    EXPECT_EQ(0u, m_piece.m_errors[1].m_column) << "a refused literal";
    EXPECT_EQ(20u, m_piece.m_errors[2].m_column);
}

TEST_F(BatchResolverTest, findsTheLineOfEveryRefusedLiteralAmongThousands) {
    std::vector<uint64_t> expectedLines;
    for (uint64_t line = 1; line <= 10000; ++line)
        if (line % 997 == 0) {
            m_piece.m_terms.append("none", D_RDF_PLAIN_LITERAL, line);
            expectedLines.push_back(line);
        } else
            m_piece.m_terms.append(std::to_string(line % 100), D_XSD_STRING, line);
    resolve(true);
    EXPECT_EQ(expectedLines, getErrorLines());
    EXPECT_EQ(101u, m_dictionary.getNextResourceID());
    EXPECT_EQ(17u, find("17", D_XSD_STRING)) << "IDs are given in the order of the file";
}

class BatchResolverFailureTest : public BatchResolverTest {
protected:
    BatchResolverFailureTest() : BatchResolverTest(2) {}
};

TEST_F(BatchResolverFailureTest, takesALimitForNoFaultOfTheData) {
    m_piece.m_terms.append("a", D_XSD_STRING, 1);
    m_piece.m_terms.append("b", D_XSD_STRING, 2);
    m_piece.m_terms.appendTagged("c", "en", 3);
    m_piece.m_terms.append("d", D_XSD_STRING, 4);
    resolve(true);
    ASSERT_EQ(1u, m_piece.m_errors.size());
    EXPECT_EQ(0u, m_piece.m_errors[0].m_line);
    EXPECT_EQ(ExitCode::FAILURE, m_piece.m_errors[0].m_exitCode);
    EXPECT_EQ("The dictionary cannot create resource 3 because it was created to hold at most 2 resources.",
              m_piece.m_errors[0].m_cause);
    EXPECT_EQ(3u, m_dictionary.getNextResourceID()) << "what was resolved before stays";
}

} // namespace
