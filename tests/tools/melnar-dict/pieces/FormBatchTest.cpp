#include "tools/melnar-dict/pieces/FormBatch.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(FormBatchTest, keepsLiteralsInOrderWithAllTheirBytes) {
    using namespace std::string_literals;
    FormBatch batch;
    batch.append("a\0b"s, D_XSD_STRING, 1);
    batch.appendTagged("text", "en-GB", 2);
    batch.append("", D_XSD_STRING, 3);
    batch.append("x@de", D_RDF_PLAIN_LITERAL, 4);
    ASSERT_EQ(4u, batch.getEntries().size());
    const std::string expected[] = {"a\0b"s, "text@en-GB", "", "x@de"};
    const uint8_t datatypeIDs[] = {D_XSD_STRING, D_RDF_PLAIN_LITERAL, D_XSD_STRING, D_RDF_PLAIN_LITERAL};
    for (size_t index = 0; index < 4; ++index) {
        const BatchEntry& entry = batch.getEntries()[index];
        EXPECT_EQ(expected[index], entry.m_lexicalForm);
        EXPECT_EQ(datatypeIDs[index], entry.m_datatypeID);
        EXPECT_EQ(index + 1, batch.getLine(index));
    }
    EXPECT_EQ(3u + 10 + 0 + 4, batch.getNumberOfBytes());
}

TEST(FormBatchTest, keepsItsLiteralsAsItGrows) {
    FormBatch batch;
    for (size_t number = 0; number < 1000; ++number)
        batch.appendTagged(std::string(number, 'x'), std::to_string(number), number);
    for (size_t number = 0; number < 1000; ++number)
        EXPECT_EQ(std::string(number, 'x') + '@' + std::to_string(number), batch.getEntries()[number].m_lexicalForm);
}

TEST(FormBatchTest, isEmptyAndUsableAfterClearing) {
    FormBatch batch;
    batch.append("old", D_XSD_STRING, 1);
    batch.clear();
    EXPECT_TRUE(batch.getEntries().empty());
    EXPECT_EQ(0u, batch.getNumberOfBytes());
    batch.append("new", D_XSD_STRING, 2);
    EXPECT_EQ("new", batch.getEntries()[0].m_lexicalForm);
}

} // namespace
