#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermBatch.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Kind = Term::Kind;

/// Makes nine terms, three of which look alike.
std::vector<Term> makeTerms() {
    return {{.m_kind = Kind::IRI, .m_text = "http://example.org/a"},
            {.m_kind = Kind::BLANK_NODE, .m_text = "a"},
            {.m_kind = Kind::LITERAL, .m_text = "a"},
            {.m_kind = Kind::LITERAL, .m_text = "a", .m_language = "en"},
            {.m_kind = Kind::LITERAL, .m_direction = Term::Direction::LEFT_TO_RIGHT, .m_text = "a", .m_language = "en"},
            {.m_kind = Kind::LITERAL, .m_text = "1", .m_datatype = "http://www.w3.org/2001/XMLSchema#integer"},
            {.m_kind = Kind::LITERAL, .m_text = "01", .m_datatype = "http://www.w3.org/2001/XMLSchema#integer"},
            {.m_kind = Kind::LITERAL, .m_text = "1", .m_datatype = "http://www.w3.org/2001/XMLSchema#decimal"},
            {.m_kind = Kind::TRIPLE_TERM, .m_text = "<<( _:a <p> \"a\" )>>"}};
}

class DictionaryTermsTest : public testing::TestWithParam<uint64_t> {
protected:
    DictionaryTermsTest()
        : m_dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()}),
          m_thread(m_dictionary) {}

    void resolveAll() {
        uint64_t expectedID = 1;
        for (const Term& term : makeTerms())
            ASSERT_EQ(expectedID++, m_dictionary.resolveTerm(m_thread, term));
    }

    static void expectAll(const Dictionary& dictionary) {
        std::string form;
        uint64_t resourceID = 1;
        for (const Term& term : makeTerms()) {
            EXPECT_EQ(resourceID, dictionary.tryResolveTerm(DictionaryCommitPoint::ALL, term));
            EXPECT_TRUE(term == dictionary.getTerm(resourceID, form)) << form;
            ++resourceID;
        }
        dictionary.verify();
    }

    Dictionary m_dictionary;
    DictionaryThread m_thread;
};

TEST_P(DictionaryTermsTest, termsOfAllFamiliesHaveIDsUnderOneCounter) {
    resolveAll();
    resolveAll();
    expectAll(m_dictionary);
    EXPECT_EQ(0u, m_dictionary.tryResolveTerm({6}, makeTerms()[5]));
    std::string turtle;
    for (uint64_t resourceID = 1; resourceID <= 9; ++resourceID)
        m_dictionary.appendTurtleLiteral(resourceID, turtle += '\n');
    EXPECT_EQ("\n<http://example.org/a>\n_:a\n\"a\"\n\"a\"@en\n\"a\"@en--ltr"
              "\n\"1\"^^<http://www.w3.org/2001/XMLSchema#integer>\n\"01\"^^<http://www.w3.org/2001/XMLSchema#integer>"
              "\n\"1\"^^<http://www.w3.org/2001/XMLSchema#decimal>\n<<( _:a <p> \"a\" )>>",
              turtle);
}

TEST_P(DictionaryTermsTest, whatIsNoTermIsRefused) {
    EXPECT_THROW(m_dictionary.resolveTerm(m_thread, Term()), MelnarException);
    EXPECT_EQ("'a b' is no blank node.", catchException<MelnarException>([&] {
                                             m_dictionary.resolveTerm(m_thread,
                                                                      {.m_kind = Kind::BLANK_NODE, .m_text = "a b"});
                                         }).getMessage());
    EXPECT_THROW(static_cast<void>(m_dictionary.tryResolveTerm({1}, {.m_kind = Kind::IRI})), MelnarException);
    EXPECT_EQ(1u, m_dictionary.getNextResourceID());
}

