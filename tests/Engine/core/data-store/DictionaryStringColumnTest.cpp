#include "Engine/core/data-store/Dictionary.h"

#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/ColumnException.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/Engine/core/data-store/ArrowTexts.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/dictionary/BatchAnswers.h"
#include "tests/support/AllocationFaults.h"
#include "tests/support/CaughtException.h"
#include "tests/support/FailureLoop.h"
#include "tests/support/TestSeeds.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <limits>
#include <map>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Columns of strings, compared with a map.

namespace {

constexpr DictionaryCommitPoint ALL = DictionaryCommitPoint::ALL;
constexpr size_t CHUNK_SIZE = 2048;

/// A text that must not be read, since no memory is that large.
const std::string_view LONGER_THAN_ANY("a", size_t(1) << 62);

using Texts = std::vector<std::string_view>;
using OptionalTexts = std::vector<std::optional<std::string>>;
using IDs = std::vector<uint64_t>;

/// Makes texts as functions of their numbers.
std::vector<std::string> makeTexts(const size_t size) {
    std::vector<std::string> texts;
    for (size_t number = 0; number < size; ++number)
        texts.push_back(std::to_string(number) + std::string(number % 50, 'x'));
    return texts;
}

Texts refer(const std::vector<std::string>& texts) {
    return {texts.begin(), texts.end()};
}

std::exception_ptr getOnlyCause(const ColumnException& exception) {
    EXPECT_EQ(1u, exception.getCauses().size());
    return exception.getCauses().front();
}

class DictionaryStringColumnTest : public testing::TestWithParam<uint64_t> {
protected:
    template<class Column>
    IDs encode(const Column& texts, const std::string_view languageTag = {}) {
        IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
        m_dictionary.encode(m_thread, texts, resourceIDs, languageTag);
        return resourceIDs;
    }

    template<class Column>
    IDs lookUp(const Column& texts, const std::string_view languageTag = {},
               const DictionaryCommitPoint commitPoint = ALL) const {
        IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
        m_dictionary.lookUp(commitPoint, texts, resourceIDs, languageTag);
        return resourceIDs;
    }

    /// Calls `check(answer)` with an operation on a column of views, and one on columns of Arrow, of both kinds.
    template<class Check>
    void forEachOperation(const Check& check) {
        check([this](const auto& texts, const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
            m_dictionary.encode(m_thread, texts, resourceIDs, languageTag);
        });
        check([this](const auto& texts, const std::span<uint64_t> resourceIDs, const std::string_view languageTag) {
            m_dictionary.lookUp(ALL, texts, resourceIDs, languageTag);
        });
    }

    /// Expects that each ID is that of its text, or 0.
    void expectRightOrNone(const Texts& texts, const std::string& languageTag, const IDs& resourceIDs) const {
        for (size_t index = 0; index < texts.size(); ++index)
            if (resourceIDs[index] != 0) {
                ASSERT_EQ(std::string(texts[index]) + languageTag, m_dictionary.getLexicalForm(resourceIDs[index]))
                    << index;
            }
    }

    Dictionary m_dictionary{{.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()}};
    DictionaryThread m_thread{m_dictionary};
};

TEST_P(DictionaryStringColumnTest, columnsOfAnySizeHaveIDsInTheirOrder) {
    for (const size_t size : {size_t(0), size_t(1), CHUNK_SIZE - 1, CHUNK_SIZE, CHUNK_SIZE + 1, 3 * CHUNK_SIZE + 1})
        for (const std::string_view languageTag : {"", "en"}) {
            SCOPED_TRACE(testing::Message() << size << " texts, tag '" << languageTag << "'");
            Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()});
            DictionaryThread thread(dictionary);
            const std::vector<std::string> texts = makeTexts(size);
            IDs resourceIDs(size, STALE_RESOURCE_ID);
            dictionary.encode(thread, refer(texts), resourceIDs, languageTag);
            IDs found(size, STALE_RESOURCE_ID);
            dictionary.lookUp(ALL, refer(texts), found, languageTag);
            for (size_t index = 0; index < size; ++index) {
                ASSERT_EQ(index + 1, resourceIDs[index]);
                ASSERT_EQ(index + 1, found[index]);
                ASSERT_EQ(resourceIDs[index], dictionary.tryResolveLangString(ALL, texts[index], languageTag));
            }
            Texts decoded(size, "stale");
            Texts tags(size, "stale");
            dictionary.decode(resourceIDs, decoded, tags);
            ASSERT_EQ(refer(texts), decoded);
            ASSERT_EQ(Texts(size, languageTag), tags);
            ASSERT_EQ(size, dictionary.size());
        }
}

