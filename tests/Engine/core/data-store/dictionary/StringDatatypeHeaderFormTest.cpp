#include "Engine/core/data-store/dictionary/StringDatatype.h"

#include "Engine/core/platform/stream/MemoryInputStream.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/HeaderForms.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

using namespace melnar;

// Strings whose chunks have size headers of every form, also longer ones than necessary. Another writer of the pool may
// make such chunks; a compaction brings them in.

namespace {

/// A string in the pool.
struct PlantedString {
    OwnedLiteral m_literal;
    size_t m_headerLength;
};

/// Makes a string of some length. Strings of the same length start with the same bytes and, if they are long enough,
/// differ in their number.
std::string makeText(const size_t length, const size_t number, const uint8_t datatypeID) {
    const std::string tail =
        (number == 0 ? "" : std::to_string(number)) + (datatypeID == D_RDF_PLAIN_LITERAL ? "@en" : "");
    return length <= tail.size() ? tail : std::string(length - tail.size(), 'x') + tail;
}

/// Makes strings of both datatypes, of lengths on both sides of every header's limit, with all header forms that can
/// hold them. They are in the order of their lengths, so equal beginnings and lengths are neighbours.
std::vector<PlantedString> makePlantedStrings() {
    std::vector<PlantedString> planted;
    for (const size_t length : {size_t(5), size_t(8), size_t(62), size_t(63), size_t(64), size_t(126), size_t(127),
                                size_t(128), size_t(300), size_t(16382), size_t(16383), size_t(70000)})
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
            for (const size_t headerLength : HEADER_LENGTHS)
                if (canHeaderHold(headerLength, length))
                    planted.push_back({{makeText(length, headerLength, datatypeID), datatypeID}, headerLength});
    // There is only one string of each of the shortest lengths.
    planted.push_back({{"", D_XSD_STRING}, 8});
    planted.push_back({{"1", D_XSD_STRING}, 1});
    planted.push_back({{"2", D_XSD_STRING}, 2});
    planted.push_back({{"4", D_XSD_STRING}, 4});
    planted.push_back({{"8", D_XSD_STRING}, 8});
    planted.push_back({{"@d", D_RDF_PLAIN_LITERAL}, 4});
    return planted;
}

OwnedLiterals getLiterals(const std::vector<PlantedString>& planted) {
    OwnedLiterals literals;
    for (const PlantedString& string : planted)
        literals.push_back(string.m_literal);
    return literals;
}

/// Makes literals that are not planted, but similar to planted ones.
OwnedLiterals makeLikenesses(const OwnedLiterals& literals) {
    std::set<std::pair<uint8_t, std::string>> taken;
    for (const auto& [lexicalForm, datatypeID] : literals)
        taken.emplace(datatypeID, lexicalForm);
    OwnedLiterals likenesses;
    const auto addIfNew = [&](std::string&& text, const uint8_t datatypeID) {
        if (taken.emplace(datatypeID, text).second)
            likenesses.push_back({std::move(text), datatypeID});
    };
    for (const auto& [lexicalForm, datatypeID] : literals) {
        const std::string tag = datatypeID == D_RDF_PLAIN_LITERAL ? lexicalForm.substr(lexicalForm.find('@')) : "";
        const std::string text = lexicalForm.substr(0, lexicalForm.size() - tag.size());
        for (const size_t place : {size_t(0), text.size() / 2, text.size() - 1})
            if (place < text.size()) {
                std::string other = text;
                other[place] = 'y';
                addIfNew(other + tag, datatypeID);
            }
        if (!text.empty())
            addIfNew(text.substr(0, text.size() - 1) + tag, datatypeID);
        addIfNew(text + std::string(1, '\0') + tag, datatypeID);
        addIfNew(text + "x" + tag, datatypeID);
        for (const size_t headerLength : HEADER_LENGTHS)
            addIfNew(std::string(headerLength, 'x') + text + tag, datatypeID);
    }
    return likenesses;
}

template<class T>
class StringDatatypeHeaderFormTest : public testing::Test {
protected:
    StringDatatypeHeaderFormTest() {
        for (uint64_t resourceID = 1; resourceID <= m_literals.size(); ++resourceID)
            m_resourceIDs.push_back(resourceID);
        plant(m_planted);
    }

