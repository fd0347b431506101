#include "Engine/core/data-store/dictionary/ResourceValue.h"

#include "tests/support/DictionaryFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <new>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

constexpr size_t LARGEST_INLINE_LENGTH = 127;

static_assert(std::is_nothrow_move_constructible_v<ResourceValue>, "a growing vector moves its values");
static_assert(!std::is_copy_assignable_v<ResourceValue> && !std::is_move_assignable_v<ResourceValue>);

std::string getText(const ResourceValue& value) {
    return std::string(reinterpret_cast<const char*>(value.m_data), value.m_dataSize);
}

std::string getAuxiliaryText(const ResourceValue& value) {
    return std::string(reinterpret_cast<const char*>(value.m_auxiliaryData), value.m_auxiliaryDataSize);
}

/// Makes a value whose ranges are parts of `text`, which is in its own storage. Neither range starts where the storage
/// does, and they overlap.
ResourceValue makeValueOfParts(const std::string& text) {
    ResourceValue value;
    uint8_t* const storage = value.useOwnStorage(text.size());
    std::copy(text.begin(), text.end(), storage);
    value.m_datatypeID = 42;
    value.m_data = storage + 3;
    value.m_dataSize = text.size() - 5;
    value.m_auxiliaryData = storage + 1;
    value.m_auxiliaryDataSize = 4;
    return value;
}

/// Returns a text without repetitions for an inline buffer, the longest such text, and two for a heap block.
const std::vector<std::string>& getTexts() {
    static const std::vector<std::string> s_texts = [] {
        std::vector<std::string> texts;
        for (const size_t length : {size_t(10), size_t(128), size_t(129), size_t(250)}) {
            std::string& text = texts.emplace_back();
            while (text.size() < length)
                text.push_back(static_cast<char>(text.size()));
        }
        return texts;
    }();
    return s_texts;
}

bool isInside(const uint8_t* const data, const ResourceValue& value) {
    const uint8_t* const block = value.m_heapBuffer;
    return (value.m_inlineBuffer <= data && data < value.m_inlineBuffer + ResourceValue::INLINE_BUFFER_SIZE) ||
           (block <= data && data < block + value.m_heapBufferSize);
}

std::string withTerminator(const std::string& text) {
    return text + '\0';
}

bool isEmpty(const ResourceValue& value) {
    return value.m_data == nullptr && value.m_dataSize == 0 && value.m_heapBuffer == nullptr &&
           value.m_heapBufferSize == 0;
}

} // namespace

TEST(ResourceValueTest, fieldsHaveTheirAgreedOrder) {
    EXPECT_EQ(0u, offsetof(ResourceValue, m_datatypeID));
    EXPECT_EQ(8u, offsetof(ResourceValue, m_data));
    EXPECT_EQ(16u, offsetof(ResourceValue, m_dataSize));
    EXPECT_EQ(24u, offsetof(ResourceValue, m_auxiliaryData));
    EXPECT_EQ(32u, offsetof(ResourceValue, m_auxiliaryDataSize));
    EXPECT_EQ(40u, offsetof(ResourceValue, m_inlineBuffer));
    EXPECT_EQ(168u, offsetof(ResourceValue, m_heapBuffer));
    EXPECT_EQ(176u, offsetof(ResourceValue, m_heapBufferSize));
    EXPECT_EQ(184u, sizeof(ResourceValue));
}

TEST(ResourceValueTest, aNewValueHasNoDatatypeAndNoData) {
    const ResourceValue value;
    EXPECT_EQ(D_INVALID, value.m_datatypeID);
    EXPECT_TRUE(isEmpty(value));
    EXPECT_EQ(nullptr, value.m_auxiliaryData);
    EXPECT_EQ(0u, value.m_auxiliaryDataSize);
}

TEST(ResourceValueTest, dataUpTo128BytesIsInTheValueItself) {
    ResourceValue value;
    EXPECT_EQ(value.m_inlineBuffer, value.useOwnStorage(128));
    EXPECT_EQ(value.m_inlineBuffer, value.m_data);
    EXPECT_EQ(128u, value.m_dataSize);
    EXPECT_EQ(nullptr, value.m_heapBuffer);
}

TEST(ResourceValueTest, largerDataIsInAHeapBlock) {
    ResourceValue value;
    uint8_t* const storage = value.useOwnStorage(129);
    EXPECT_EQ(storage, value.m_data);
    EXPECT_EQ(storage, value.m_heapBuffer);
    EXPECT_EQ(129u, value.m_dataSize);
    EXPECT_LE(129u, value.m_heapBufferSize);
    std::memset(storage, 'x', 129);
}

