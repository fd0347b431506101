#include "Engine/core/data-store/terms/TermDatatypeFactory.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

namespace {

bool isCode(const std::string_view form) noexcept {
    return !form.empty() && std::all_of(form.begin(), form.end(), [](const char character) {
        return character == '-' || ('0' <= character && character <= '9');
    });
}

size_t getGroupLength(const std::string_view form) noexcept {
    return form.find('-') + 1; // 0 without a hyphen
}

void appendCode(const std::string_view form, std::string& output) {
    output.append("<code:").append(form).append(">");
}

/// A program's own family of terms beside the strings and the built-in families, with an ID before theirs and after
/// them, in both bucket widths.
class TermDatatypeFactoryTest : public testing::TestWithParam<std::tuple<uint64_t, uint8_t>> {
protected:
    using Resources = std::map<uint64_t, std::string>;

    TermDatatypeFactoryTest()
        : m_options{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = std::get<0>(GetParam())},
          m_datatypeID(std::get<1>(GetParam())), m_family{m_datatypeID,
                                                          "http://example.org/code",
                                                          "codes",
                                                          TermFamily::AffixPlace::FRONT,
                                                          2,
                                                          &getGroupLength,
                                                          &isCode,
                                                          &appendCode},
          m_factory(std::in_place, m_family), m_dictionary(std::make_unique<Dictionary>(m_options)) {}

    static std::string makeCode(const uint64_t number) {
        return std::to_string(number % 7) + "-" + std::to_string(number);
    }

    /// Creates codes, each after a string.
    Resources create(const uint64_t begin, const uint64_t end) {
        DictionaryThread thread(*m_dictionary);
        Resources codes;
        for (uint64_t number = begin; number < end; ++number) {
            m_dictionary->resolveResource(thread, std::to_string(number), D_XSD_STRING);
            codes[m_dictionary->resolveResource(thread, makeCode(number), m_datatypeID)] = makeCode(number);
        }
        return codes;
    }

    void expectCodes(const Resources& expected) const {
        Resources found;
        for (const auto& [resourceID, value] : *m_dictionary)
            if (value.m_datatypeID == m_datatypeID) {
                std::string form;
                m_dictionary->getResource(resourceID, form);
                found[resourceID] = form;
            }
        EXPECT_EQ(expected, found);
        for (const auto& [resourceID, form] : expected)
            EXPECT_EQ(resourceID, find(form));
        EXPECT_NO_THROW(m_dictionary->verify());
    }

    uint64_t find(const std::string_view form) const {
        return m_dictionary->tryResolveResource(DictionaryCommitPoint::ALL, form, m_datatypeID);
    }

    const DictionaryOptions m_options;
    const uint8_t m_datatypeID;
    const TermFamily m_family;
    std::optional<TermDatatypeFactory> m_factory;
    std::unique_ptr<Dictionary> m_dictionary;
};

TEST_P(TermDatatypeFactoryTest, anOwnFamilySurvivesRollbackCompactionAndFiles) {
    const Resources committed = create(0, 2000);
    m_dictionary->commit();
    const Resources withdrawn = create(2000, 2100);
    m_dictionary->rollback();
    expectCodes(committed);
    for (const auto& [resourceID, form] : withdrawn)
        EXPECT_EQ(0u, find(form));
    EXPECT_EQ("1-8", committed.at(18));
    std::vector<BatchEntry> entries{{{}, 18}};
    m_dictionary->getResources(entries);
    EXPECT_EQ("1-", m_dictionary->getAffix(entries[0])) << "a group is stored once";

    const std::vector<uint64_t> newIDs =
        m_dictionary->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 3 != 0; });
    Resources survivors;
    for (const auto& [resourceID, form] : committed)
        if (newIDs[resourceID] != 0)
            survivors[newIDs[resourceID]] = form;
    EXPECT_LT(1000u, survivors.size());
    expectCodes(survivors);

    const std::string bytes = writeToMemory(*m_dictionary);
    m_dictionary = readFromMemory(bytes);
    expectCodes(survivors);
    EXPECT_EQ(bytes, writeToMemory(*m_dictionary));
    survivors.merge(create(3000, 3100));
    expectCodes(survivors);

    m_dictionary->compact([this](uint64_t, const ResourceValue& value) { return value.m_datatypeID != m_datatypeID; });
    EXPECT_FALSE(m_dictionary->mayHaveResources(m_datatypeID));
    expectCodes({});
}

TEST_P(TermDatatypeFactoryTest, entriesAreRefusedByTheRulesOfTheirFamily) {
    const std::string message = "'12x' is no http://example.org/code.";
    DictionaryThread thread(*m_dictionary);
    EXPECT_EQ(message, catchException<MelnarException>([&] {
                           m_dictionary->resolveResource(thread, "12x", m_datatypeID);
                       }).getMessage());
    EXPECT_EQ(message, catchException<MelnarException>([&] { static_cast<void>(find("12x")); }).getMessage());
    const auto expectRefusals = [&](std::vector<BatchEntry> entries, const auto& resolve) {
        std::vector<BatchFailure> failures;
        resolve(entries, failures);
        ASSERT_EQ(1u, failures.size());
        EXPECT_EQ(0u, failures[0].m_entryIndex);
        EXPECT_EQ(0u, entries[0].m_resourceID);
        EXPECT_EQ(FailureKind::REFUSED_LITERAL, failures[0].m_kind);
        EXPECT_EQ(message, catchException<MelnarException>([&] { failures[0].throwException(); }).getMessage());
    };
    const auto resolve = [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
        m_dictionary->resolveResources(thread, entries, failures);
    };
    const auto lookUp = [&](const std::span<BatchEntry> entries, std::vector<BatchFailure>& failures) {
        m_dictionary->tryResolveResources(DictionaryCommitPoint::ALL, entries, failures);
    };
    const BatchEntry refused{"12x", 1, m_datatypeID};
    const BatchEntry accepted{"12-", 0, m_datatypeID};
    const BatchEntry string{"12x", 0, D_XSD_STRING};
    for (size_t round = 0; round < 2; ++round) { // before and after there is a code
        expectRefusals({refused}, resolve);
        expectRefusals({refused, string}, lookUp);
        expectRefusals({refused, accepted}, lookUp);
        expectRefusals({refused, string}, resolve);
        expectRefusals({refused, accepted}, resolve);
    }
    EXPECT_EQ(3u, m_dictionary->getNextResourceID());
}

