#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "tests/checked/IsRefused.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <latch>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// These tests are linked only with a checked engine.

namespace {

using Kind = RunningOperations::Kind;

constexpr DictionaryOptions OPTIONS{.m_memoryLimit = size_t(16) << 20};

constexpr Kind KINDS[] = {Kind::READ, Kind::RESOLVE, Kind::COMMIT, Kind::SAVE, Kind::ALONE};

/// By the kinds of the running operation and of the one that is started.
constexpr bool ARE_EXCLUDED[5][5] = {{false, false, false, false, true},
                                     {false, false, true, true, true},
                                     {false, true, true, true, true},
                                     {false, true, true, false, true},
                                     {true, true, true, true, true}};

TEST(DictionaryContractTest, operationsOfTwoThreadsExcludeEachOtherAsTheContractStates) {
    for (const Kind running : KINDS)
        for (const Kind begun : KINDS) {
            RunningOperations operations;
            std::latch isRunning(1);
            std::latch isTried(1);
            std::jthread other([&] {
                const RunningOperations::Operation operation(operations, running);
                isRunning.count_down();
                isTried.wait();
            });
            isRunning.wait();
            EXPECT_EQ(ARE_EXCLUDED[size_t(running)][size_t(begun)],
                      isRefused([&] { const RunningOperations::Operation operation(operations, begun); }))
                << size_t(running) << " " << size_t(begun);
            isTried.count_down();
            other.join();
            EXPECT_FALSE(isRefused([&] { const RunningOperations::Operation operation(operations, Kind::ALONE); }))
                << "nothing is left";
        }
}

class DictionaryMisuseTest : public testing::Test {
protected:
    DictionaryMisuseTest() {
        m_dictionary.resolveResource(m_thread, "text", D_XSD_STRING);
        m_dictionary.commit();
    }

    Dictionary m_dictionary{OPTIONS};
    DictionaryThread m_thread{m_dictionary};
};

/// A compaction asks the test about each resource, so other operations can be started during it.
TEST_F(DictionaryMisuseTest, nothingRunsBesideACompaction) {
    std::string text;
    ResourceValue value;
    std::vector<BatchEntry> entries{{"text", 0, D_XSD_STRING}};
    std::vector<BatchFailure> failures;
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"resolve",
         [&] {
             DictionaryThread thread(m_dictionary);
             m_dictionary.resolveResource(thread, "new", D_XSD_STRING);
         }},
        {"resolve a batch",
         [&] {
             DictionaryThread thread(m_dictionary);
             m_dictionary.resolveResources(thread, entries, failures);
         }},
        {"look up",
         [&] { static_cast<void>(m_dictionary.tryResolveResource(DictionaryCommitPoint::ALL, "text", D_XSD_STRING)); }},
        {"look a batch up", [&] { m_dictionary.tryResolveResources(DictionaryCommitPoint::ALL, entries, failures); }},
        {"read", [&] { m_dictionary.getResource(1, text); }},
        {"read a batch", [&] { m_dictionary.getResources(entries); }},
        {"read a value", [&] { m_dictionary.getResource(1, value); }},
        {"read a form", [&] { static_cast<void>(m_dictionary.getLexicalForm(1)); }},
        {"walk the resources",
         [&] {
             for (const auto& [resourceID, literal] : m_dictionary)
                 EXPECT_NE(0u, resourceID);
         }},
        {"add bytes up", [&] { static_cast<void>(m_dictionary.getUnusedDataPoolBytes()); }},
        {"tell statistics", [&] { static_cast<void>(m_dictionary.getComponentInfo()); }},
        {"commit", [&] { m_dictionary.commit(); }},
        {"roll back", [&] { m_dictionary.rollback(); }},
        {"verify", [&] { m_dictionary.verify(); }},
        {"save", [&] { m_dictionary.save("/nowhere/at/all"); }},
        {"walk", [&] { static_cast<void>(m_dictionary.getDetailedComponentInfo()); }},
        {"profile", [&] { static_cast<void>(m_dictionary.getTableProfiles(4)); }},
        {"compact", [&] { m_dictionary.compact(); }},
    };
    size_t visited = 0;
    m_dictionary.compact([&](uint64_t, const ResourceValue&) {
        ++visited;
        for (const auto& operation : operations)
            std::jthread([&operation] { EXPECT_TRUE(isRefused(operation.second)) << operation.first; });
        m_dictionary.getResource(1, text);
        EXPECT_EQ("text", text) << "the thread that compacts may read";
        EXPECT_TRUE(isRefused([&] { m_dictionary.commit(); })) << "but not commit";
        return true;
    });
    EXPECT_EQ(1u, visited);
    for (const auto& [name, operation] : operations)
        if (std::string(name) != "save") {
            EXPECT_FALSE(isRefused(operation)) << name;
        }
}

