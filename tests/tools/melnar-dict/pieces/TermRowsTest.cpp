#include "tools/melnar-dict/pieces/TermRows.h"

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/terms/TermFamily.h"

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

/// The forms of all entries, each with its datatype ID.
std::vector<std::string> getForms(TermRows& rows) {
    std::vector<std::string> forms;
    for (const BatchEntry& entry : rows.getEntries())
        forms.push_back(std::to_string(entry.m_datatypeID) + " " + std::string(entry.m_lexicalForm));
    return forms;
}

/// Gives the entries the IDs 1, 2, ...
void number(TermRows& rows) {
    uint64_t nextID = 1;
    for (BatchEntry& entry : rows.getEntries())
        entry.m_resourceID = nextID++;
}

using Forms = std::vector<std::string>;
using IDs = std::vector<uint64_t>;

TEST(TermRowsTest, entriesHaveTheOrderOfTheStatementsAndTermsOfTheRowBeforeNoneOfTheirOwn) {
    TermRows rows(3);
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 5);
    rows.add(makeStatement("a", make(Rdf::TermKind::LITERAL, "x")), 1, 6);
    rows.add(makeStatement("b", make(Rdf::TermKind::LITERAL, "x", "en")), 1, 8);
    rows.add(makeStatement("a", make(Rdf::TermKind::LITERAL, "x")), 2, 9);
    EXPECT_EQ((Forms{"250 a", "251 p", "250 x", "5 x", "250 b", "6 x@en", "250 a", "251 doc2-p", "5 x"}),
              getForms(rows));
    number(rows);
    IDs ids = {99};
    rows.appendIDs(3, ids);
    EXPECT_EQ((IDs{99, 1, 2, 3, 1, 2, 4, 5, 2, 6}), ids);
    EXPECT_EQ(4u, rows.getNumberOfRows());
    EXPECT_EQ(8u, rows.getLine(2));
}

TEST(TermRowsTest, theDefaultGraphIsZeroAndNoGap) {
    TermRows rows(4);
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 1);
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x"), "g"), 1, 2);
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 3);
    number(rows);
    IDs ids;
    rows.appendIDs(3, ids);
    EXPECT_EQ((IDs{1, 2, 3, 0, 1, 2, 3, 4, 1, 2, 3, 0}), ids);
    EXPECT_EQ(3u, rows.findGap().m_row);
}

TEST(TermRowsTest, theFirstGapIsThatOfTheFirstRow) {
    TermRows rows(3);
    for (const char* const subject : {"a", "b", "a", "c"})
        rows.add(makeStatement(subject, make(Rdf::TermKind::IRI, "x")), 1, 1);
    number(rows);
    EXPECT_EQ(4u, rows.findGap().m_row);
    rows.getEntries()[3].m_resourceID = 0; // of b
    rows.getEntries()[4].m_resourceID = 0; // of the second a
    EXPECT_EQ(1u, rows.findGap().m_row);
    EXPECT_EQ(3u, rows.findGap().m_entryIndex);
}

TEST(TermRowsTest, whatWasClearedLeavesNothing) {
    TermRows rows(3);
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 1);
    rows.clear();
    EXPECT_EQ(0u, rows.getNumberOfRows());
    EXPECT_TRUE(rows.getEntries().empty());
    rows.add(makeStatement("a", make(Rdf::TermKind::IRI, "x")), 1, 1);
    EXPECT_EQ((Forms{"250 a", "251 p", "250 x"}), getForms(rows));
}

} // namespace