TEST_P(DictionaryStringColumnTest, textsMayBeAnyBytesAndStandTwice) {
    const std::string withZeros("a\0b", 3);
    const Texts texts{"", "a@en", withZeros, "@", "a", "", "a@en", withZeros, "a@", {}};
    EXPECT_EQ((IDs{1, 2, 3, 4, 5, 1, 2, 3, 6, 1}), encode(texts));
    EXPECT_EQ((IDs{7, 8, 9, 10, 11, 7, 8, 9, 12, 7}), encode(texts, "en"));
    EXPECT_EQ((IDs{1, 2, 3, 4, 5, 1, 2, 3, 6, 1}), lookUp(texts));
    EXPECT_EQ((IDs{7, 8, 9, 10, 11, 7, 8, 9, 12, 7}), lookUp(texts, "en"));
    EXPECT_EQ(IDs(10), lookUp(texts, "de"));
    EXPECT_EQ(D_XSD_STRING, (*m_dictionary.begin()).m_literal.m_datatypeID);
    EXPECT_EQ("a@en@en", m_dictionary.getLexicalForm(8));
    EXPECT_EQ("a@@en", m_dictionary.getLexicalForm(12));
    Texts decoded(2);
    Texts tags(2);
    m_dictionary.decode(IDs{8, 2}, decoded, tags);
    EXPECT_EQ((Texts{"a@en", "a@en"}), decoded);
    EXPECT_EQ((Texts{"en", ""}), tags);
    m_dictionary.verify();
}

TEST_P(DictionaryStringColumnTest, longTextsEndChunksEarly) {
    std::vector<std::string> texts;
    for (const size_t length : {262143U, 262144U, 262145U, 0U, 1000000U, 200000U, 200000U})
        texts.push_back(std::string(length, static_cast<char>('a' + texts.size())));
    EXPECT_EQ((IDs{1, 2, 3, 4, 5, 6, 7}), encode(refer(texts)));
    EXPECT_EQ((IDs{8, 9, 10, 11, 12, 13, 14}), encode(refer(texts), "en"));
    EXPECT_EQ((IDs{8, 9, 10, 11, 12, 13, 14}), lookUp(refer(texts), "en"));
    expectRightOrNone(refer(texts), "@en", {8, 9, 10, 11, 12, 13, 14});
}

TEST_P(DictionaryStringColumnTest, lookupsSeeWhatTheirCommitPointCovers) {
    const Texts texts{"a", "b", "c"};
    encode(Texts{"b"});
    const DictionaryCommitPoint commitPoint = m_dictionary.commit();
    EXPECT_EQ((IDs{2, 1, 3}), encode(texts));
    EXPECT_EQ((IDs{0, 1, 0}), lookUp(texts, "", commitPoint));
    EXPECT_EQ((IDs{0, 0, 0}), lookUp(texts, "", {0}));
    EXPECT_EQ((IDs{2, 1, 3}), lookUp(texts));
    m_dictionary.rollback();
    EXPECT_EQ((IDs{0, 1, 0}), lookUp(texts));
    EXPECT_EQ(3u, m_dictionary.getNextResourceID() - 1);
}