    /// Writes the chunks to the pool and passes their records to the datatype.
    void plant(const std::vector<PlantedString>& planted) {
        m_fixture.m_resourceDataOffsets.ensureEndAtLeast(planted.size() + 1);
        m_fixture.m_resourceFlags.ensureEndAtLeast(planted.size() + 1);
        DictionaryCompactionState state(m_fixture.m_memoryManager);
        state.m_entries.initialize(planted.size());
        state.m_entries.ensureEndAtLeast(planted.size());
        for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
            for (size_t index = 0; index < planted.size(); ++index) {
                if (planted[index].m_literal.m_datatypeID != datatypeID)
                    continue;
                const std::vector<uint8_t> chunk =
                    makeChunk(planted[index].m_literal.m_lexicalForm, planted[index].m_headerLength);
                const uint64_t offset = m_fixture.m_dataPool.newDataChunk(nullptr, chunk.size());
                std::copy(chunk.begin(), chunk.end(), m_fixture.m_dataPool.getData() + offset);
                state.m_entries[state.m_numberOfEntries++] = {index + 1, datatypeID, false, offset, chunk.size()};
            }
        m_fixture.m_nextResourceID = planted.size() + 1;
        m_fixture.m_datatype.finishCompact(state);
    }

    void expectAllFound() {
        const BatchAnswers expected{m_resourceIDs};
        EXPECT_EQ(expected, lookUpOneByOne(m_fixture, m_literals, EVERYTHING));
        EXPECT_EQ(expected, lookUpAtOnce(m_fixture, m_literals, EVERYTHING));
        const uint64_t nextResourceID = m_fixture.m_nextResourceID.load();
        EXPECT_EQ(expected, resolveOneByOne(m_fixture, m_literals));
        EXPECT_EQ(expected, resolveAtOnce(m_fixture, m_literals));
        EXPECT_EQ(nextResourceID, m_fixture.m_nextResourceID.load()) << "a string that is there was created again";
        expectSound(m_fixture);
    }

    void expectLikenessesAbsent() {
        const BatchAnswers expected{std::vector<uint64_t>(m_likenesses.size(), 0)};
        EXPECT_EQ(expected, lookUpOneByOne(m_fixture, m_likenesses, EVERYTHING));
        EXPECT_EQ(expected, lookUpAtOnce(m_fixture, m_likenesses, EVERYTHING));
    }

    const std::vector<PlantedString> m_planted = makePlantedStrings();
    const OwnedLiterals m_literals = getLiterals(m_planted);
    const OwnedLiterals m_likenesses = makeLikenesses(m_literals);
    std::vector<uint64_t> m_resourceIDs;
    DictionaryFixture<T> m_fixture;
};

} // namespace

TYPED_TEST_SUITE(StringDatatypeHeaderFormTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeHeaderFormTest, chunksWrittenByHandAreThoseOfTheFormat) {
    EXPECT_EQ((std::vector<uint8_t>{0x0A, 'a', 'b', 'c', 'd', 0}), makeChunk("abcd", 1));
    EXPECT_EQ((std::vector<uint8_t>{0x15, 0, 'a', 'b', 'c', 'd', 0}), makeChunk("abcd", 2));
    EXPECT_EQ((std::vector<uint8_t>{0x2B, 0, 0, 0, 'a', 'b', 'c', 'd', 0}), makeChunk("abcd", 4));
    EXPECT_EQ((std::vector<uint8_t>{0x2F, 0, 0, 0, 0, 0, 0, 0, 'a', 'b', 'c', 'd', 0}), makeChunk("abcd", 8));
    for (const size_t headerLength : HEADER_LENGTHS)
        EXPECT_LT(10, std::count_if(this->m_planted.begin(), this->m_planted.end(),
                                    [headerLength](const PlantedString& planted) {
                                        return planted.m_headerLength == headerLength;
                                    }));
    EXPECT_LT(3 * this->m_literals.size(), this->m_likenesses.size());
}

TYPED_TEST(StringDatatypeHeaderFormTest, everyStringIsFoundAndReadUnderItsID) {
    this->expectAllFound();
    std::vector<BatchEntry> entries;
    for (size_t index = 0; index < this->m_literals.size(); ++index) {
        const uint64_t resourceID = this->m_resourceIDs[index];
        const auto& [lexicalForm, datatypeID] = this->m_literals[index];
        EXPECT_EQ(lexicalForm, this->m_fixture.getLexicalForm(resourceID));
        EXPECT_EQ(datatypeID, this->m_fixture.getDatatypeID(resourceID));
        ResourceValue value;
        this->m_fixture.m_datatype.getResource(resourceID, datatypeID, value);
        EXPECT_EQ(lexicalForm.size() + 1, value.m_dataSize);
        EXPECT_EQ(resourceID, this->m_fixture.m_datatype.tryResolveResource(EVERYTHING, value));
        EXPECT_EQ(resourceID, this->m_fixture.m_datatype.resolveResource(nullptr, value));
        entries.push_back({{}, resourceID, datatypeID});
    }
    this->m_fixture.m_datatype.getResources(entries);
    for (size_t index = 0; index < entries.size(); ++index)
        EXPECT_EQ(this->m_literals[index].m_lexicalForm, entries[index].m_lexicalForm);
}

