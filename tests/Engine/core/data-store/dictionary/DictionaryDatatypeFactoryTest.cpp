#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"

#include "Engine/core/data-store/dictionary/DatatypeNames.h"
#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/VirtualSlots.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace {

/// A factory of datatypes that is used only with the registry.
class TestFactory final : public DictionaryDatatypeFactory {
public:
    using DictionaryDatatypeFactory::DictionaryDatatypeFactory;

    std::unique_ptr<DictionaryDatatype> createDictionaryDatatype(bool, MemoryManager&, std::atomic<uint64_t>&,
                                                                 MemoryRegion<uint64_t>&,
                                                                 MemoryRegion<std::atomic<uint8_t>>&,
                                                                 DataPool&) const override {
        return nullptr;
    }
    void inPlaceParseResourceValue(ResourceValue&, uint8_t) const override {}
    void parseResourceValue(ResourceValue&, const char*, size_t, uint8_t) const override {}
    size_t appendLexicalForm(uint8_t, const uint8_t*, size_t, const uint8_t*, size_t, char*, size_t) const override {
        return 0;
    }
    void appendLexicalForm(uint8_t, const uint8_t*, size_t, const uint8_t*, size_t, std::string&) const override {}
    void appendTurtleLiteral(uint8_t, const uint8_t*, size_t, const uint8_t*, size_t, const Prefixes&,
                             std::string&) const override {}
    void printLexicalForm(uint8_t, const uint8_t*, size_t, const uint8_t*, size_t, OutputStream&) const override {}
    void printTurtleLiteral(uint8_t, const uint8_t*, size_t, const uint8_t*, size_t, const Prefixes&,
                            OutputStream&) const override {}
    EffectiveBooleanValue getEffectiveBooleanValue(uint8_t, const uint8_t*, size_t, const uint8_t*,
                                                   size_t) const override {
        return EBV_ERROR;
    }
    bool enumerateEqualResourceValues(const ResourceValue&, std::vector<ResourceValue>&) const override {
        return false;
    }
};

using Datatypes = std::initializer_list<std::pair<uint8_t, std::string>>;

constexpr uint8_t FIRST_ID = 200;
constexpr uint8_t SECOND_ID = 201;
constexpr const char* const FIRST_NAME = "http://example.com/a datatype whose name is not short";
constexpr const char* const SECOND_NAME = "http://example.com/another datatype with a longer name";

const DictionaryDatatypeFactory* findByID(const uint8_t datatypeID) {
    return DictionaryDatatypeFactory::getFactory(datatypeID);
}

const DictionaryDatatypeFactory* findByName(const std::string& datatypeName) {
    return DictionaryDatatypeFactory::getFactory(datatypeName);
}

/// Expects that only the string datatypes and the terms are registered.
void expectNobodyElseRegistered() {
    for (unsigned datatypeID = 0; datatypeID < 256; ++datatypeID)
        EXPECT_EQ(datatypeID == 5 || datatypeID == 6 || (datatypeID >= 250 && datatypeID <= 254),
                  findByID(static_cast<uint8_t>(datatypeID)) != nullptr)
            << datatypeID;
    EXPECT_EQ(nullptr, findByName(FIRST_NAME));
    EXPECT_EQ(nullptr, findByName(SECOND_NAME));
    EXPECT_EQ(findByID(5), findByName(XSD_STRING));
    EXPECT_EQ(findByID(6), findByName(RDF_PLAIN_LITERAL));
    EXPECT_EQ(6u, DictionaryDatatypeFactory::getFactories().size());
}