TEST_P(DictionaryStringColumnTest, spansOfDifferentLengthsAreRefused) {
    const Texts texts{"a", "b"};
    const ArrowTexts<int32_t> arrowTexts({"a", "b"});
    forEachOperation([&](const auto& answer) {
        for (const size_t length : {0U, 1U, 3U}) {
            IDs resourceIDs(length, STALE_RESOURCE_ID);
            const std::string message = "There are 2 texts, but room for " + std::to_string(length) + " IDs.";
            EXPECT_EQ(message, catchException<MelnarException>([&] { answer(texts, resourceIDs, "en"); }).getMessage());
            EXPECT_EQ(message,
                      catchException<MelnarException>([&] { answer(arrowTexts.get(), resourceIDs, ""); }).getMessage());
            EXPECT_EQ(IDs(length, STALE_RESOURCE_ID), resourceIDs);
        }
    });
    EXPECT_EQ(0u, m_dictionary.size());
}

TEST_P(DictionaryStringColumnTest, malformedTagsAndOffsetsAreRefusedBeforeAnythingIsDone) {
    const Texts texts{"a", "b"};
    const ArrowTexts<int64_t> arrowTexts({"a", "b"});
    const std::array<int32_t, 3> descending{0, 2, 1};
    forEachOperation([&](const auto& answer) {
        IDs resourceIDs(2, STALE_RESOURCE_ID);
        for (const std::string tag : {"@", "e@n", "en@", "e n", "1"}) {
            const std::string message = "'" + tag + "' is not a language tag.";
            EXPECT_EQ(message, catchException<MelnarException>([&] { answer(texts, resourceIDs, tag); }).getMessage());
            EXPECT_EQ(message, catchException<MelnarException>([&] {
                                   answer(arrowTexts.get(), resourceIDs, tag);
                               }).getMessage());
            EXPECT_EQ(message, catchException<MelnarException>([&] { answer(Texts(), {}, tag); }).getMessage());
        }
        EXPECT_EQ("Entry 1 of a column: it begins at offset 2, and ends before that, at 1.",
                  catchException<ColumnException>([&] {
                      answer(ArrowStrings<int32_t>{"ab", descending}, resourceIDs, "en");
                  }).getMessage());
        EXPECT_EQ(IDs(2, STALE_RESOURCE_ID), resourceIDs);
    });
    EXPECT_EQ(0u, m_dictionary.size());
}

/// The text is in the first chunk or in a later one, with and without joined forms.
TEST_P(DictionaryStringColumnTest, aTextThatIsLongerThanAnyFailsWithItsIndex) {
    const std::vector<std::string> owned = makeTexts(3 * CHUNK_SIZE);
    for (const size_t refused : {size_t(0), size_t(5), 2 * CHUNK_SIZE})
        for (const std::string languageTag : {"", "en"}) {
            Texts texts = refer(owned);
            texts[refused] = LONGER_THAN_ANY;
            forEachOperation([&](const auto& answer) {
                IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
                const auto exception =
                    catchException<ColumnException>([&] { answer(texts, resourceIDs, languageTag); });
                EXPECT_EQ(refused, exception.getEntryIndex());
                EXPECT_EQ("ColumnException", exception.getExceptionName());
                EXPECT_EQ(FailureKind::REFUSED_LITERAL, exception.getKind());
                const auto cause =
                    catchException<MelnarException>([&] { std::rethrow_exception(getOnlyCause(exception)); });
                EXPECT_EQ("Entry " + std::to_string(refused) + " of a column: " + cause.getMessage(),
                          exception.getMessage());
                for (size_t index = 0; index < texts.size(); ++index)
                    if (index < refused) {
                        ASSERT_NE(0u, resourceIDs[index]);
                    }
                EXPECT_EQ(0u, resourceIDs[refused]);
                expectRightOrNone(texts, languageTag.empty() ? "" : "@" + languageTag, resourceIDs);
            });
        }
    m_dictionary.verify();
}

