#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/FailureKind.h"
#include "Engine/core/platform/MelnarException.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <latch>
#include <string>
#include <thread>
#include <utility>
#include <vector>

/// These tests are linked with a checked engine alone.

namespace {

using Kind = RunningOperations::Kind;

constexpr DictionaryOptions OPTIONS{.m_memoryLimit = size_t(16) << 20};

/// Whether an operation is refused as a misuse.
template<class Operation>
bool isRefused(const Operation& operation) {
    try {
        operation();
        return false;
    } catch (const MelnarException& exception) {
        EXPECT_EQ(FailureKind::MISUSE, exception.getKind());
        EXPECT_EQ("Engine/core/data-store/RunningOperations", exception.getSourceFileName());
        return true;
    }
}

constexpr Kind KINDS[] = {Kind::READ, Kind::RESOLVE, Kind::COMMIT, Kind::SAVE, Kind::ALONE};

/// By the kinds of the operation that runs and of the one that is begun.
constexpr bool ARE_EXCLUDED[5][5] = {{false, false, false, false, true},
                                     {false, false, true, true, true},
                                     {false, true, true, true, true},
                                     {false, true, true, false, true},
                                     {true, true, true, true, true}};

TEST(DictionaryContractTest, operationsOfTwoThreadsExcludeEachOtherAsTheContractSays) {
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

/// A compaction asks the test about each resource, so other operations can be begun in its middle.
TEST_F(DictionaryMisuseTest, nothingRunsBesideACompaction) {
    std::string text;
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

TEST_F(DictionaryMisuseTest, aFormThatLiesInItsBatchIsRefused) {
    std::vector<BatchEntry> entries{{"text", 0, D_XSD_STRING}, {"other", 0, D_XSD_STRING}, {"", 0, D_XSD_STRING}};
    std::vector<BatchFailure> failures;
    EXPECT_FALSE(isRefused([&] { m_dictionary.resolveResources(m_thread, entries, failures); }));
    entries[1].m_lexicalForm = {reinterpret_cast<const char*>(&entries[2]), 4};
    EXPECT_TRUE(isRefused([&] { m_dictionary.resolveResources(m_thread, entries, failures); }));
    EXPECT_TRUE(isRefused([&] { m_dictionary.tryResolveResources(DictionaryCommitPoint::ALL, entries, failures); }));
}

} // namespace