TEST_P(TermDatatypeFactoryTest, turtleIsTheFamilys) {
    std::string output;
    m_dictionary->appendTurtleLiteral("1-2", m_datatypeID, output);
    m_dictionary->appendTurtleLiteral("x\n", m_datatypeID, output);
    EXPECT_EQ("<code:1-2>\"x\\n\"", output) << "a form that is none of the family is printed as a string";
}

TEST_P(TermDatatypeFactoryTest, aFileTellsOfAnOwnFamilyIfItHasTermsOfIt) {
    const std::string bytesWithoutCodes = writeToMemory(*m_dictionary);
    create(0, 10);
    const std::string bytesWithCodes = writeToMemory(*m_dictionary);
    m_dictionary.reset();
    m_factory.reset();
    EXPECT_EQ(bytesWithoutCodes, writeToMemory(Dictionary(m_options)));
    EXPECT_NO_THROW(readFromMemory(bytesWithoutCodes));
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'data pool': resource 2 has the unknown datatype " +
                  std::to_string(m_datatypeID) + ".",
              catchException<MelnarException>([&] { readFromMemory(bytesWithCodes); }).getMessage());
}

TEST_P(TermDatatypeFactoryTest, aFileIsRefusedIfItsDatatypeHasAnotherNameHere) {
    create(0, 10);
    const std::string bytes = writeToMemory(*m_dictionary);
    m_dictionary.reset();
    m_factory.reset();
    TermFamily other = m_family;
    other.m_name = "http://example.org/other";
    const TermDatatypeFactory otherFactory(other);
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'datatype " + std::to_string(m_datatypeID) +
                  "': it serves datatypes other than those of this program.",
              catchException<MelnarException>([&] { readFromMemory(bytes); }).getMessage());
}

/// Such a file has as many sections of datatype objects as any dictionary needs.
TEST_P(TermDatatypeFactoryTest, aFileOfAnOwnFamilyWithoutTheStringsIsRefused) {
    DictionaryThread thread(*m_dictionary);
    m_dictionary->resolveResource(thread, makeCode(1), m_datatypeID);
    ForgedDictionaryFile file(*m_dictionary);
    const bool isBeforeStrings = m_datatypeID < D_XSD_STRING;
    file.m_sections.erase(file.m_sections.begin() + ForgedDictionaryFile::STRINGS + (isBeforeStrings ? 1 : 0));
    file.set<uint32_t>(ForgedDictionaryFile::HEADER, ForgedDictionaryFile::NUMBER_OF_DATATYPES, 1);
    EXPECT_EQ("Dictionary file 'memory' is damaged: section 'datatype " +
                  std::to_string(isBeforeStrings ? m_datatypeID : D_XSD_STRING) +
                  "': it serves datatypes other than those of this program.",
              catchException<MelnarException>([&] { readFromMemory(file.getBytes()); }).getMessage());
}

/// More than there is of a form counts as all of it.
size_t getTooLargeLength(const std::string_view form) noexcept {
    return form.size() + 1;
}

TEST_P(TermDatatypeFactoryTest, aSharedPartIsNoLongerThanItsForm) {
    m_dictionary.reset();
    for (const TermFamily::AffixPlace affixPlace : {TermFamily::AffixPlace::FRONT, TermFamily::AffixPlace::BACK}) {
        m_factory.reset();
        TermFamily family = m_family;
        family.m_affixPlace = affixPlace;
        family.m_numberOfSightings = 1;
        family.m_getAffixLength = &getTooLargeLength;
        m_factory.emplace(family);
        m_dictionary = std::make_unique<Dictionary>(m_options);
        expectCodes(create(0, 100));
        m_dictionary.reset();
    }
}

TEST_P(TermDatatypeFactoryTest, aFamilyNeedsAnID) {
    TermFamily family = m_family;
    family.m_datatypeID = D_INVALID;
    const MelnarException exception =
        catchException<MelnarException>([&] { const TermDatatypeFactory factory(family); });
    EXPECT_EQ(FailureKind::MISUSE, exception.getKind());
    EXPECT_EQ("The family of terms 'http://example.org/code' has the datatype ID that no resource has.",
              exception.getMessage());
}

INSTANTIATE_TEST_SUITE_P(WidthsAndIDs, TermDatatypeFactoryTest,
                         testing::Combine(testing::Values(NARROW, WIDE), testing::Values(uint8_t(1), uint8_t(100))),
                         [](const auto& parameters) {
                             return std::string(std::get<0>(parameters.param) == NARROW ? "narrow" : "wide") +
                                    (std::get<1>(parameters.param) == 1 ? "BeforeStrings" : "AfterStrings");
                         });

} // namespace
