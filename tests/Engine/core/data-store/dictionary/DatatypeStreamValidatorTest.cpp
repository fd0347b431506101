#include "Engine/core/data-store/dictionary/DatatypeStreamValidator.h"

#include "Engine/core/data-store/dictionary/DatatypePolicy.h"
#include "tests/Engine/core/data-store/dictionary/SavedDatatype.h"
#include "tests/Engine/core/data-store/dictionary/UntrustedBytes.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

using namespace melnar;

namespace {

/// Resources 1 to 5: three strings, a plain literal, one withdrawn; and the stream of a datatype with them.
template<class T>
class DatatypeStreamValidatorTest : public testing::Test {
protected:
    static constexpr uint64_t END_RESOURCE_ID = 6;

    DatatypeStreamValidatorTest() {
        m_parts.m_resourceFlags.ensureEndAtLeast(END_RESOURCE_ID);
        for (const uint64_t resourceID : {uint64_t(1), uint64_t(2), uint64_t(5)})
            m_parts.m_resourceFlags[resourceID] = D_XSD_STRING;
        m_parts.m_resourceFlags[3] = D_RDF_PLAIN_LITERAL;
        m_saved.m_initialSize = 77;
        SavedTable<T>& strings = m_saved.m_xsdStringTable;
        strings.m_buckets[10] = 5;
        strings.m_buckets[11] = DatatypePolicy<T>::BUCKET_DELETED;
        strings.m_buckets[12] = 1;
        strings.m_buckets[1023] = 2;
        strings.m_numberOfUsedBuckets = 10;
        strings.m_numberOfDeletedBuckets = 1;
        strings.m_quotas = {{0, 4}, {255, 2}};
        m_saved.m_plainLiteralTable.m_buckets[0] = 3;
        m_saved.m_plainLiteralTable.m_numberOfUsedBuckets = 1;
    }

    /// Returns everything that the validator delivers, read in pieces that end after each field of the header.
    std::string validate(const std::string& bytes) const {
        UntrustedBytes input(bytes);
        DatatypeStreamValidator<T> validator(input, "StringDatatype", "string", {D_XSD_STRING, D_RDF_PLAIN_LITERAL},
                                             END_RESOURCE_ID, m_parts.m_resourceFlags);
        EXPECT_EQ("memory", validator.getName());
        std::string delivered(bytes.size(), '\0');
        for (size_t position = 0; position < bytes.size();) {
            const size_t piece = validator.read(&delivered[position], std::min<size_t>(40, bytes.size() - position));
            if (piece == 0)
                throw std::logic_error("the validator ends before the stream");
            position += piece;
        }
        EXPECT_EQ(0u, input.getNumberOfRemainingBytes());
        char excess;
        EXPECT_EQ(0u, validator.read(&excess, 1)) << "after the tables there is nothing";
        return delivered;
    }

    /// Returns the finding for a changed stream.
    std::string getFinding(const std::function<void(SavedDatatype<T>&)>& lie) const {
        SavedDatatype<T> saved = m_saved;
        lie(saved);
        try {
            validate(saved.toStream());
            return "nothing";
        } catch (const ReportedDamage& damage) {
            return damage.what();
        }
    }

    DictionaryParts m_parts;
    SavedDatatype<T> m_saved;
};

} // namespace