template<class Factory>
void expectAgreedSlots() {
    using Data = const uint8_t*;
    EXPECT_EQ(2u, getVirtualSlot(&Factory::createDictionaryDatatype)) << "0 and 1 are the destructors'";
    EXPECT_EQ(3u, getVirtualSlot(&Factory::inPlaceParseResourceValue));
    EXPECT_EQ(4u, getVirtualSlot(&Factory::parseResourceValue));
    EXPECT_EQ(5u,
              getVirtualSlot(static_cast<size_t (Factory::*)(uint8_t, Data, size_t, Data, size_t, char*, size_t) const>(
                  &Factory::appendLexicalForm)));
    EXPECT_EQ(6u,
              getVirtualSlot(static_cast<void (Factory::*)(uint8_t, Data, size_t, Data, size_t, std::string&) const>(
                  &Factory::appendLexicalForm)));
    EXPECT_EQ(7u, getVirtualSlot(&Factory::appendTurtleLiteral));
    EXPECT_EQ(8u, getVirtualSlot(&Factory::printLexicalForm));
    EXPECT_EQ(9u, getVirtualSlot(&Factory::printTurtleLiteral));
    EXPECT_EQ(10u, getVirtualSlot(&Factory::getEffectiveBooleanValue));
    EXPECT_EQ(11u, getVirtualSlot(&Factory::enumerateEqualResourceValues));
}

} // namespace

TEST(DictionaryDatatypeFactoryTest, operationsHaveTheirAgreedSlots) {
    expectAgreedSlots<DictionaryDatatypeFactory>();
    expectAgreedSlots<StringDatatypeFactory>();
}

TEST(DictionaryDatatypeFactoryTest, theListOfDatatypesIsTheOnlyField) {
    const TestFactory factory({{FIRST_ID, FIRST_NAME}});
    EXPECT_EQ(sizeof(void*) + sizeof(std::vector<std::pair<uint8_t, std::string>>), sizeof(DictionaryDatatypeFactory));
    EXPECT_EQ(reinterpret_cast<const uint8_t*>(&factory) + sizeof(void*),
              reinterpret_cast<const uint8_t*>(&factory.getSupportedDatatypes()));
    EXPECT_EQ(sizeof(DictionaryDatatypeFactory), sizeof(StringDatatypeFactory));
}

TEST(DictionaryDatatypeFactoryTest, theListKeepsTheGivenOrder) {
    const TestFactory factory({{SECOND_ID, SECOND_NAME}, {FIRST_ID, FIRST_NAME}});
    const std::vector<std::pair<uint8_t, std::string>> expected{{SECOND_ID, SECOND_NAME}, {FIRST_ID, FIRST_NAME}};
    EXPECT_EQ(expected, factory.getSupportedDatatypes());
}

TEST(DictionaryDatatypeFactoryTest, aFactoryIsFoundUnderEachIDAndEachName) {
    const TestFactory factory({{FIRST_ID, FIRST_NAME}, {SECOND_ID, SECOND_NAME}});
    EXPECT_EQ(&factory, findByID(FIRST_ID));
    EXPECT_EQ(&factory, findByID(SECOND_ID));
    EXPECT_EQ(&factory, findByName(FIRST_NAME));
    EXPECT_EQ(&factory, findByName(SECOND_NAME));
}

TEST(DictionaryDatatypeFactoryTest, datatypesThatNoFactoryServesAreNotFound) {
    expectNobodyElseRegistered();
    EXPECT_EQ(nullptr, findByID(D_INVALID));
    EXPECT_EQ(nullptr, findByID(255));
    EXPECT_EQ(nullptr, findByName(""));
    EXPECT_EQ(nullptr, findByName("xsd:string"));
}

TEST(DictionaryDatatypeFactoryTest, aFactoryLeavesWhenItIsDestroyed) {
    { const TestFactory factory({{FIRST_ID, FIRST_NAME}, {SECOND_ID, SECOND_NAME}}); }
    expectNobodyElseRegistered();
    const TestFactory successor({{FIRST_ID, SECOND_NAME}, {SECOND_ID, FIRST_NAME}});
    EXPECT_EQ(&successor, findByID(FIRST_ID));
}

TEST(DictionaryDatatypeFactoryTest, theListOfFactoriesHasEachOnceInOrderOfItsFirstID) {
    const TestFactory last({{249, "e:249"}, {8, "e:8"}});
    const TestFactory first({{1, "e:1"}, {248, "e:248"}});
    std::vector<const DictionaryDatatypeFactory*> expected{&first, findByID(D_XSD_STRING), &last};
    for (const uint8_t datatypeID : {D_IRI, D_BLANK_NODE, D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM})
        expected.push_back(findByID(datatypeID));
    EXPECT_EQ(expected, DictionaryDatatypeFactory::getFactories());
}

