#pragma once

#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/support/WordDatatypeFactory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <tuple>
#include <utility>

using Literal = std::pair<uint8_t, std::string>;
using Resources = std::map<uint64_t, Literal>;

/// The datatype IDs of the words: after those of the strings, or around them.
struct WordIDs {
    uint8_t m_small;
    uint8_t m_capital;
};

inline Resources getResources(const Dictionary& dictionary) {
    Resources resources;
    for (const auto& [resourceID, value] : dictionary) {
        EXPECT_EQ(0, value.m_data[value.m_dataSize - 1]);
        resources[resourceID] = {value.m_datatypeID,
                                 std::string(reinterpret_cast<const char*>(value.m_data), value.m_dataSize - 1)};
    }
    return resources;
}

/// Makes a word as a function of its number.
inline std::string makeWord(size_t number, const char firstLetter) {
    std::string word;
    do {
        word += static_cast<char>(firstLetter + static_cast<char>(number % 26));
        number /= 26;
    } while (number != 0);
    return word;
}

/// The host with a second datatype object besides that of the strings, for tests that apply to both bucket widths and
/// any datatype IDs of the second object.
class TwoDatatypesFixture : public testing::TestWithParam<std::tuple<uint64_t, WordIDs>> {
protected:
    TwoDatatypesFixture()
        : m_maximum(std::get<0>(GetParam())), m_small(std::get<1>(GetParam()).m_small),
          m_capital(std::get<1>(GetParam()).m_capital), m_factory(m_small, m_capital),
          m_dictionary(std::make_unique<Dictionary>(
              DictionaryOptions{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = m_maximum})) {}

    /// Makes literals of all four datatypes, in turn.
    Literal makeLiteral(const size_t number) const {
        switch (number % 4) {
        case 0:
            return {D_XSD_STRING, std::to_string(number)};
        case 1:
            return {m_small, makeWord(number, 'a')};
        case 2:
            return {D_RDF_PLAIN_LITERAL, std::to_string(number) + (number % 8 == 2 ? "@en" : "@de")};
        default:
            return {m_capital, makeWord(number, 'A')};
        }
    }

    uint64_t resolve(DictionaryThread& thread, const Literal& literal) {
        return m_dictionary->resolveResource(thread, literal.second, literal.first);
    }

    uint64_t find(const Literal& literal, const DictionaryCommitPoint commitPoint = DictionaryCommitPoint::ALL) const {
        return m_dictionary->tryResolveResource(commitPoint, literal.second, literal.first);
    }

    /// Resolves literals that are all new; their IDs continue the sequence.
    Resources resolveNew(const size_t begin, const size_t end) {
        DictionaryThread thread(*m_dictionary);
        Resources resources;
        for (size_t number = begin; number < end; ++number) {
            const uint64_t nextResourceID = m_dictionary->getNextResourceID();
            EXPECT_EQ(nextResourceID, resolve(thread, makeLiteral(number)));
            resources[nextResourceID] = makeLiteral(number);
        }
        return resources;
    }

    void expectExactly(const Resources& expected) const {
        EXPECT_EQ(expected, getResources(*m_dictionary));
        for (const auto& [resourceID, literal] : expected)
            EXPECT_EQ(resourceID, find(literal));
        EXPECT_NO_THROW(m_dictionary->verify());
    }

    const uint64_t m_maximum;
    const uint8_t m_small;
    const uint8_t m_capital;
    const WordDatatypeFactory m_factory;
    std::unique_ptr<Dictionary> m_dictionary;
};

inline const auto WIDTHS_AND_IDS =
    testing::Combine(testing::Values(NARROW, WIDE), testing::Values(WordIDs{200, 201}, WordIDs{4, 7}));

inline std::string nameWidthAndIDs(const testing::TestParamInfo<std::tuple<uint64_t, WordIDs>>& parameterInfo) {
    return std::string(std::get<0>(parameterInfo.param) == NARROW ? "narrow" : "wide") +
           (std::get<1>(parameterInfo.param).m_small == 4 ? "AroundStrings" : "AfterStrings");
}
