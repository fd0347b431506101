#include "Engine/core/platform/MelnarException.h"
#include "tests/Engine/core/data-store/TwoDatatypesFixture.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace {

using Forged = ForgedDictionaryFile;

class DictionaryDatatypesDamageTest : public TwoDatatypesFixture {
protected:
    /// Returns the section of the words in a file, and that of the strings.
    size_t getWordSection() const { return m_small < D_XSD_STRING ? Forged::STRINGS : Forged::STRINGS + 1; }
    size_t getStringSection() const { return m_small < D_XSD_STRING ? Forged::STRINGS + 1 : Forged::STRINGS; }
};

TEST_P(DictionaryDatatypesDamageTest, damageOfEitherObjectsSectionIsReportedWithItsPlace) {
    resolveNew(0, 20); // IDs 2, 6, 10, 14, 18 are lower-case words, 4, 8, ... upper-case ones
    const Forged sound(*m_dictionary);
    ASSERT_EQ(size_t(Forged::NUMBER_OF_SECTIONS) + 1, sound.m_sections.size());
    const size_t words = getWordSection();
    const size_t stream = 4 + 2 * (4 + 8) + std::string(WordDatatypeFactory::SMALL_NAME).size() +
                          std::string(WordDatatypeFactory::CAPITAL_NAME).size();
    const size_t numberOfWords = stream + 8 + 12;
    ASSERT_EQ(numberOfWords + 8 + 10 * 8, sound.m_sections[words].size());
    const std::string wordSection = "datatype " + std::to_string(m_small);
    Forged stringsFirst = sound;
    std::swap(stringsFirst.m_sections[Forged::STRINGS], stringsFirst.m_sections[getStringSection()]);
    const uint8_t smallID = m_small;
    struct Lie {
        std::function<void(Forged&)> m_tell;
        std::string m_section;
        std::string m_finding;
    };
    const uint64_t firstWordOffset = sound.get<uint64_t>(Forged::DATA_OFFSETS, 8);
    const std::string noWord = "there is no literal at offset " + std::to_string(firstWordOffset) + " for resource 2.";
    const std::vector<Lie> lies = {
        {[=](Forged& file) { file.set<char>(words, stream + 8, 'w'); }, wordSection,
         "it is not the stream of a datatype of words."},
        {[=](Forged& file) { file.set<uint64_t>(words, numberOfWords, 11); }, wordSection,
         "it is shorter than its contents."},
        {[=](Forged& file) { file.set<uint64_t>(words, numberOfWords, 9); }, wordSection, "it lacks words."},
        {[=](Forged& file) { file.set<uint64_t>(words, numberOfWords + 8, 1); }, wordSection,
         "word 1 is none, or out of order."},
        {[=](Forged& file) { file.set<uint64_t>(words, numberOfWords + 16, 2); }, wordSection,
         "word 2 is none, or out of order."},
        {[=](Forged& file) { file.set<uint64_t>(words, numberOfWords + 8, ~uint64_t(0)); }, wordSection,
         "word 18446744073709551615 is none, or out of order."},
        {[=](Forged& file) { file.m_sections[words] += '\0'; }, wordSection, "it is longer than its contents."},
        {[=](Forged& file) { file.set<uint32_t>(words, 4, 199); }, wordSection,
         "it serves datatypes other than those of this program."},
        {[=](Forged& file) { file.set<uint32_t>(words, 0, 1); }, wordSection,
         "it serves datatypes other than those of this program."},
        {[=](Forged& file) { file.set<uint8_t>(Forged::DATATYPE_BYTES, 1, D_INVALID); }, wordSection,
         "word 2 is none, or out of order."},
        {[=](Forged& file) { file.set<uint8_t>(Forged::DATATYPE_BYTES, 0, D_INVALID); }, "datatype 5",
         "table 1: bucket " + std::to_string(stringsFirst.findBucket(0, 1)) +
             " holds 1, which is no resource of its datatype."},
        {[=](Forged& file) { file.set<uint8_t>(Forged::DATATYPE_BYTES, 1, D_XSD_STRING); }, "data pool", noWord},
        {[=](Forged& file) { file.set<uint8_t>(Forged::DATATYPE_BYTES, 0, smallID); }, "data pool",
         "there is no literal at offset 0 for resource 1."},
        {[=](Forged& file) { file.set<uint32_t>(Forged::DATA_POOL, firstWordOffset, 0xFFFFFFFF); }, "data pool",
         noWord},
        {[=](Forged& file) { file.set<char>(Forged::DATA_POOL, firstWordOffset + 4 + 1, 'x'); }, "data pool", noWord},
        {[=](Forged& file) { file.set<uint32_t>(Forged::HEADER, Forged::NUMBER_OF_DATATYPES, 1); }, "header",
         "it announces 1 datatype objects."}};
    EXPECT_NO_THROW(readFromMemory(sound.getBytes())->verify());
    for (const Lie& lie : lies) {
        Forged file = sound;
        lie.m_tell(file);
        EXPECT_EQ("Dictionary file 'memory' is damaged: section '" + lie.m_section + "': " + lie.m_finding,
                  catchException<MelnarException>([&] { readFromMemory(file.getBytes()); }).getMessage());
    }
}

INSTANTIATE_TEST_SUITE_P(WidthsAndIDs, DictionaryDatatypesDamageTest, WIDTHS_AND_IDS, nameWidthAndIDs);

} // namespace