TEST(DictionaryDatatypeFactoryTest, aFactoryWithoutDatatypesIsNotListed) {
    const TestFactory factory({});
    expectNobodyElseRegistered();
}

TEST(DictionaryDatatypeFactoryTest, aSecondFactoryOfAClassLeavesTheFirstRegistered) {
    const DictionaryDatatypeFactory* const stringFactory = findByID(D_XSD_STRING);
    {
        const StringDatatypeFactory second;
        expectNobodyElseRegistered();
        EXPECT_EQ(stringFactory, findByID(D_XSD_STRING));
        EXPECT_EQ(stringFactory, findByID(D_RDF_PLAIN_LITERAL));
        EXPECT_EQ(stringFactory->getSupportedDatatypes(), second.getSupportedDatatypes());
        ResourceValue value;
        second.parseResourceValue(value, "abc", 3, D_XSD_STRING);
        EXPECT_EQ(4u, value.m_dataSize) << "it works all the same";
    }
    expectNobodyElseRegistered();
    EXPECT_EQ(stringFactory, findByID(D_XSD_STRING)) << "the second one took no entry of the first along";
    EXPECT_EQ(stringFactory, findByID(D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(stringFactory, findByName(XSD_STRING));
    EXPECT_EQ(stringFactory, findByName(RDF_PLAIN_LITERAL));
}

TEST(DictionaryDatatypeFactoryTest, aFactoryWithATakenIDRegistersNothing) {
    const DictionaryDatatypeFactory* const stringFactory = findByID(D_XSD_STRING);
    {
        const TestFactory factory({{FIRST_ID, FIRST_NAME}, {D_XSD_STRING, SECOND_NAME}});
        expectNobodyElseRegistered();
        EXPECT_EQ(stringFactory, findByID(D_XSD_STRING));
    }
    expectNobodyElseRegistered();
    EXPECT_EQ(stringFactory, findByID(D_XSD_STRING));
}

TEST(DictionaryDatatypeFactoryTest, aFactoryWithATakenNameRegistersNothing) {
    const DictionaryDatatypeFactory* const stringFactory = findByID(D_XSD_STRING);
    {
        const TestFactory factory({{FIRST_ID, FIRST_NAME}, {SECOND_ID, XSD_STRING}});
        expectNobodyElseRegistered();
        EXPECT_EQ(stringFactory, findByName(XSD_STRING));
    }
    expectNobodyElseRegistered();
    EXPECT_EQ(stringFactory, findByName(XSD_STRING));
}

TEST(DictionaryDatatypeFactoryTest, aFactoryThatCameTooLateStaysUnregisteredWhenTheFirstGoes) {
    auto first = std::make_unique<TestFactory>(Datatypes{{FIRST_ID, FIRST_NAME}});
    auto second = std::make_unique<TestFactory>(Datatypes{{FIRST_ID, FIRST_NAME}, {SECOND_ID, SECOND_NAME}});
    EXPECT_EQ(first.get(), findByID(FIRST_ID));
    first.reset();
    expectNobodyElseRegistered();
    const TestFactory third({{SECOND_ID, SECOND_NAME}});
    second.reset();
    EXPECT_EQ(&third, findByID(SECOND_ID)) << "not an entry of the one that goes";
    EXPECT_EQ(&third, findByName(SECOND_NAME));
    EXPECT_EQ(nullptr, findByID(FIRST_ID));
}

TEST(DictionaryDatatypeFactoryFailureTest, anyAllocationThatFailsRegistersNothing) {
    const FailureCounts counts = failEach(ofAllocations(), [](FailureRound& round) {
        round.attempt([] { const TestFactory factory({{FIRST_ID, FIRST_NAME}, {SECOND_ID, SECOND_NAME}}); });
        expectNobodyElseRegistered();
    });
    EXPECT_LE(18u, counts.m_throws) << "two pairs and a vector of copies of them, two nodes of a map";
}