TEST_P(DictionaryStringColumnTest, whatAFullDictionaryLacksFailsButNotWhatItHas) {
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = 300});
    DictionaryThread thread(dictionary);
    const std::vector<std::string> owned = makeTexts(400);
    Texts texts = refer(owned);
    texts.push_back(owned.front());
    IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
    const auto exception =
        catchException<ColumnException>([&] { dictionary.encode(thread, texts, resourceIDs, "en"); });
    EXPECT_EQ(300u, exception.getEntryIndex());
    EXPECT_EQ(FailureKind::FULL, exception.getKind());
    EXPECT_THROW(std::rethrow_exception(getOnlyCause(exception)), MelnarException);
    for (size_t index = 0; index < texts.size(); ++index)
        ASSERT_EQ(index < 300 ? index + 1 : size_t(index == 400), resourceIDs[index]);
    dictionary.lookUp(ALL, texts, resourceIDs, "en");
    EXPECT_EQ(1u, resourceIDs.back());
    EXPECT_EQ(300u, dictionary.size());
}

TEST_P(DictionaryStringColumnTest, theMemoryLimitEndsAColumnInItsMiddle) {
    Dictionary dictionary({.m_memoryLimit = size_t(8) << 20, .m_maximumNumberOfResources = GetParam()});
    DictionaryThread thread(dictionary);
    const std::vector<std::string> owned = makeTexts(20 * CHUNK_SIZE);
    const std::string padding(1000, 'y');
    std::vector<std::string> long_;
    for (const std::string& text : owned)
        long_.push_back(text + padding);
    const Texts texts = refer(long_);
    IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
    const auto exception = catchException<ColumnException>([&] { dictionary.encode(thread, texts, resourceIDs); });
    const size_t failed = exception.getEntryIndex();
    EXPECT_LT(CHUNK_SIZE, failed);
    EXPECT_GT(texts.size(), failed);
    EXPECT_THROW(std::rethrow_exception(getOnlyCause(exception)), MemoryExhaustedException);
    IDs found(texts.size());
    dictionary.lookUp(ALL, texts, found);
    for (size_t index = 0; index < texts.size(); ++index) {
        ASSERT_EQ(found[index], resourceIDs[index]);
        ASSERT_TRUE(index >= failed || found[index] == index + 1);
    }
    EXPECT_EQ(0u, resourceIDs[failed]);
    dictionary.verify();
}

TEST_P(DictionaryStringColumnTest, columnsOfArrowAreAnsweredLikeViewsAndNullsGetNoID) {
    std::minstd_rand random(1);
    for (const size_t size : {size_t(0), size_t(1), size_t(9), CHUNK_SIZE, 4 * CHUNK_SIZE + 5})
        for (const uint32_t shareOfNulls : {0U, 3U, 90U, 100U})
            for (const std::string_view languageTag : {"", "de"}) {
                OptionalTexts texts;
                Texts views;
                const std::vector<std::string> owned = makeTexts(size);
                for (const std::string& text : owned)
                    if (random() % 100 < shareOfNulls)
                        texts.push_back(std::nullopt);
                    else {
                        texts.push_back(text);
                        views.push_back(text);
                    }
                const ArrowTexts<int32_t> narrow(texts);
                const ArrowTexts<int64_t> wide(texts, 8);
                const IDs narrowIDs = encode(narrow.get(), languageTag);
                ASSERT_EQ(narrowIDs, encode(wide.get(), languageTag));
                ASSERT_EQ(narrowIDs, lookUp(narrow.get(), languageTag));
                ASSERT_EQ(narrowIDs, lookUp(wide.get(), languageTag));
                const IDs ofViews = lookUp(views, languageTag);
                size_t view = 0;
                for (size_t index = 0; index < size; ++index)
                    ASSERT_EQ(texts[index].has_value() ? ofViews[view++] : 0, narrowIDs[index]) << index;
                ASSERT_EQ(views.size(), view);
                ASSERT_EQ(0u, std::ranges::count(ofViews, 0));
            }
}