TYPED_TEST(StringDatatypeHeaderFormTest, stringsOfTheSameBeginningOrLengthAreNotFound) {
    this->expectLikenessesAbsent();
    this->expectAllFound();
}

TYPED_TEST(StringDatatypeHeaderFormTest, stringsOfTheSameBeginningOrLengthAreCreatedBesideThem) {
    std::vector<uint64_t> newResourceIDs;
    for (size_t index = 0; index < this->m_likenesses.size(); ++index)
        newResourceIDs.push_back(this->m_literals.size() + 1 + index);
    EXPECT_EQ(BatchAnswers{newResourceIDs}, resolveAtOnce(this->m_fixture, this->m_likenesses));
    EXPECT_EQ(BatchAnswers{newResourceIDs}, resolveOneByOne(this->m_fixture, this->m_likenesses));
    this->expectAllFound();
}

TYPED_TEST(StringDatatypeHeaderFormTest, everyStringKeepsItsIDWhenTheTablesGrow) {
    OwnedLiterals further;
    for (size_t number = 0; number < 6000; ++number)
        further.push_back({"further " + std::to_string(number) + "@en",
                           number % 2 == 0 ? uint8_t(D_XSD_STRING) : uint8_t(D_RDF_PLAIN_LITERAL)});
    EXPECT_TRUE(resolveAtOnce(this->m_fixture, further).m_failures.empty());
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL})
        EXPECT_EQ(8192u, getTable(this->m_fixture, datatypeID).getNumberOfBuckets());
    this->expectAllFound();
    this->expectLikenessesAbsent();
}

TYPED_TEST(StringDatatypeHeaderFormTest, everyStringIsKnownToATableThatIsLoaded) {
    const std::string bytes = save(this->m_fixture.m_datatype);
    this->m_fixture.m_datatype.initialize(0);
    EXPECT_EQ(0u, this->m_fixture.tryResolve(this->m_literals.front().m_lexicalForm));
    MemoryInputStream input(bytes);
    this->m_fixture.m_datatype.load(input);
    this->expectLikenessesAbsent();
    this->expectAllFound();
}

TYPED_TEST(StringDatatypeHeaderFormTest, everyStringCanBeWithdrawnAndComeAgain) {
    OwnedLiterals withdrawn;
    for (size_t index = 0; index < this->m_literals.size(); index += 2) {
        this->m_fixture.m_datatype.deleteUncommittedResourceID(this->m_resourceIDs[index],
                                                               this->m_literals[index].m_datatypeID);
        withdrawn.push_back(this->m_literals[index]);
    }
    const BatchAnswers none{std::vector<uint64_t>(withdrawn.size(), 0)};
    EXPECT_EQ(none, lookUpOneByOne(this->m_fixture, withdrawn, EVERYTHING));
    EXPECT_EQ(none, lookUpAtOnce(this->m_fixture, withdrawn, EVERYTHING));
    for (size_t index = 0; index < this->m_literals.size(); ++index) {
        const auto& [lexicalForm, datatypeID] = this->m_literals[index];
        EXPECT_EQ(index % 2 == 0 ? 0 : this->m_resourceIDs[index], this->m_fixture.tryResolve(lexicalForm, datatypeID));
        if (index % 2 == 0)
            this->m_resourceIDs[index] = 1000 + index;
    }
    // Half of them by restoring, half by resolving.
    for (size_t index = 0; index < this->m_literals.size(); index += 4) {
        const auto& [lexicalForm, datatypeID] = this->m_literals[index];
        EXPECT_EQ(1000 + index, this->m_fixture.restore(1000 + index, lexicalForm, datatypeID));
    }
    for (size_t index = 2; index < this->m_literals.size(); index += 4) {
        const auto& [lexicalForm, datatypeID] = this->m_literals[index];
        this->m_fixture.m_nextResourceID = 1000 + index;
        EXPECT_EQ(1000 + index, this->m_fixture.resolve(lexicalForm, datatypeID));
    }
    this->m_fixture.m_nextResourceID = 2000;
    this->expectAllFound();
    this->expectLikenessesAbsent();
}