TEST(ResourceValueTest, ownStorageDropsAuxiliaryData) {
    const uint8_t auxiliaryData[] = {1, 2};
    ResourceValue value;
    value.m_auxiliaryData = auxiliaryData;
    value.m_auxiliaryDataSize = 2;
    value.useOwnStorage(1);
    EXPECT_EQ(nullptr, value.m_auxiliaryData);
    EXPECT_EQ(0u, value.m_auxiliaryDataSize);
}

TEST(ResourceValueTest, aBlockThatIsLargeEnoughIsUsedAgain) {
    ResourceValue value;
    uint8_t* const block = value.useOwnStorage(1000);
    EXPECT_EQ(block, value.useOwnStorage(129));
    EXPECT_EQ(value.m_inlineBuffer, value.useOwnStorage(5));
    EXPECT_EQ(block, value.m_heapBuffer) << "kept for the next large literal";
    EXPECT_EQ(block, value.useOwnStorage(value.m_heapBufferSize));
}

TEST(ResourceValueTest, allocatingABlockLeavesTheDataWhereItIs) {
    StringValue value("text", D_XSD_STRING);
    value.allocateBuffer(500);
    EXPECT_NE(nullptr, value.m_heapBuffer);
    EXPECT_LE(500u, value.m_heapBufferSize);
    EXPECT_EQ(value.m_inlineBuffer, value.m_data);
    EXPECT_EQ(withTerminator("text"), getText(value));
    value.allocateBuffer(1000);
    EXPECT_LE(1000u, value.m_heapBufferSize);
    std::memset(value.m_heapBuffer, 'x', value.m_heapBufferSize);
}

TEST(ResourceValueTest, aCopyHoldsItsOwnInlineData) {
    const StringValue value(std::string(LARGEST_INLINE_LENGTH, 'x'), D_RDF_PLAIN_LITERAL);
    const ResourceValue copy(value);
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, copy.m_datatypeID);
    EXPECT_EQ(copy.m_inlineBuffer, copy.m_data);
    EXPECT_EQ(nullptr, copy.m_heapBuffer);
    EXPECT_EQ(getText(value), getText(copy));
}

TEST(ResourceValueTest, aCopyHoldsItsOwnBlock) {
    const StringValue value(std::string(LARGEST_INLINE_LENGTH + 1, 'x'), D_XSD_STRING);
    const ResourceValue copy(value);
    EXPECT_EQ(D_XSD_STRING, copy.m_datatypeID);
    EXPECT_EQ(copy.m_heapBuffer, copy.m_data);
    EXPECT_NE(value.m_heapBuffer, copy.m_heapBuffer);
    EXPECT_EQ(getText(value), getText(copy));
}

TEST(ResourceValueTest, aCopyOutlivesDataOfAnotherOwner) {
    for (const size_t length : {size_t(3), size_t(500)}) {
        std::string data = withTerminator(std::string(length, 'x'));
        ResourceValue value;
        value.m_datatypeID = 42;
        value.m_data = reinterpret_cast<const uint8_t*>(data.data());
        value.m_dataSize = data.size();
        const ResourceValue copy(value);
        data.assign(data.size(), '-');
        EXPECT_EQ(withTerminator(std::string(length, 'x')), getText(copy));
    }
}

TEST(ResourceValueTest, aCopySharesAuxiliaryData) {
    const uint8_t auxiliaryData[] = {1, 2};
    StringValue value("text", D_XSD_STRING);
    value.m_auxiliaryData = auxiliaryData;
    value.m_auxiliaryDataSize = 2;
    const ResourceValue copy(value);
    EXPECT_EQ(auxiliaryData, copy.m_auxiliaryData);
    EXPECT_EQ(2u, copy.m_auxiliaryDataSize);
}

TEST(ResourceValueTest, aCopyOfPartsOfOwnStorageHoldsItsOwnParts) {
    for (const std::string& text : getTexts()) {
        std::optional<ResourceValue> value(makeValueOfParts(text));
        const ResourceValue copy(*value);
        value.reset();
        EXPECT_EQ(42, copy.m_datatypeID);
        EXPECT_EQ(text.substr(3, text.size() - 5), getText(copy));
        EXPECT_EQ(text.substr(1, 4), getAuxiliaryText(copy));
        EXPECT_TRUE(isInside(copy.m_data, copy)) << text.size();
        EXPECT_TRUE(isInside(copy.m_auxiliaryData, copy)) << text.size();
    }
}