/// The failure comes after nulls, also after nulls in its own chunk.
TEST_P(DictionaryStringColumnTest, theIndexOfAFailureCountsNulls) {
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = 1500});
    DictionaryThread thread(dictionary);
    OptionalTexts texts(3000);
    const std::vector<std::string> owned = makeTexts(2000);
    for (const std::string& text : owned) {
        texts.push_back(text);
        if (texts.size() % 3 == 0)
            texts.insert(texts.end(), 2, std::nullopt);
    }
    const ArrowTexts<int64_t> arrowTexts(texts);
    IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
    const auto exception =
        catchException<ColumnException>([&] { dictionary.encode(thread, arrowTexts.get(), resourceIDs); });
    const size_t expected = static_cast<size_t>(std::ranges::find(texts, std::optional(owned[1500])) - texts.begin());
    EXPECT_EQ(expected, exception.getEntryIndex());
    for (size_t index = 0; index < expected; ++index)
        ASSERT_EQ(texts[index].has_value(), resourceIDs[index] != 0) << index;
}

TEST_P(DictionaryStringColumnTest, whatIsNoResourceIsDecodedToNothing) {
    encode(Texts{"a", ""});
    m_dictionary.commit();
    encode(Texts{"withdrawn"});
    m_dictionary.rollback();
    encode(Texts{"uncommitted"}, "en");
    const IDs resourceIDs{0, 1, 2, 3, 4, 5, GetParam() + 1, ~uint64_t(0), 1};
    Texts texts(resourceIDs.size(), "stale");
    Texts tags(resourceIDs.size(), "stale");
    m_dictionary.decode(resourceIDs, texts, tags);
    EXPECT_EQ((Texts{"", "a", "", "", "uncommitted", "", "", "", "a"}), texts);
    EXPECT_EQ((Texts{"", "", "", "", "en", "", "", "", ""}), tags);
    for (const size_t index : {0U, 3U, 5U, 6U, 7U})
        EXPECT_EQ(nullptr, texts[index].data()) << index;
    EXPECT_NE(nullptr, texts[2].data()) << "an empty string is a resource";
    ArrowColumn<int32_t> column;
    ArrowColumn<int32_t> tagColumn;
    m_dictionary.decode(resourceIDs, column, &tagColumn);
    EXPECT_EQ(5u, column.getNumberOfNulls());
    EXPECT_EQ(5u, tagColumn.getNumberOfNulls());
    for (size_t index = 0; index < resourceIDs.size(); ++index) {
        EXPECT_EQ(texts[index], column.getStrings().getText(index));
        EXPECT_EQ(tags[index], tagColumn.getStrings().getText(index));
        EXPECT_EQ(texts[index].data() == nullptr, column.getStrings().isNull(index));
        EXPECT_EQ(texts[index].data() == nullptr, tagColumn.getStrings().isNull(index));
    }
    EXPECT_EQ((IDs{0, 1, 2, 0, 0, 0, 0, 0, 1}), lookUp(column.getStrings()));
}

TEST_P(DictionaryStringColumnTest, textsArePointedToWhereTheDictionaryHasThem) {
    const IDs resourceIDs = encode(Texts{"a", "b"}, "en");
    Texts texts(2);
    m_dictionary.decode(resourceIDs, texts);
    EXPECT_EQ(m_dictionary.getLexicalForm(resourceIDs[1]).data(), texts[1].data());
    encode(refer(makeTexts(50000)));
    EXPECT_EQ((Texts{"a", "b"}), texts);
}

TEST_P(DictionaryStringColumnTest, otherTermsAreNotDecoded) {
    encode(refer(makeTexts(2 * CHUNK_SIZE)));
    const uint64_t iri = m_dictionary.resolveResource(m_thread, "http://example.org/", D_IRI);
    const uint64_t directional = m_dictionary.resolveResource(m_thread, "a@ar--rtl", D_DIRECTIONAL_STRING);
    ArrowColumn<int64_t> column;
    ArrowColumn<int64_t> tags;
    for (const uint64_t other : {iri, directional})
        for (const size_t place : {size_t(0), CHUNK_SIZE + 1}) {
            IDs resourceIDs(2 * CHUNK_SIZE, 7);
            resourceIDs[place] = other;
            Texts texts(resourceIDs.size());
            const auto ofViews = catchException<ColumnException>([&] { m_dictionary.decode(resourceIDs, texts); });
            const auto ofArrow =
                catchException<ColumnException>([&] { m_dictionary.decode(resourceIDs, column, &tags); });
            const std::string message =
                "Entry " + std::to_string(place) + " of a column: resource " + std::to_string(other) + " is no string.";
            EXPECT_EQ(message, ofViews.getMessage());
            EXPECT_EQ(message, ofArrow.getMessage());
            EXPECT_EQ(place, ofViews.getEntryIndex());
            EXPECT_EQ(place, ofArrow.getEntryIndex());
            EXPECT_EQ(0u, column.getStrings().size());
            EXPECT_EQ(0u, tags.getStrings().size());
        }
}

