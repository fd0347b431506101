#include "Engine/core/data-store/dictionary/StringDatatypeFactory.h"

#include "Engine/core/data-store/dictionary/DatatypeNames.h"
#include "Engine/core/data-store/dictionary/StringDatatype.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/DictionaryFixture.h"
#include "tests/support/SystemCallFaults.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <new>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

namespace {

const DictionaryDatatypeFactory& getStringFactory() {
    return *DictionaryDatatypeFactory::getFactory(D_XSD_STRING);
}

std::unique_ptr<DictionaryDatatype> createDatatype(const bool useNarrowBuckets, DictionaryParts& parts) {
    return getStringFactory().createDictionaryDatatype(useNarrowBuckets, parts.m_memoryManager, parts.m_nextResourceID,
                                                       parts.m_resourceDataOffsets, parts.m_resourceFlags,
                                                       parts.m_dataPool);
}

} // namespace

TEST(StringDatatypeFactoryTest, datatypesFiveAndSixAreThoseOfTheirRecommendations) {
    EXPECT_EQ(5, D_XSD_STRING);
    EXPECT_EQ(6, D_RDF_PLAIN_LITERAL);
    EXPECT_STREQ("http://www.w3.org/2001/XMLSchema#string", XSD_STRING);
    EXPECT_STREQ("http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral", RDF_PLAIN_LITERAL);
}

TEST(StringDatatypeFactoryTest, theFactoryRegistersItselfForBothDatatypes) {
    const DictionaryDatatypeFactory& factory = getStringFactory();
    EXPECT_EQ(typeid(StringDatatypeFactory), typeid(factory));
    const std::vector<std::pair<uint8_t, std::string>> expected{{5, XSD_STRING}, {6, RDF_PLAIN_LITERAL}};
    EXPECT_EQ(expected, factory.getSupportedDatatypes());
    EXPECT_EQ(&factory, DictionaryDatatypeFactory::getFactory(D_RDF_PLAIN_LITERAL));
    EXPECT_EQ(&factory, DictionaryDatatypeFactory::getFactory(std::string(XSD_STRING)));
    EXPECT_EQ(&factory, DictionaryDatatypeFactory::getFactory(std::string(RDF_PLAIN_LITERAL)));
}

TEST(StringDatatypeFactoryTest, theListOwnsItsNames) {
    const auto& supportedDatatypes = getStringFactory().getSupportedDatatypes();
    EXPECT_NE(XSD_STRING, supportedDatatypes[0].second.c_str());
    EXPECT_NE(RDF_PLAIN_LITERAL, supportedDatatypes[1].second.c_str());
}

TEST(StringDatatypeFactoryTest, theCallerChoosesTheBucketWidth) {
    DictionaryParts parts;
    const std::unique_ptr<DictionaryDatatype> narrow = createDatatype(true, parts);
    const std::unique_ptr<DictionaryDatatype> wide = createDatatype(false, parts);
    EXPECT_NE(nullptr, dynamic_cast<StringDatatype<uint32_t>*>(narrow.get()));
    EXPECT_NE(nullptr, dynamic_cast<StringDatatype<uint64_t>*>(wide.get()));
    narrow->initialize(0);
    EXPECT_EQ(2u * 1024 * 4, parts.getBytesInUse());
    wide->initialize(0);
    EXPECT_EQ(2u * 1024 * 12, parts.getBytesInUse());
}

TEST(StringDatatypeFactoryTest, datatypesLieOnCacheLines) {
    DictionaryParts parts;
    for (const bool useNarrowBuckets : {true, false})
        EXPECT_EQ(0u, reinterpret_cast<uintptr_t>(createDatatype(useNarrowBuckets, parts).get()) % 64);
}

TEST(StringDatatypeFactoryTest, creatingTouchesNothingButTheNewObject) {
    DictionaryParts parts;
    const SystemCallFaults mappings(SystemCallFaults::Call::MMAP);
    for (const bool useNarrowBuckets : {true, false}) {
        const std::unique_ptr<DictionaryDatatype> datatype = createDatatype(useNarrowBuckets, parts);
        EXPECT_EQ(0u, parts.getBytesInUse());
        EXPECT_EQ(1u, parts.m_nextResourceID.load());
        EXPECT_EQ(0u, parts.m_resourceDataOffsets.getEnd());
        EXPECT_EQ(0u, parts.m_resourceFlags.getEnd());
        EXPECT_EQ(0u, parts.m_dataPool.getEnd());
    }
    EXPECT_EQ(0u, mappings.getNumberOfCalls());
}

TEST(StringDatatypeFactoryTest, aCreatedDatatypeWorksOnTheGivenParts) {
    for (const bool useNarrowBuckets : {true, false}) {
        DictionaryParts parts;
        parts.m_nextResourceID = 10;
        const std::unique_ptr<DictionaryDatatype> datatype = createDatatype(useNarrowBuckets, parts);
        datatype->initialize(0);
        EXPECT_EQ(10u, datatype->resolveResource(nullptr, "text", 4, D_XSD_STRING));
        EXPECT_EQ(11u, parts.m_nextResourceID.load());
        EXPECT_EQ(6u, parts.m_dataPool.getEnd());
        EXPECT_EQ(D_XSD_STRING, parts.m_resourceFlags[10].load());
        EXPECT_EQ(10u, datatype->tryResolveResource({11}, "text", 4, D_XSD_STRING));
    }
}

TEST(StringDatatypeFactoryFailureTest, aDatatypeWithoutMemoryForItselfIsNotCreated) {
    DictionaryParts parts;
    for (const bool useNarrowBuckets : {true, false}) {
        {
            const AllocationFaults faults = AllocationFaults::failAfter(0);
            EXPECT_THROW(createDatatype(useNarrowBuckets, parts), std::bad_alloc);
            EXPECT_TRUE(faults.hasFailed());
        }
        EXPECT_EQ(0u, parts.getBytesInUse());
        const AllocationFaults faults = AllocationFaults::failAfter(1);
        EXPECT_NE(nullptr, createDatatype(useNarrowBuckets, parts)) << "one allocation is all it takes";
    }
}