TEST(ResourceValueTest, aCopyHasItsOwnAuxiliaryDataBesideDataOfAnotherOwner) {
    for (const std::string& text : getTexts()) {
        std::optional<ResourceValue> value(makeValueOfParts(text));
        value->m_data = reinterpret_cast<const uint8_t*>("data");
        value->m_dataSize = 5;
        const ResourceValue copy(*value);
        value.reset();
        EXPECT_EQ(withTerminator("data"), getText(copy));
        EXPECT_EQ(text.substr(1, 4), getAuxiliaryText(copy));
        EXPECT_TRUE(isInside(copy.m_auxiliaryData, copy)) << text.size();
    }
}

TEST(ResourceValueTest, aCopyHoldsItsOwnAuxiliaryDataWhereThereIsNoData) {
    for (const std::string& text : getTexts()) {
        std::optional<ResourceValue> value(makeValueOfParts(text));
        value->m_data = nullptr;
        value->m_dataSize = 0;
        const ResourceValue copy(*value);
        value.reset();
        EXPECT_EQ(nullptr, copy.m_data);
        EXPECT_EQ(0u, copy.m_dataSize);
        EXPECT_EQ(text.substr(1, 4), getAuxiliaryText(copy));
        EXPECT_TRUE(isInside(copy.m_auxiliaryData, copy)) << text.size();
    }
}

TEST(ResourceValueTest, aCopyOfAnEmptyValueIsEmpty) {
    const ResourceValue value;
    const ResourceValue copy(value); // NOLINT(performance-unnecessary-copy-initialization): this is what is tested
    EXPECT_TRUE(isEmpty(copy));
}

TEST(ResourceValueTest, movingTakesInlineDataAlong) {
    StringValue value("text", D_RDF_PLAIN_LITERAL);
    const ResourceValue moved(std::move(value));
    EXPECT_EQ(D_RDF_PLAIN_LITERAL, moved.m_datatypeID);
    EXPECT_EQ(moved.m_inlineBuffer, moved.m_data);
    EXPECT_EQ(withTerminator("text"), getText(moved));
    EXPECT_TRUE(isEmpty(value)) << "the value that was moved points to nothing"; // NOLINT(bugprone-use-after-move)
}

TEST(ResourceValueTest, movingHandsTheBlockOver) {
    StringValue value(std::string(500, 'x'), D_XSD_STRING);
    const uint8_t* const block = value.m_heapBuffer;
    const size_t blockSize = value.m_heapBufferSize;
    const ResourceValue moved(std::move(value));
    EXPECT_EQ(block, moved.m_heapBuffer);
    EXPECT_EQ(blockSize, moved.m_heapBufferSize);
    EXPECT_EQ(block, moved.m_data);
    EXPECT_EQ(withTerminator(std::string(500, 'x')), getText(moved));
    EXPECT_TRUE(isEmpty(value)); // NOLINT(bugprone-use-after-move)
}

TEST(ResourceValueTest, movingSharesDataOfAnotherOwnerAndTransfersASpareBlock) {
    const uint8_t data[] = {'a', 0};
    ResourceValue value;
    value.allocateBuffer(200);
    value.m_data = data;
    value.m_dataSize = 2;
    const uint8_t* const block = value.m_heapBuffer;
    const ResourceValue moved(std::move(value));
    EXPECT_EQ(data, moved.m_data);
    EXPECT_EQ(2u, moved.m_dataSize);
    EXPECT_EQ(block, moved.m_heapBuffer);
    EXPECT_TRUE(isEmpty(value)); // NOLINT(bugprone-use-after-move)
}

TEST(ResourceValueTest, movingTakesPartsOfOwnStorageAlong) {
    for (const std::string& text : getTexts()) {
        std::optional<ResourceValue> value(makeValueOfParts(text));
        const ResourceValue moved(std::move(*value));
        value.reset();
        EXPECT_EQ(42, moved.m_datatypeID);
        EXPECT_EQ(text.substr(3, text.size() - 5), getText(moved));
        EXPECT_EQ(text.substr(1, 4), getAuxiliaryText(moved));
        EXPECT_TRUE(isInside(moved.m_data, moved)) << text.size();
        EXPECT_TRUE(isInside(moved.m_auxiliaryData, moved)) << text.size();
        const uint8_t* const storage = text.size() > 128 ? moved.m_heapBuffer : moved.m_inlineBuffer;
        EXPECT_EQ(storage + 3, moved.m_data);
        EXPECT_EQ(storage + 1, moved.m_auxiliaryData);
    }
}