TEST_P(DictionaryStringColumnTest, spansOfDifferentLengthsAreNotDecodedInto) {
    const IDs resourceIDs = encode(Texts{"a", "b"});
    const auto getMessage = [&](const size_t numberOfTexts, const size_t numberOfTags) {
        Texts texts(numberOfTexts, "stale");
        Texts tags(numberOfTags, "stale");
        const auto exception = catchException<MelnarException>([&] { m_dictionary.decode(resourceIDs, texts, tags); });
        EXPECT_EQ(Texts(numberOfTexts, "stale"), texts);
        EXPECT_EQ(Texts(numberOfTags, "stale"), tags);
        return exception.getMessage();
    };
    EXPECT_EQ("There are 2 IDs, but room for 1 texts and 0 language tags.", getMessage(1, 0));
    EXPECT_EQ("There are 2 IDs, but room for 0 texts and 0 language tags.", getMessage(0, 0));
    EXPECT_EQ("There are 2 IDs, but room for 3 texts and 2 language tags.", getMessage(3, 2));
    EXPECT_EQ("There are 2 IDs, but room for 2 texts and 1 language tags.", getMessage(2, 1));
}

TEST_P(DictionaryStringColumnTest, aColumnOfArrowHasTheStringsOfItsLastIDs) {
    std::minstd_rand random(1);
    const std::vector<std::string> texts = makeTexts(5000);
    const IDs strings = encode(refer(texts));
    const IDs langStrings = encode(refer(texts), "en-GB");
    ArrowColumn<int32_t> narrow;
    ArrowColumn<int64_t> wide;
    ArrowColumn<int64_t> tags;
    EXPECT_EQ(0u, narrow.getStrings().size());
    for (const size_t size : {1U, 0U, 5000U, 8U, 9U, 3000U, 7U}) {
        SCOPED_TRACE(size);
        IDs resourceIDs(size);
        for (uint64_t& resourceID : resourceIDs)
            resourceID = 1 + random() % (2 * texts.size());
        m_dictionary.decode(resourceIDs, narrow);
        m_dictionary.decode(resourceIDs, wide, &tags);
        ASSERT_EQ(size, narrow.getStrings().size());
        ASSERT_EQ(size, wide.getStrings().size());
        ASSERT_EQ(size, tags.getStrings().size());
        EXPECT_EQ(nullptr, narrow.getStrings().m_validity) << "there are no nulls";
        narrow.getStrings().check();
        for (size_t index = 0; index < size; ++index) {
            const size_t number = resourceIDs[index] - 1;
            ASSERT_EQ(texts[number % texts.size()], narrow.getStrings().getText(index));
            ASSERT_EQ(texts[number % texts.size()], wide.getStrings().getText(index));
            ASSERT_EQ(number < texts.size() ? "" : "en-GB", tags.getStrings().getText(index));
        }
    }
    const AllocationFaults faults = AllocationFaults::failAfter(2); // those of a chunk
    m_dictionary.decode(strings, narrow);
    EXPECT_FALSE(faults.hasFailed());
}

