#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <gtest/gtest.h>

#include <compare>
#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

/// A simple model of a dictionary.
struct DictionaryModel {
    /// The argument of a caller, and what the dictionary stores: an empty tag turns a plain literal into a string.
    struct Literal {
        uint8_t m_datatypeID;
        std::string m_lexicalForm;

        auto operator<=>(const Literal&) const = default;

        Literal getStored() const {
            if (m_datatypeID == D_RDF_PLAIN_LITERAL && m_lexicalForm.back() == '@')
                return {D_XSD_STRING, m_lexicalForm.substr(0, m_lexicalForm.size() - 1)};
            return *this;
        }
    };

    /// Makes a literal as a function of its number: terms of all families, some of which share texts.
    static Literal makeLiteral(const uint32_t number) {
        const std::string text = number == 0 ? "" : std::to_string(number / 10) + std::string(number % 37, 'x');
        switch (number % 10) {
        case 0:
        case 1:
            return {D_XSD_STRING, text};
        case 2:
            return {D_XSD_STRING, text + "@en"};
        case 3:
            return {D_RDF_PLAIN_LITERAL, text + "@en"};
        case 4:
            return {D_RDF_PLAIN_LITERAL, text + "@"};
        case 5:
            return {D_IRI, "http://example.org/" + std::to_string(number % 7) + '/' + text};
        case 6:
            return {D_IRI, "http://example.org/" + text + "/page"};
        case 7:
            return {D_BLANK_NODE, "doc" + std::to_string(number % 3) + "-b" + text};
        case 8:
            return {D_TYPED_LITERAL, text + "^^http://example.org/type#" + std::to_string(number % 4)};
        default:
            if (number % 4 == 1)
                return {D_DIRECTIONAL_STRING, text + "@ar--rtl"};
            return {D_TRIPLE_TERM, "<<( _:b <http://example.org/p> \"" + text + "\" )>>"};
        }
    }

    /// Returns the lexical form of a value, which may have two parts.
    static std::string getForm(const ResourceValue& value) {
        const std::string ownPart(reinterpret_cast<const char*>(value.m_data), value.m_dataSize - 1);
        const std::string affix(reinterpret_cast<const char*>(value.m_auxiliaryData), value.m_auxiliaryDataSize);
        return value.m_datatypeID == D_IRI || value.m_datatypeID == D_BLANK_NODE ? affix + ownPart : ownPart + affix;
    }

    std::map<Literal, uint64_t> m_resourceIDs;
    std::map<uint64_t, Literal> m_literals;
    uint64_t m_nextResourceID = 1;
    uint64_t m_commitPoint = 1;
    std::vector<uint64_t> m_earlierCommitPoints; // since the last compaction

    uint64_t find(const Literal& literal, const uint64_t commitPoint) const {
        const auto found = m_resourceIDs.find(literal.getStored());
        return found != m_resourceIDs.end() && found->second < commitPoint ? found->second : 0;
    }

    void commit() {
        m_commitPoint = m_nextResourceID;
        m_earlierCommitPoints.push_back(m_commitPoint);
    }

    void rollback() {
        const auto begin = m_literals.lower_bound(m_commitPoint);
        for (auto current = begin; current != m_literals.end(); ++current)
            m_resourceIDs.erase(current->second);
        m_literals.erase(begin, m_literals.end());
    }

    /// Returns the new ID of each old one.
    std::vector<uint64_t> compact(const std::function<bool(uint64_t)>& survives) {
        std::vector<uint64_t> newResourceIDs(m_nextResourceID, 0);
        DictionaryModel compacted;
        for (const auto& [resourceID, literal] : m_literals)
            if (survives(resourceID)) {
                newResourceIDs[resourceID] = compacted.m_nextResourceID;
                compacted.m_literals[compacted.m_nextResourceID] = literal;
                compacted.m_resourceIDs[literal] = compacted.m_nextResourceID++;
                compacted.m_commitPoint += resourceID < m_commitPoint;
            }
        *this = compacted;
        return newResourceIDs;
    }

    /// Expects that a dictionary has exactly these resources.
    void expectSameResources(const Dictionary& dictionary) const {
        ASSERT_EQ(m_nextResourceID, dictionary.getNextResourceID());
        ASSERT_EQ(m_commitPoint, dictionary.getCommitPoint().m_resourceID);
        ASSERT_EQ(m_literals.size(), dictionary.size());
        auto expected = m_literals.begin();
        for (const auto& [resourceID, value] : dictionary) {
            ASSERT_NE(m_literals.end(), expected) << "there is " << resourceID;
            ASSERT_EQ(expected->first, resourceID);
            ASSERT_EQ(expected->second, (Literal{value.m_datatypeID, getForm(value)}));
            ++expected;
        }
        ASSERT_EQ(m_literals.end(), expected) << "there is no " << expected->first;
    }
};
