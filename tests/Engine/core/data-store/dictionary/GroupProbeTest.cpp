#include "Engine/core/data-store/dictionary/GroupProbe.h"

#include "Engine/core/data-store/dictionary/DatatypeStringPolicy.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/dictionary/DatatypeTables.h"
#include "tests/Engine/core/data-store/dictionary/FormsByHome.h"
#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <numeric>
#include <string>
#include <vector>

using namespace melnar;

namespace {

constexpr size_t BUCKETS = 1024;
constexpr size_t GROUP = PreparedEntries::CAPACITY;

template<class T>
class GroupProbeTest : public testing::Test {
protected:
    void prepare(const std::vector<std::string>& lexicalForms) {
        m_literals.clear();
        for (const std::string& lexicalForm : lexicalForms)
            m_literals.push_back({lexicalForm, D_XSD_STRING});
        m_prepared.prepare(makeBatch(m_literals), &acceptPlainLiteral);
    }

    DictionaryFixture<T> m_fixture;
    OwnedLiterals m_literals;
    PreparedEntries m_prepared;
};

} // namespace

TYPED_TEST_SUITE(GroupProbeTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(GroupProbeTest, onlySelectedEntriesAreLookedUp) {
    const std::vector<std::string> forms = getFormsWithHome(5, BUCKETS, 4);
    for (const std::string& form : forms)
        this->m_fixture.resolve(form);
    this->prepare(forms);
    GroupProbe<DatatypeStringPolicy<TypeParam>> groupProbe(
        this->m_prepared, GroupProbe<DatatypeStringPolicy<TypeParam>>::Purpose::LOOK_UP);
    groupProbe.find(getTable(this->m_fixture), EVERYTHING, std::vector<uint16_t>{3, 1});
    EXPECT_EQ(0u, groupProbe.getResourceID(0));
    EXPECT_EQ(2u, groupProbe.getResourceID(1));
    EXPECT_EQ(0u, groupProbe.getResourceID(2));
    EXPECT_EQ(4u, groupProbe.getResourceID(3));

    groupProbe.find(getTable(this->m_fixture), EVERYTHING, std::vector<uint16_t>{0});
    EXPECT_EQ(1u, groupProbe.getResourceID(0));
    EXPECT_EQ(2u, groupProbe.getResourceID(1)) << "what was found before stays";
}

TYPED_TEST(GroupProbeTest, aWholeGroupIsFoundInAnyOrder) {
    std::vector<std::string> forms;
    for (size_t number = 0; number < GROUP; ++number) {
        forms.push_back(std::to_string(number));
        this->m_fixture.resolve(forms.back());
    }
    this->prepare(forms);
    GroupProbe<DatatypeStringPolicy<TypeParam>> groupProbe(
        this->m_prepared, GroupProbe<DatatypeStringPolicy<TypeParam>>::Purpose::LOOK_UP);
    std::vector<uint16_t> places(GROUP);
    std::iota(places.rbegin(), places.rend(), uint16_t(0));
    groupProbe.find(getTable(this->m_fixture), EVERYTHING, places);
    for (size_t index = 0; index < GROUP; ++index)
        EXPECT_EQ(index + 1, groupProbe.getResourceID(index));
}

// The probes of a group of absent strings pass all strings with the same home, and the end of the table, and each ends
// at the first empty bucket.
TYPED_TEST(GroupProbeTest, theLastBucketIsTheFirstEmptyOneOfTheProbe) {
    constexpr size_t HOME = BUCKETS - 7;
    const std::vector<std::string> forms = getFormsWithHome(HOME, BUCKETS, GROUP + 40);
    this->prepare({forms.begin() + 40, forms.end()});
    for (size_t length = 0; length <= 40; ++length) {
        SCOPED_TRACE(length);
        GroupProbe<DatatypeStringPolicy<TypeParam>> groupProbe(
            this->m_prepared, GroupProbe<DatatypeStringPolicy<TypeParam>>::Purpose::LOOK_UP);
        groupProbe.find(getTable(this->m_fixture), EVERYTHING, this->m_prepared.getOrder(D_XSD_STRING));
        for (size_t place = 0; place < GROUP; ++place) {
            ASSERT_EQ(0u, groupProbe.getResourceID(place));
            ASSERT_EQ((HOME + length) % BUCKETS, groupProbe.getLastBucketIndex(place));
        }
        if (length < 40)
            this->m_fixture.resolve(forms[length]);
    }
}

TYPED_TEST(GroupProbeTest, theLastBucketComesAfterTombstonesAndUncommittedEntries) {
    const std::vector<std::string> forms = getFormsWithHome(5, BUCKETS, 6);
    for (size_t index = 0; index < 5; ++index)
        this->m_fixture.resolve(forms[index]);
    this->m_fixture.m_datatype.deleteUncommittedResourceID(2, D_XSD_STRING);
    this->prepare(forms);
    GroupProbe<DatatypeStringPolicy<TypeParam>> groupProbe(
        this->m_prepared, GroupProbe<DatatypeStringPolicy<TypeParam>>::Purpose::LOOK_UP);
    groupProbe.find(getTable(this->m_fixture), {4}, this->m_prepared.getOrder(D_XSD_STRING));
    const std::vector<uint64_t> expected{1, 0, 3, 0, 0, 0};
    for (size_t place = 0; place < forms.size(); ++place) {
        EXPECT_EQ(expected[place], groupProbe.getResourceID(place));
        if (expected[place] == 0) {
            EXPECT_EQ(10u, groupProbe.getLastBucketIndex(place));
        }
    }
}