TEST(ResourceValueTest, movingTakesAnEmptyRangeAtTheEndOfOwnStorageAlong) {
    ResourceValue value;
    value.useOwnStorage(128);
    value.m_data += 128;
    value.m_dataSize = 0;
    const ResourceValue moved(std::move(value));
    EXPECT_EQ(moved.m_inlineBuffer + 128, moved.m_data);
    EXPECT_EQ(0u, moved.m_dataSize);
}

TEST(ResourceValueTest, movingSharesAuxiliaryDataOfAnotherOwnerAndLeavesNone) {
    const uint8_t auxiliaryData[] = {1, 2};
    StringValue value("text", D_XSD_STRING);
    value.m_auxiliaryData = auxiliaryData;
    value.m_auxiliaryDataSize = 2;
    const ResourceValue moved(std::move(value));
    EXPECT_EQ(auxiliaryData, moved.m_auxiliaryData);
    EXPECT_EQ(2u, moved.m_auxiliaryDataSize);
    EXPECT_EQ(nullptr, value.m_auxiliaryData); // NOLINT(bugprone-use-after-move)
    EXPECT_EQ(0u, value.m_auxiliaryDataSize);  // NOLINT(bugprone-use-after-move)
}

TEST(ResourceValueTest, aVectorOfValuesOfPartsKeepsThemWhileItGrows) {
    std::vector<ResourceValue> values;
    for (size_t round = 0; round < 50; ++round)
        for (const std::string& text : getTexts())
            values.push_back(makeValueOfParts(text));
    for (size_t index = 0; index < values.size(); ++index) {
        const std::string& text = getTexts()[index % getTexts().size()];
        EXPECT_EQ(text.substr(3, text.size() - 5), getText(values[index]));
        EXPECT_EQ(text.substr(1, 4), getAuxiliaryText(values[index]));
    }
}

TEST(ResourceValueTest, aVectorOfValuesKeepsThemWhileItGrows) {
    std::vector<ResourceValue> values;
    for (size_t length = 0; length < 300; ++length) {
        const StringValue value(std::string(length, 'x'), D_XSD_STRING);
        values.push_back(value);
    }
    for (size_t length = 0; length < 300; ++length)
        EXPECT_EQ(withTerminator(std::string(length, 'x')), getText(values[length]));
}

TEST(ResourceValueTest, destroyingAValueLeavesTheDataPoolAlone) {
    DictionaryFixture<uint64_t> fixture;
    const uint64_t resourceID = fixture.resolve("text");
    {
        ResourceValue value;
        value.allocateBuffer(200);
        fixture.m_datatype.getResource(resourceID, D_XSD_STRING, value);
        EXPECT_EQ(fixture.m_dataPool.getData() + 1, value.m_data);
    }
    EXPECT_EQ("text", fixture.getLexicalForm(resourceID));
}

TEST(ResourceValueFailureTest, aBlockThatCannotBeAllocatedLeavesTheValueUnchanged) {
    StringValue value(std::string(500, 'x'), D_XSD_STRING);
    const uint8_t* const block = value.m_heapBuffer;
    const size_t blockSize = value.m_heapBufferSize;
    EXPECT_THROW(value.allocateBuffer(std::numeric_limits<size_t>::max() / 4), std::bad_alloc);
    EXPECT_EQ(block, value.m_heapBuffer);
    EXPECT_EQ(blockSize, value.m_heapBufferSize);
    EXPECT_EQ(block, value.m_data);
    EXPECT_EQ(withTerminator(std::string(500, 'x')), getText(value));
}

TEST(ResourceValueFailureTest, aCopyThatCannotBeAllocatedLeavesTheOriginalUnchanged) {
    const uint8_t data[] = {'a', 0};
    ResourceValue value;
    value.m_data = data;
    value.m_dataSize = std::numeric_limits<size_t>::max() / 4;
    std::vector<ResourceValue> values;
    EXPECT_THROW(values.push_back(value), std::bad_alloc);
    EXPECT_TRUE(values.empty());
    EXPECT_EQ(data, value.m_data);
    EXPECT_EQ(std::numeric_limits<size_t>::max() / 4, value.m_dataSize);
}