TYPED_TEST_SUITE(DatatypeStreamValidatorTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(DatatypeStreamValidatorTest, aSoundStreamPassesByteForByte) {
    EXPECT_EQ(this->m_saved.toStream(), this->validate(this->m_saved.toStream()));
    this->m_saved.m_plainLiteralTable.m_capacity = 5000;
    this->m_saved.m_plainLiteralTable.m_buckets.resize(3000);
    EXPECT_EQ(this->m_saved.toStream(), this->validate(this->m_saved.toStream())) << "empty buckets after the last";
}

TYPED_TEST(DatatypeStreamValidatorTest, anIDInTwoBucketsIsFound) {
    using Saved = SavedDatatype<TypeParam>;
    EXPECT_EQ("table 1: bucket 500 holds 5, which an earlier bucket holds, too.",
              this->getFinding([](Saved& saved) { saved.m_xsdStringTable.m_buckets[500] = 5; }));
    EXPECT_EQ("table 1: bucket 1023 holds 5, which an earlier bucket holds, too.", this->getFinding([](Saved& saved) {
        saved.m_xsdStringTable.m_buckets[1023] = 5;
    })) << "in the place of another, so that the numbers agree";
    EXPECT_EQ("table 2: bucket 1 holds 3, which an earlier bucket holds, too.",
              this->getFinding([](Saved& saved) { saved.m_plainLiteralTable.m_buckets[1] = 3; }));
}

TYPED_TEST(DatatypeStreamValidatorTest, aResourceInNoBucketIsFound) {
    using Saved = SavedDatatype<TypeParam>;
    EXPECT_EQ("table 1: it lacks resource 2.",
              this->getFinding([](Saved& saved) { saved.m_xsdStringTable.m_buckets[1023] = 0; }));
    EXPECT_EQ("table 1: it lacks resource 1.", this->getFinding([](Saved& saved) {
        SavedTable<TypeParam>& strings = saved.m_xsdStringTable;
        strings.m_buckets[12] = DatatypePolicy<TypeParam>::BUCKET_DELETED;
        strings.m_numberOfDeletedBuckets = 2;
    })) << "a tombstone in its place, so that the numbers agree";
    EXPECT_EQ("table 2: it lacks resource 3.",
              this->getFinding([](Saved& saved) { saved.m_plainLiteralTable.m_buckets[0] = 0; }));
}

TYPED_TEST(DatatypeStreamValidatorTest, whatIsNoResourceOfTheTablesDatatypeIsFound) {
    using Saved = SavedDatatype<TypeParam>;
    for (const TypeParam value : {TypeParam(3), TypeParam(4), TypeParam(6), TypeParam(0xFFFFFFF0),
                                  DatatypePolicy<TypeParam>::BUCKET_IN_PROGRESS})
        EXPECT_EQ("table 1: bucket 20 holds " + std::to_string(value) + ", which is no resource of its datatype.",
                  this->getFinding([value](Saved& saved) { saved.m_xsdStringTable.m_buckets[20] = value; }));
    EXPECT_EQ("table 2: bucket 20 holds 5, which is no resource of its datatype.",
              this->getFinding([](Saved& saved) { saved.m_plainLiteralTable.m_buckets[20] = 5; }));
}

TYPED_TEST(DatatypeStreamValidatorTest, headersAreHeldToTheTablesOwnRules) {
    using Saved = SavedDatatype<TypeParam>;
    using Header = ParallelHashTableHeader;
    EXPECT_EQ("table 1: it has 512 buckets.", this->getFinding([](Saved& saved) {
        saved.m_xsdStringTable.m_numberOfBuckets = Header::MINIMUM_NUMBER_OF_BUCKETS / 2;
        saved.m_xsdStringTable.m_resizeThreshold = Header::getResizeThreshold(512);
    }));
    EXPECT_EQ("table 2: its resize threshold is 717.", this->getFinding([](Saved& saved) {
        saved.m_plainLiteralTable.m_resizeThreshold = Header::getResizeThreshold(1024) + 1;
    }));
    EXPECT_EQ("table 1: it claims 10 used buckets, 11 of them reserved.",
              this->getFinding([](Saved& saved) { saved.m_xsdStringTable.m_quotas[7] = 5; }));
    EXPECT_EQ("table 1: its counters state 1 deleted and 3 non-empty buckets, but 1 and 4 are there.",
              this->getFinding([](Saved& saved) { saved.m_xsdStringTable.m_quotas[7] = 1; }));
    EXPECT_EQ("table 1: its 1024 buckets are not within a region of 1023 of at most 1024.",
              this->getFinding([](Saved& saved) { saved.m_xsdStringTable.m_buckets.resize(1023); }));
}

TYPED_TEST(DatatypeStreamValidatorTest, markersAreChecked) {
    std::string bytes = this->m_saved.toStream();
    for (const auto& [position, finding] :
         {std::pair<size_t, std::string>(21, "it is not the stream of a string datatype."),
          {30 + 8, "table 1: it is not a hash table."},
          {bytes.size() / 2 + 15 + 24, "table 2: it is not a hash table."}}) {
        std::string changed = bytes;
        changed[position] ^= 1;
        try {
            this->validate(changed);
            ADD_FAILURE() << position;
        } catch (const ReportedDamage& damage) {
            EXPECT_EQ(finding, damage.what()) << position;
        }
    }
}

TYPED_TEST(DatatypeStreamValidatorTest, whereverTheStreamEndsItsFailureIsPassedOn) {
    const std::string bytes = this->m_saved.toStream();
    for (size_t length = 0; length < bytes.size(); length += length < 1200 ? 7 : 509)
        try {
            UntrustedBytes input(std::string_view(bytes).substr(0, length));
            DatatypeStreamValidator<TypeParam> validator(input, "StringDatatype", "string",
                                                         {D_XSD_STRING, D_RDF_PLAIN_LITERAL}, this->END_RESOURCE_ID,
                                                         this->m_parts.m_resourceFlags);
            std::string delivered(bytes.size(), '\0');
            validator.readExactly(delivered.data(), delivered.size());
            ADD_FAILURE() << length;
        } catch (const ReportedDamage& damage) {
            EXPECT_STREQ("the end", damage.what()) << length;
        }
}