TEST_F(DictionaryMisuseTest, answersThatOverlapTheirQuestionsAreRefused) {
    std::vector<Term> terms(2, Term{.m_kind = Term::Kind::LITERAL, .m_text = "text"});
    std::vector<std::string_view> texts{"text", "other"};
    std::vector<int64_t> offsets{0, 4, 9};
    const auto lieIn = [](auto& column) { return std::span(reinterpret_cast<uint64_t*>(&column.back()), 1); };
    std::vector<BatchFailure> failures;
    const std::span<const Term> term(&terms.back(), 1);
    const std::span<const std::string_view> text(&texts.back(), 1);
    const ArrowStrings<int64_t> arrowText{"textother", std::span(offsets).last(2)};
    EXPECT_TRUE(isRefused([&] { m_dictionary.resolveTerms(m_thread, term, lieIn(terms), failures); }));
    EXPECT_TRUE(isRefused([&] { m_dictionary.encode(m_thread, text, lieIn(texts)); }));
    EXPECT_TRUE(isRefused([&] { m_dictionary.encode(m_thread, arrowText, lieIn(offsets)); }));
    EXPECT_TRUE(isRefused([&] { m_dictionary.lookUp(DictionaryCommitPoint::ALL, text, lieIn(texts)); }));
    EXPECT_EQ("other", texts.back()) << "nothing was written";
    EXPECT_EQ(9, offsets.back());
    uint64_t apart = 0;
    EXPECT_FALSE(isRefused([&] { m_dictionary.encode(m_thread, text, {&apart, 1}); }));
    EXPECT_EQ(2u, apart);
}

TEST_F(DictionaryMisuseTest, answersThatOverlapTheTextsOfTheirQuestionsAreRefused) {
    alignas(uint64_t) char bytes[] = "fifteenletters.";
    const std::span<uint64_t> answers(reinterpret_cast<uint64_t*>(bytes), 1);
    const std::string_view inside(bytes + 7, 4); // its first byte is the last of the answer
    const std::string_view after(bytes + 8, 4);
    const int32_t offsets[] = {7, 11};
    const uint8_t* const validity = reinterpret_cast<const uint8_t*>(bytes);
    std::vector<BatchFailure> failures;
    const auto resolve = [&](const Term& term) { m_dictionary.resolveTerms(m_thread, {&term, 1}, answers, failures); };
    const auto encode = [&](const std::string_view text, const std::string_view languageTag) {
        m_dictionary.encode(m_thread, std::span(&text, 1), answers, languageTag);
    };
    const auto encodeArrow = [&](const ArrowStrings<int32_t>& texts) { m_dictionary.encode(m_thread, texts, answers); };
    EXPECT_TRUE(isRefused([&] { resolve({.m_kind = Term::Kind::LITERAL, .m_text = inside}); }));
    EXPECT_TRUE(isRefused([&] { resolve({.m_kind = Term::Kind::LITERAL, .m_text = "x", .m_language = inside}); }));
    EXPECT_TRUE(isRefused([&] { resolve({.m_kind = Term::Kind::LITERAL, .m_text = "x", .m_datatype = inside}); }));
    EXPECT_TRUE(isRefused([&] { encode(inside, ""); }));
    EXPECT_TRUE(isRefused([&] { encode("text", inside.substr(0, 1)); }));
    EXPECT_TRUE(isRefused([&] { encodeArrow({bytes, offsets}); }));
    EXPECT_TRUE(isRefused([&] { encodeArrow({"is elsewhere", offsets, validity}); }));
    EXPECT_STREQ("fifteenletters.", bytes) << "nothing was written";

    const int32_t offsetsAfter[] = {8, 12};
    EXPECT_FALSE(isRefused([&] { encode(after, ""); }));
    EXPECT_EQ(2u, answers.front());
    EXPECT_FALSE(isRefused([&] {
        encodeArrow({bytes, offsetsAfter, validity + 8});
    })) << "bytes of no string may overlap";
    EXPECT_EQ(2u, answers.front());
    const uint8_t null = 0;
    EXPECT_FALSE(isRefused([&] { encodeArrow({bytes, offsets, &null}); })) << "nor those of a null";
    EXPECT_EQ(0u, answers.front());
}

TEST_F(DictionaryMisuseTest, aDestructionBesideAnotherOperationEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            auto dictionary = std::make_unique<Dictionary>(OPTIONS);
            {
                DictionaryThread thread(*dictionary);
                dictionary->resolveResource(thread, "text", D_XSD_STRING);
            }
            dictionary->compact([&dictionary](uint64_t, const ResourceValue&) {
                dictionary.reset();
                return true;
            });
        },
        "must run alone was started on a dictionary while one that must run alone was running");
}

TEST_F(DictionaryMisuseTest, aFormThatStartsInItsBatchIsRefused) {
    std::vector<BatchEntry> entries{{"text", 0, D_XSD_STRING}, {"other", 0, D_XSD_STRING}, {"", 0, D_XSD_STRING}};
    std::vector<BatchFailure> failures;
    EXPECT_FALSE(isRefused([&] { m_dictionary.resolveResources(m_thread, entries, failures); }));
    entries[1].m_lexicalForm = {reinterpret_cast<const char*>(&entries[2]), 4};
    EXPECT_TRUE(isRefused([&] { m_dictionary.resolveResources(m_thread, entries, failures); }));
    EXPECT_TRUE(isRefused([&] { m_dictionary.tryResolveResources(DictionaryCommitPoint::ALL, entries, failures); }));
}

} // namespace
