#include "Engine/core/data-store/dictionary/DatatypeNames.h"
#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Engine/core/data-store/dictionary/StringDatatype.h"
#include "tests/Engine/core/data-store/dictionary/StringDatatypeTestPeer.h"
#include "tests/Engine/core/platform/collections/ParallelHashTableTestPeer.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/ExitRegistrations.h"
#include "tests/support/LockObserver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace {

using TablePeer = ParallelHashTableTestPeer;
using Event = LockObserver::Event;
using Steps = std::vector<std::pair<Event, const void*>>;

template<class T>
class StringDatatypeDestructionTest : public testing::Test {};

/// Records in which order mutexes, conditions and address ranges are released.
class DestructionRecorder : public LockObserver {
public:
    void notice(const Event event, const void* const object) override {
        if (event == Event::MUTEX_DESTROYED || event == Event::CONDITION_DESTROYED || event == Event::UNMAPPED)
            m_steps.emplace_back(event, object);
    }

    const Steps& getSteps() const { return m_steps; }

private:
    Steps m_steps;
};

template<class Table>
void appendDestructionOf(Table& table, Steps& steps) {
    steps.emplace_back(Event::CONDITION_DESTROYED, &TablePeer::getResizeCondition(table));
    steps.emplace_back(Event::MUTEX_DESTROYED, &TablePeer::getResizeMutex(table));
    for (const auto* const region : {&TablePeer::getOldBuckets(table), &TablePeer::getBuckets(table)})
        if (region->getData() != nullptr)
            steps.emplace_back(Event::UNMAPPED, region->getData());
    for (size_t slot = 256; slot-- > 0;) {
        steps.emplace_back(Event::CONDITION_DESTROYED, &TablePeer::getThreadContexts(table)[slot].m_condition);
        steps.emplace_back(Event::MUTEX_DESTROYED, &TablePeer::getThreadContexts(table)[slot].m_mutex);
    }
}

size_t count(const Steps& steps, const Event event) {
    return static_cast<size_t>(
        std::count_if(steps.begin(), steps.end(), [event](const auto& step) { return step.first == event; }));
}

/// Destroys a datatype, and expects the order.
template<class T>
Steps destroyInOrder(std::unique_ptr<StringDatatype<T>> datatype) {
    Steps expected;
    appendDestructionOf(StringDatatypeTestPeer::getTable(*datatype, D_RDF_PLAIN_LITERAL), expected);
    appendDestructionOf(StringDatatypeTestPeer::getTable(*datatype, D_XSD_STRING), expected);
    std::unique_ptr<DictionaryDatatype> base = std::move(datatype);
    const DestructionRecorder recorder;
    base.reset();
    const Steps& steps = recorder.getSteps();
    EXPECT_EQ(expected.size(), steps.size());
    const auto firstOther = std::mismatch(expected.begin(), expected.end(), steps.begin(), steps.end());
    EXPECT_EQ(expected.end(), firstOther.first) << "step " << firstOther.first - expected.begin() << " is another";
    EXPECT_EQ(514u, count(steps, Event::CONDITION_DESTROYED)) << "256 slots and the resize, of two tables";
    EXPECT_EQ(514u, count(steps, Event::MUTEX_DESTROYED));
    return steps;
}

template<class T>
std::unique_ptr<StringDatatype<T>> makeDatatype(DictionaryParts& parts) {
    return std::make_unique<StringDatatype<T>>(parts.m_memoryManager, parts.m_nextResourceID,
                                               parts.m_resourceDataOffsets, parts.m_resourceFlags, parts.m_dataPool);
}

} // namespace

TYPED_TEST_SUITE(StringDatatypeDestructionTest, DatatypeWidths, DatatypeWidthNames);

TYPED_TEST(StringDatatypeDestructionTest, goesThroughTheTablesBackwards) {
    DictionaryParts parts;
    auto datatype = makeDatatype<TypeParam>(parts);
    datatype->initialize(0);
    EXPECT_EQ(2u, count(destroyInOrder(std::move(datatype)), Event::UNMAPPED));
    EXPECT_EQ(0u, parts.getBytesInUse());
}

// Nothing throws during a rehash, so only the test can leave an old array.
TYPED_TEST(StringDatatypeDestructionTest, givesTheOldArrayOfAResizeUpBeforeThePresentOne) {
    DictionaryParts parts;
    auto datatype = makeDatatype<TypeParam>(parts);
    datatype->initialize(0);
    for (const uint8_t datatypeID : {D_XSD_STRING, D_RDF_PLAIN_LITERAL}) {
        auto& oldBuckets = TablePeer::getOldBuckets(StringDatatypeTestPeer::getTable(*datatype, datatypeID));
        oldBuckets.initialize(2048);
        oldBuckets.ensureEndAtLeast(2048);
    }
    EXPECT_EQ(4u, count(destroyInOrder(std::move(datatype)), Event::UNMAPPED));
    EXPECT_EQ(0u, parts.getBytesInUse());
}

TYPED_TEST(StringDatatypeDestructionTest, releasesNoMemoryThatWasNeverTaken) {
    DictionaryParts parts;
    EXPECT_EQ(0u, count(destroyInOrder(makeDatatype<TypeParam>(parts)), Event::UNMAPPED));
}

namespace {

/// Shows which function destroys static strings.
const std::string s_staticString("a static string");

} // namespace

// The factory is made last and destroyed first, so its names exist as long as it does.
TEST(StringDatatypeFactoryDestructionTest, theFactoryIsMadeAfterItsNamesAndGoesBeforeThem) {
    const std::span<const ExitRegistration> registrations = getExitRegistrations();
    const auto findObject = [&](const void* const object) {
        return std::find_if(registrations.begin(), registrations.end(),
                            [object](const ExitRegistration& candidate) { return candidate.m_object == object; });
    };
    const auto example = findObject(&s_staticString);
    ASSERT_NE(registrations.end(), example);
    const auto findString = [&](const std::string& content) {
        return std::find_if(registrations.begin(), registrations.end(), [&](const ExitRegistration& candidate) {
            return candidate.m_function == example->m_function &&
                   *static_cast<const std::string*>(candidate.m_object) == content;
        });
    };
    const auto xsdString = findString(XSD_STRING);
    const auto plainLiteral = findString(RDF_PLAIN_LITERAL);
    const auto factory = findObject(DictionaryDatatypeFactory::getFactory(D_XSD_STRING));
    ASSERT_NE(registrations.end(), xsdString);
    ASSERT_NE(registrations.end(), plainLiteral);
    ASSERT_NE(registrations.end(), factory);
    EXPECT_LT(xsdString, plainLiteral);
    EXPECT_LT(plainLiteral, factory);
}