/// All are in the first chunk, so the buffers never grow.
TEST_P(DictionaryStringColumnTest, offsetsThatAreTooNarrowAreReportedBeforeMemoryIsTaken) {
    constexpr size_t LARGEST = std::numeric_limits<int32_t>::max();
    const std::string text((size_t(1) << 22) - 1, 'x'); // 3 bytes longer with tag and '@'
    IDs resourceIDs = encode(Texts{text, text.substr(0, (size_t(1) << 22) - 513)}, "en");
    resourceIDs.insert(resourceIDs.begin(), 511, resourceIDs.front()); // 513 in all
    ArrowColumn<int32_t> column;
    ArrowColumn<int32_t> tags;
    static_assert(512 * ((size_t(1) << 22) - 1) <= LARGEST);
    EXPECT_EQ("The first 513 strings of a column have 2151676927 bytes, more than offsets of 32 bits can represent.",
              catchException<MelnarException>([&] { m_dictionary.decode(resourceIDs, column, &tags); }).getMessage());
    EXPECT_EQ(0u, column.getStrings().size());
    EXPECT_EQ(0u, tags.getStrings().size());
}

/// Slow, since a form of 4 MiB is searched for its '@' 513 times.
TEST(DictionaryStringColumnSlowTest, offsetsThatAreTooNarrowForTagsAreReportedToo) {
    Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    DictionaryThread thread(dictionary);
    const uint64_t resourceID = dictionary.resolveLangString(thread, "", std::string(size_t(1) << 22, 'x'));
    const IDs resourceIDs(513, resourceID);
    ArrowColumn<int32_t> column;
    ArrowColumn<int32_t> tags;
    EXPECT_EQ("The first 513 strings of a column have 2151677952 bytes, more than offsets of 32 bits can represent.",
              catchException<MelnarException>([&] { dictionary.decode(resourceIDs, column, &tags); }).getMessage());
    EXPECT_EQ(0u, column.getStrings().size());
    EXPECT_EQ(0u, tags.getStrings().size());
}

TEST_P(DictionaryStringColumnTest, memoryDoesNotGrowWithTheColumn) {
    const std::vector<std::string> owned = makeTexts(20 * CHUNK_SIZE);
    const Texts texts = refer(owned);
    const IDs resourceIDs = encode(texts, "en");
    IDs found(texts.size());
    Texts decoded(texts.size());
    {
        const AllocationFaults faults = AllocationFaults::failAfter(60);
        m_dictionary.lookUp(ALL, texts, found, "en");
        m_dictionary.decode(resourceIDs, decoded);
        EXPECT_FALSE(faults.hasFailed());
    }
    EXPECT_EQ(resourceIDs, found);
    EXPECT_EQ(texts, decoded);
}

/// More of them at a time would take more memory, which would be allocated in more steps.
TEST_P(DictionaryStringColumnTest, fewLongTagsAreJoinedAtATime) {
    const std::string tag(60000, 'x');
    const Texts texts(CHUNK_SIZE, "");
    m_dictionary.resolveLangString(m_thread, "", tag);
    IDs found(texts.size());
    const AllocationFaults faults = AllocationFaults::failAfter(12);
    m_dictionary.lookUp(ALL, texts, found, tag);
    EXPECT_FALSE(faults.hasFailed());
    EXPECT_EQ(IDs(texts.size(), 1), found);
}

TEST_P(DictionaryStringColumnTest, anyAllocationMayFail) {
    const std::vector<std::string> owned = makeTexts(CHUNK_SIZE + 10);
    const Texts texts = refer(owned);
    const FailureCounts counts = failEach(ofAllocations(), [&](FailureRound& round) {
        Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()});
        DictionaryThread thread(dictionary);
        IDs resourceIDs(texts.size());
        ArrowColumn<int32_t> column;
        const bool isEnded = !round.attempt([&] {
            dictionary.encode(thread, texts, resourceIDs, "en");
            dictionary.decode(resourceIDs, column);
        });
        ASSERT_EQ(round.hasFailed(), isEnded);
        for (size_t index = 0; index < texts.size(); ++index)
            if (resourceIDs[index] != 0) {
                ASSERT_EQ(resourceIDs[index], dictionary.tryResolveLangString(ALL, texts[index], "en"));
            }
        ASSERT_EQ(isEnded ? 0 : texts.size(), column.getStrings().size());
        dictionary.encode(thread, texts, resourceIDs, "en");
        ASSERT_EQ(texts.size(), dictionary.size());
    });
    EXPECT_LT(20u, counts.m_throws);
}