TEST_P(DictionaryTermsTest, batchesMixFamiliesAndGiveIDsInTheOrderOfTheirEntries) {
    TermBatch batch;
    for (size_t repetition = 0; repetition < 50; ++repetition)
        for (const Term& term : makeTerms())
            batch.add(term);
    batch.add(Term());
    std::vector<BatchFailure> failures;
    m_dictionary.resolveResources(m_thread, batch.getEntries(), failures);
    ASSERT_EQ(1u, failures.size());
    EXPECT_EQ(450u, failures[0].m_entryIndex);
    for (size_t index = 0; index < 450; ++index)
        ASSERT_EQ(index % 9 + 1, batch.getEntries()[index].m_resourceID);
    expectAll(m_dictionary);
    std::vector<BatchEntry> entries;
    for (uint64_t resourceID = 0; resourceID <= 10; ++resourceID)
        entries.push_back({{}, resourceID});
    m_dictionary.getResources(entries);
    size_t index = 1;
    for (const Term& term : makeTerms()) {
        std::string form;
        m_dictionary.appendLexicalForm(entries[index], form);
        EXPECT_TRUE(term == Term::parse(entries[index].m_datatypeID, form)) << form;
        EXPECT_EQ(form.size(), entries[index].m_lexicalForm.size() + m_dictionary.getAffix(entries[index]).size());
        ++index;
    }
    EXPECT_EQ("", m_dictionary.getAffix(entries[0]));
    EXPECT_EQ("", m_dictionary.getAffix(entries[10]));
}

TEST_P(DictionaryTermsTest, areSavedAndOpened) {
    resolveAll();
    m_dictionary.commit();
    const std::string bytes = writeToMemory(m_dictionary);
    const auto opened = readFromMemory(bytes);
    expectAll(*opened);
    EXPECT_EQ(bytes, writeToMemory(*opened));
}

/// An unused family is not in the file: a file with only strings is the same as before there were terms.
TEST_P(DictionaryTermsTest, familiesWithoutTermsAreInNoFile) {
    m_dictionary.resolveResource(m_thread, "a", D_XSD_STRING);
    const std::string ofStrings = writeToMemory(m_dictionary);
    for (const char* const name : {"TermDatatype", "IRI", "blank node", "typed literal", "triple term"})
        EXPECT_EQ(std::string::npos, ofStrings.find(name));
    m_dictionary.resolveResource(m_thread, "5^^x:y", D_TYPED_LITERAL);
    const std::string ofBoth = writeToMemory(m_dictionary);
    EXPECT_NE(std::string::npos, ofBoth.find("typed literal"));
    EXPECT_EQ(std::string::npos, ofBoth.find("triple term"));
    const auto opened = readFromMemory(ofBoth);
    DictionaryThread thread(*opened);
    EXPECT_EQ(2u, opened->resolveResource(thread, "5^^x:y", D_TYPED_LITERAL));
    EXPECT_EQ(3u, opened->resolveResource(thread, "x:y", D_IRI));
}

TEST_P(DictionaryTermsTest, damageNamesTheFamilyOfTheSectionThoughFamiliesBeforeItHaveNone) {
    m_dictionary.resolveResource(m_thread, "5^^x:y", D_TYPED_LITERAL);
    ForgedDictionaryFile file(m_dictionary);
    file.m_sections[ForgedDictionaryFile::STRINGS + 1].pop_back();
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'datatype 252': it is shorter than its contents.",
              catchException<MelnarException>([&] { readFromMemory(file.getBytes()); }).getMessage());
}

