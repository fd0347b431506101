#include "tools/melnar-dict/pieces/TermRows.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/FailureLoop.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

Rdf::Term make(const Rdf::TermKind kind, const std::string_view text, const std::string_view tag = {}) {
    Rdf::Term term;
    term.m_kind = kind;
    term.m_text = text;
    term.m_tag = tag;
    return term;
}

Rdf::Statement makeStatement(const std::string_view subject, const Rdf::Term& object,
                             const std::string_view graph = {}) {
    Rdf::Statement statement;
    statement.m_subject = make(Rdf::TermKind::IRI, subject);
    statement.m_predicate = make(Rdf::TermKind::BLANK_NODE, "p");
    statement.m_object = object;
    if (!graph.empty())
        statement.m_graph = make(Rdf::TermKind::IRI, graph);
    return statement;
}

/// Returns the forms of all entries, each with its datatype ID.
std::vector<std::string> getForms(const FormBatch& batch) {
    std::vector<std::string> forms;
    for (const BatchEntry& entry : batch.getEntries())
        forms.push_back(std::to_string(entry.m_datatypeID) + " " + std::string(entry.m_lexicalForm));
    return forms;
}

/// Gives the entries the IDs 1, 2, ...
void number(FormBatch& batch) {
    uint64_t nextID = 1;
    for (BatchEntry& entry : batch.getEntries())
        entry.m_resourceID = nextID++;
}

using Forms = std::vector<std::string>;
using IDs = std::vector<uint64_t>;

TEST(TermRowsTest, termsHaveAnEntryEachInTheOrderOfTheStatements) {
    TermRows rows(3);
    FormBatch batch;
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 5, batch);
    rows.add(makeStatement("a", make(Rdf::TermKind::LITERAL, "x")), 1, 6, batch);
    rows.add(makeStatement("b", make(Rdf::TermKind::LITERAL, "x", "en")), 1, 8, batch);
    rows.add(makeStatement("a", make(Rdf::TermKind::LITERAL, "x")), 2, 9, batch);
    EXPECT_EQ((Forms{"250 a", "251 p", "250 x", "5 x", "250 b", "6 x@en", "251 doc2-p"}), getForms(batch));
    EXPECT_EQ(8u, batch.getLine(4));
    number(batch);
    IDs ids = {99};
    rows.appendIDs(3, batch.getEntries(), ids);
    EXPECT_EQ((IDs{99, 1, 2, 3, 1, 2, 4, 5, 2, 6}), ids);
    EXPECT_EQ(4u, rows.getNumberOfRows());
}

TEST(TermRowsTest, aTermOutsideTheRowsIsInNone) {
    TermRows rows(3);
    FormBatch batch;
    EXPECT_EQ(0u, rows.addTerm(make(Rdf::TermKind::LITERAL, "x"), 1, 5, batch));
    rows.add(makeStatement("a", make(Rdf::TermKind::LITERAL, "x")), 1, 6, batch);
    EXPECT_EQ((Forms{"5 x", "250 a", "251 p"}), getForms(batch));
    EXPECT_EQ(1u, rows.getNumberOfRows());
}

TEST(TermRowsTest, theDefaultGraphIsZeroAndNoGap) {
    TermRows rows(4);
    FormBatch batch;
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 1, batch);
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x"), "g"), 1, 2, batch);
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 3, batch);
    number(batch);
    IDs ids;
    rows.appendIDs(3, batch.getEntries(), ids);
    EXPECT_EQ((IDs{1, 2, 3, 0, 1, 2, 3, 4, 1, 2, 3, 0}), ids);
    EXPECT_EQ(3u, rows.findGap(batch.getEntries()).m_row);
    ids.clear();
    rows.appendIDsOfWholeRows(batch.getEntries(), ids);
    EXPECT_EQ((IDs{1, 2, 3, 0, 1, 2, 3, 4, 1, 2, 3, 0}), ids);
}

TEST(TermRowsTest, withoutColumnsThereAreTermsButNoRows) {
    TermRows rows(0);
    FormBatch batch;
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x"), "g"), 1, 1, batch);
    EXPECT_EQ((Forms{"250 a", "251 p", "250 x", "250 g"}), getForms(batch));
}

TEST(TermRowsTest, theFirstGapIsThatOfTheFirstRow) {
    TermRows rows(3);
    FormBatch batch;
    for (const char* const subject : {"a", "b", "c", "a", "b", "d"})
        rows.add(makeStatement(subject, make(Rdf::TermKind::IRI, "x")), 1, 1, batch);
    number(batch);
    EXPECT_EQ(6u, rows.findGap(batch.getEntries()).m_row);
    batch.getEntries()[3].m_resourceID = 0; // of b
    batch.getEntries()[5].m_resourceID = 0; // of d
    EXPECT_EQ(1u, rows.findGap(batch.getEntries()).m_row);
    EXPECT_EQ(3u, rows.findGap(batch.getEntries()).m_entryIndex);
    IDs ids;
    rows.appendIDsOfWholeRows(batch.getEntries(), ids);
    EXPECT_EQ((IDs{1, 2, 3, 5, 2, 3, 1, 2, 3}), ids);
}

TEST(TermRowsTest, aRowForWhichThereIsNoMemoryIsNotThereInPart) {
    const FailureCounts counts = failEach(ofAllocations(), [](FailureRound& round) {
        TermRows rows(4);
        FormBatch batch;
        const bool isAdded = round.attempt([&] {
            for (const char* const subject : {"a", "b", "c", "d", "e"})
                rows.add(makeStatement(subject, make(Rdf::TermKind::IRI, "x"), "g"), 1, 1, batch);
        });
        EXPECT_EQ(isAdded, rows.getNumberOfRows() == 5);
        IDs ids;
        rows.appendIDsOfWholeRows(batch.getEntries(), ids);
        EXPECT_TRUE(ids.empty()) << "no term has an ID";
        number(batch);
        rows.appendIDsOfWholeRows(batch.getEntries(), ids);
        EXPECT_EQ(4 * rows.getNumberOfRows(), ids.size());
    });
    EXPECT_LT(1u, counts.m_throws);
}

TEST(TermRowsTest, whatWasClearedLeavesNothing) {
    TermRows rows(3);
    FormBatch batch;
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 1, batch);
    rows.clear();
    batch.clear();
    EXPECT_EQ(0u, rows.getNumberOfRows());
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 1, batch);
    EXPECT_EQ((Forms{"250 a", "251 p", "250 x"}), getForms(batch));
}

} // namespace
