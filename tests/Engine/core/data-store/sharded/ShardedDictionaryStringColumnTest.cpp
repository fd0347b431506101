#include "Engine/core/data-store/sharded/ShardedDictionary.h"

#include "Engine/core/data-store/dictionary/ColumnException.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "tests/Engine/core/data-store/ArrowTexts.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/support/CaughtException.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// Columns of strings, compared with the operations on single terms.

namespace {

constexpr size_t CHUNK_SIZE = size_t(1) << 14;

using Texts = std::vector<std::string_view>;
using IDs = std::vector<uint64_t>;

class ShardedDictionaryStringColumnTest : public testing::Test {
protected:
    ShardedDictionary m_dictionary{
        {.m_memoryLimit = SHARDED_MEMORY_LIMIT, .m_maximumNumberOfResources = FEW_RESOURCES}};
    ShardedDictionaryThread m_thread{m_dictionary};
};

TEST_F(ShardedDictionaryStringColumnTest, columnsAreAnsweredLikeTheirTermsOneByOne) {
    std::vector<std::string> owned;
    for (size_t number = 0; number < 2 * CHUNK_SIZE + 1; ++number)
        owned.push_back(std::to_string(number % (CHUNK_SIZE + 7)) + std::string(number % 2, '\0'));
    for (const size_t size : {size_t(0), size_t(1), CHUNK_SIZE, owned.size()})
        for (const std::string_view languageTag : {"", "en"}) {
            const Texts texts(owned.begin(), owned.begin() + static_cast<ptrdiff_t>(size));
            IDs resourceIDs(size, STALE_RESOURCE_ID);
            IDs found(size, STALE_RESOURCE_ID);
            m_dictionary.encode(m_thread, texts, resourceIDs, languageTag);
            m_dictionary.lookUp(texts, found, languageTag);
            ASSERT_EQ(resourceIDs, found);
            for (size_t index = 0; index < size; ++index)
                ASSERT_EQ(resourceIDs[index],
                          m_dictionary.tryResolveTerm(
                              {.m_kind = Term::Kind::LITERAL, .m_text = texts[index], .m_language = languageTag}));
            Texts decoded(size, "stale");
            Texts tags(size, "stale");
            m_dictionary.decode(resourceIDs, decoded, tags);
            ASSERT_EQ(texts, decoded);
            ASSERT_EQ(Texts(size, languageTag), tags);
        }
    m_dictionary.verify();
}

TEST_F(ShardedDictionaryStringColumnTest, columnsOfArrowMayHaveNulls) {
    std::vector<std::optional<std::string>> texts;
    for (size_t number = 0; number < CHUNK_SIZE + 100; ++number)
        texts.push_back(number % 3 == 0 ? std::nullopt : std::optional(std::to_string(number)));
    const ArrowTexts<int32_t> narrow(texts);
    const ArrowTexts<int64_t> wide(texts);
    IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
    IDs found(texts.size(), STALE_RESOURCE_ID);
    m_dictionary.encode(m_thread, narrow.get(), resourceIDs, "en");
    m_dictionary.lookUp(wide.get(), found, "en");
    EXPECT_EQ(resourceIDs, found);
    ArrowColumn<int32_t> decoded;
    ArrowColumn<int64_t> tags;
    m_dictionary.decode(resourceIDs, decoded);
    ArrowColumn<int64_t> decodedWide;
    m_dictionary.decode(resourceIDs, decodedWide, &tags);
    for (size_t index = 0; index < texts.size(); ++index) {
        ASSERT_EQ(texts[index].has_value(), resourceIDs[index] != 0);
        ASSERT_EQ(!texts[index].has_value(), decoded.getStrings().isNull(index));
        ASSERT_EQ(texts[index].value_or(""), decoded.getStrings().getText(index));
        ASSERT_EQ(texts[index].value_or(""), decodedWide.getStrings().getText(index));
        ASSERT_EQ(texts[index].has_value() ? "en" : "", tags.getStrings().getText(index));
    }
}

TEST_F(ShardedDictionaryStringColumnTest, theFirstEntryThatFailsIsReported) {
    ShardedDictionary dictionary({.m_memoryLimit = SHARDED_MEMORY_LIMIT, .m_maximumNumberOfResources = 2});
    ShardedDictionaryThread thread(dictionary);
    std::vector<std::string> owned;
    for (size_t number = 0; number < 2000; ++number)
        owned.push_back(std::to_string(number));
    const Texts texts(owned.begin(), owned.end());
    IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
    const auto exception = catchException<ColumnException>([&] { dictionary.encode(thread, texts, resourceIDs); });
    EXPECT_EQ(static_cast<size_t>(std::ranges::find(resourceIDs, 0U) - resourceIDs.begin()), exception.getEntryIndex());
    EXPECT_LT(1u, exception.getEntryIndex());
    IDs found(texts.size());
    dictionary.lookUp(texts, found);
    EXPECT_EQ(found, resourceIDs);
}

TEST_F(ShardedDictionaryStringColumnTest, whatIsNoStringIsNotDecoded) {
    const uint64_t iri =
        m_dictionary.resolveTerm(m_thread, {.m_kind = Term::Kind::IRI, .m_text = "http://example.org/"});
    Texts texts(3);
    const auto exception = catchException<ColumnException>([&] {
        m_dictionary.decode(IDs{0, ~uint64_t(0), iri}, texts);
    });
    EXPECT_EQ(2u, exception.getEntryIndex());
    EXPECT_EQ("Entry 2 of a column: resource " + std::to_string(iri) + " is no string.", exception.getMessage());
}

} // namespace