/// The sections of datatype objects have every wrong number and order.
TEST_P(DictionaryTermsTest, sectionsThatAreMissingRepeatedOrOutOfOrderAreFound) {
    m_dictionary.resolveResource(m_thread, "x:y", D_IRI);
    m_dictionary.resolveResource(m_thread, "5^^x:y", D_TYPED_LITERAL);
    const ForgedDictionaryFile sound(m_dictionary);
    constexpr size_t STRINGS = ForgedDictionaryFile::STRINGS;
    constexpr size_t IRIS = STRINGS + 1;
    constexpr size_t LITERALS = STRINGS + 2;
    const std::string otherDatatypes = "it serves datatypes other than those of this program.";
    const std::vector<std::pair<std::vector<size_t>, std::string>> lies{
        {{STRINGS, IRIS}, "there are resources of datatype 252, which the file lacks."},
        {{STRINGS, LITERALS}, "there are resources of datatype 250, which the file lacks."},
        {{STRINGS}, "there are resources of datatype 250, which the file lacks."},
        {{STRINGS, LITERALS, IRIS}, otherDatatypes},
        {{STRINGS, IRIS, IRIS}, otherDatatypes},
        {{STRINGS, STRINGS, IRIS}, otherDatatypes},
        {{IRIS, LITERALS}, otherDatatypes},
        {{STRINGS, IRIS, LITERALS, LITERALS}, otherDatatypes},
        {{}, "it announces 0 datatype objects."}};
    for (const auto& [order, finding] : lies) {
        ForgedDictionaryFile forged = sound;
        forged.set(ForgedDictionaryFile::HEADER, ForgedDictionaryFile::NUMBER_OF_DATATYPES,
                   static_cast<uint32_t>(order.size()));
        forged.m_sections.resize(STRINGS);
        for (const size_t section : order)
            forged.m_sections.push_back(sound.m_sections[section]);
        forged.m_sections.push_back(sound.m_sections.back());
        const std::string message =
            catchException<MelnarException>([&] { readFromMemory(forged.getBytes()); }).getMessage();
        EXPECT_NE(std::string::npos, message.find(finding)) << message;
    }
    EXPECT_NO_THROW(readFromMemory(sound.getBytes()));
}

TEST_P(DictionaryTermsTest, rollbackAndCompactionTakeTermsAlong) {
    resolveAll();
    m_dictionary.commit();
    EXPECT_EQ(10u, m_dictionary.resolveResource(m_thread, "http://example.org/b", D_IRI));
    EXPECT_EQ(11u, m_dictionary.resolveResource(m_thread, "2^^x:y", D_TYPED_LITERAL));
    m_dictionary.rollback();
    EXPECT_EQ(0u, m_dictionary.tryResolveResource(DictionaryCommitPoint::ALL, "http://example.org/b", D_IRI));
    expectAll(m_dictionary);
    const std::vector<uint64_t> newIDs =
        m_dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 2 == 1; });
    EXPECT_EQ((std::vector<uint64_t>{0, 1, 0, 2, 0, 3, 0, 4, 0, 5, 0, 0}), newIDs);
    std::string form;
    for (uint64_t oldID = 1; oldID <= 9; ++oldID) {
        const Term term = makeTerms()[oldID - 1];
        EXPECT_EQ(newIDs[oldID], m_dictionary.tryResolveTerm(DictionaryCommitPoint::ALL, term));
        if (newIDs[oldID] != 0) {
            EXPECT_TRUE(term == m_dictionary.getTerm(newIDs[oldID], form));
        }
    }
    m_dictionary.verify();
    EXPECT_EQ(0u, m_dictionary.getUnusedDataPoolBytes());
    EXPECT_EQ(1u, m_dictionary.getNumberOfResources(D_IRI));
    EXPECT_EQ(0u, m_dictionary.getNumberOfResources(D_BLANK_NODE));
    EXPECT_EQ(20u, m_dictionary.getTextBytes(D_IRI));
    EXPECT_EQ(44u, m_dictionary.getTextBytes(D_TYPED_LITERAL));
}

TEST_P(DictionaryTermsTest, statisticsTellOfTheFamiliesInUse) {
    const auto countNodes = [](const ComponentInfo& info) {
        size_t count = 0;
        for (const auto& child : info.getChildren())
            count += child->getName() == "TermDatatype";
        return count;
    };
    EXPECT_EQ(0u, countNodes(*m_dictionary.getComponentInfo()));
    resolveAll();
    EXPECT_EQ(5u, countNodes(*m_dictionary.getDetailedComponentInfo()));
    const std::vector<TableProfile> profiles = m_dictionary.getTableProfiles(1);
    ASSERT_EQ(7u, profiles.size());
    size_t index = 2;
    for (const char* const name : {"IRIs", "blank nodes", "typed literals", "directional strings", "triple terms"})
        EXPECT_EQ(name, profiles[index++].m_name);
}

INSTANTIATE_TEST_SUITE_P(Widths, DictionaryTermsTest, testing::Values(100000, uint64_t(1) << 33),
                         [](const auto& instance) { return instance.param == 100000 ? "narrow" : "wide"; });

} // namespace