TEST_P(DictionaryStringColumnTest, randomColumnsAreAnsweredLikeAMap) {
    constexpr std::array<std::string_view, 4> TAGS{"", "en", "en-GB", "zh"};
    for (const uint32_t seed : getTestSeeds(3)) {
        SCOPED_TRACE(describeSeed(seed));
        std::minstd_rand random(seed);
        const auto draw = [&random](const size_t end) { return static_cast<size_t>(random()) % end; };
        Dictionary dictionary({.m_memoryLimit = TEST_MEMORY_LIMIT, .m_maximumNumberOfResources = GetParam()});
        DictionaryThread thread(dictionary);
        using Key = std::pair<std::string, std::string_view>; // text and tag
        std::map<Key, uint64_t> model;
        std::map<uint64_t, Key> byID;
        uint64_t nextID = 1;
        uint64_t commitPoint = 1;
        for (size_t round = 0; round < 40; ++round) {
            const std::string_view tag = TAGS[draw(TAGS.size())];
            OptionalTexts texts(draw(3000));
            for (std::optional<std::string>& text : texts)
                if (draw(10) != 0)
                    text = std::string(draw(5), draw(3) == 0 ? '\0' : '@') + std::to_string(draw(4000));
            const ArrowTexts<int32_t> column(texts, draw(30));
            IDs resourceIDs(texts.size(), STALE_RESOURCE_ID);
            IDs expected;
            const bool isLookUp = draw(2) == 0;
            const uint64_t seenBelow = draw(2) == 0 ? commitPoint : ~uint64_t(0);
            for (const std::optional<std::string>& text : texts) {
                if (!text.has_value()) {
                    expected.push_back(0);
                    continue;
                }
                const Key key(*text, tag);
                auto found = model.find(key);
                if (!isLookUp && found == model.end()) {
                    found = model.emplace(key, nextID).first;
                    byID.emplace(nextID++, key);
                }
                expected.push_back(found == model.end() || (isLookUp && found->second >= seenBelow) ? 0
                                                                                                    : found->second);
            }
            if (isLookUp)
                dictionary.lookUp({seenBelow}, column.get(), resourceIDs, tag);
            else
                dictionary.encode(thread, column.get(), resourceIDs, tag);
            ASSERT_EQ(expected, resourceIDs);
            if (draw(4) == 0)
                commitPoint = dictionary.commit().m_resourceID;
            else if (draw(4) == 0) {
                dictionary.rollback();
                for (auto current = byID.lower_bound(commitPoint); current != byID.end();) {
                    model.erase(current->second);
                    current = byID.erase(current);
                }
            }
            ASSERT_EQ(model.size(), dictionary.size());
            for (uint64_t& resourceID : resourceIDs)
                resourceID = draw(nextID + 3);
            Texts decoded(resourceIDs.size());
            Texts tags(resourceIDs.size());
            ArrowColumn<int64_t> decodedColumn;
            dictionary.decode(resourceIDs, decoded, tags);
            dictionary.decode(resourceIDs, decodedColumn);
            for (size_t index = 0; index < resourceIDs.size(); ++index) {
                const auto found = byID.find(resourceIDs[index]);
                ASSERT_EQ(found == byID.end(), decoded[index].data() == nullptr);
                ASSERT_EQ(found == byID.end(), decodedColumn.getStrings().isNull(index));
                const Key key = found == byID.end() ? Key() : found->second;
                ASSERT_EQ(key.first, decoded[index]);
                ASSERT_EQ(key.second, tags[index]);
                ASSERT_EQ(key.first, decodedColumn.getStrings().getText(index));
            }
        }
        EXPECT_LT(3000u, nextID);
        dictionary.verify();
    }
}

INSTANTIATE_TEST_SUITE_P(Widths, DictionaryStringColumnTest, testing::Values(NARROW, WIDE),
                         [](const auto& instance) { return instance.param == NARROW ? "narrow" : "wide"; });

} // namespace
