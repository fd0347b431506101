#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "tests/checked/IsRefused.h"
#include "tests/support/FileOperationObserver.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

/// These tests are linked only with a checked engine.

namespace {

constexpr DictionaryOptions OPTIONS{.m_memoryLimit = size_t(64) << 20, .m_maximumNumberOfResources = 1000};

class ShardedDictionaryMisuseTest : public testing::Test {
protected:
    ShardedDictionaryMisuseTest() {
        m_thread.emplace(m_dictionary);
        m_id = m_dictionary.resolveTerm(*m_thread, m_term);
    }

    /// Runs an operation on another thread.
    static bool isRefusedElsewhere(const std::function<void()>& operation) {
        bool isItRefused = false;
        std::jthread([&] { isItRefused = isRefused(operation); }).join();
        return isItRefused;
    }

    std::string getFolder() const { return m_directory.getPathOf("folder"); }

    void save() {
        std::filesystem::create_directories(getFolder());
        FileLock lock(getFolder() + "/manifest");
        m_dictionary.save(lock);
    }

    const TemporaryDirectory m_directory;
    const Term m_term{.m_kind = Term::Kind::LITERAL, .m_text = "text"};
    ShardedDictionary m_dictionary{OPTIONS};
    std::optional<ShardedDictionaryThread> m_thread;
    uint64_t m_id = 0;

    using Operations = std::vector<std::pair<const char*, std::function<void()>>>;

    const Operations m_reads{
        {"look a term up", [this] { EXPECT_EQ(m_id, m_dictionary.tryResolveTerm(m_term)); }},
        {"look a batch up",
         [this] {
             std::vector<BatchEntry> entries{{"text", 0, D_XSD_STRING}};
             std::vector<BatchFailure> failures;
             m_dictionary.tryResolveResources(entries, failures);
         }},
        {"look a column up",
         [this] {
             const std::string_view text = "text";
             uint64_t resourceID = 0;
             m_dictionary.lookUp({&text, 1}, {&resourceID, 1});
         }},
        {"read a batch",
         [this] {
             std::vector<BatchEntry> entries{{{}, m_id, D_INVALID}};
             m_dictionary.getResources(entries);
         }},
        {"ask for a resource", [this] { EXPECT_TRUE(m_dictionary.hasResource(m_id)); }},
        {"read a term",
         [this] {
             std::string form;
             EXPECT_EQ(m_term.m_text, m_dictionary.getTerm(m_id, form).m_text);
         }},
        {"append a form",
         [this] {
             std::string form;
             m_dictionary.appendLexicalForm({"text", m_id, D_XSD_STRING}, form);
             EXPECT_EQ("text", form);
         }},
        {"get a shard", [this] { EXPECT_NE(nullptr, m_dictionary.getShard(ShardLayout::getShard(m_id))); }},
        {"make a shard", [this] { m_dictionary.getOrMakeShard(1); }},
        {"visit the shards", [this] { m_dictionary.forEachShard([](uint32_t, const Dictionary&) {}); }},
    };
    const Operations m_resolutions{
        {"resolve a term", [this] { m_dictionary.resolveTerm(*m_thread, m_term); }},
        {"resolve a batch",
         [this] {
             std::vector<BatchEntry> entries{{"text", 0, D_XSD_STRING}};
             std::vector<BatchFailure> failures;
             m_dictionary.resolveResources(*m_thread, entries, failures);
         }},
        {"encode a column",
         [this] {
             const std::string_view text = "text";
             uint64_t resourceID = 0;
             m_dictionary.encode(*m_thread, {&text, 1}, {&resourceID, 1});
         }},
    };
    const Operations m_saves{
        {"save", [this] { save(); }},
        {"save shards",
         [this] {
             std::filesystem::create_directories(getFolder());
             static_cast<void>(m_dictionary.saveShards(getFolder(), ShardedDictionary::State::WHOLE, 1));
         }},
        {"note a save", [this] { m_dictionary.noteSaved(getFolder(), m_dictionary.getManifest()); }},
        {"set the inputs", [this] { m_dictionary.setInputs({}, 0); }},
    };
    const Operations m_verifications{
        {"verify", [this] { m_dictionary.verify(); }},
        {"verify a shard",
         [this] {
             const uint32_t shard = ShardLayout::getShard(m_id);
             m_dictionary.verifyShard(shard, m_dictionary.getShardInMemory(shard));
         }},
    };
};

/// Calls a function when the thread that made this object opens, writes or renames a file.
class FileHook : public FileOperationObserver {
public:
    explicit FileHook(std::function<void()> hook) : m_hook(std::move(hook)) {}

    size_t getNumberOfCalls() const { return m_numberOfCalls; }

    void opened(const char*, int, int) override { call(); }
    void written(int, const void*, size_t) override { call(); }
    void synchronized(int) override {}
    void renamed(const char*, const char*) override { call(); }
    void unlinked(const char*) override {}

private:
    void call() {
        if (std::this_thread::get_id() != m_thread)
            return;
        ++m_numberOfCalls;
        m_hook();
    }

    const std::thread::id m_thread = std::this_thread::get_id();
    const std::function<void()> m_hook;
    size_t m_numberOfCalls = 0;
};

/// A visitor is called during a read.
TEST_F(ShardedDictionaryMisuseTest, everythingButReleasesAndDestructionRunsBesideReads) {
    size_t visited = 0;
    m_dictionary.forEachShard([&](uint32_t, const Dictionary&) {
        ++visited;
        for (const Operations* const operations : {&m_reads, &m_saves, &m_verifications})
            for (const auto& [name, operation] : *operations)
                EXPECT_FALSE(isRefusedElsewhere(operation)) << name;
        for (const auto& [name, operation] : m_resolutions)
            EXPECT_FALSE(isRefused(operation)) << name; // by the thread to which m_thread belongs
        EXPECT_TRUE(isRefusedElsewhere([&] { m_dictionary.saveAndRelease(getFolder(), 1); }));
    });
    EXPECT_EQ(1u, visited);
}

TEST_F(ShardedDictionaryMisuseTest, onlyReadsRunBesideASave) {
    const std::string folder = m_directory.getPathOf("locked");
    std::filesystem::create_directories(folder);
    FileLock lock(folder + "/manifest");
    {
        const FileHook hook([&] {
            for (const auto& [name, operation] : m_reads)
                EXPECT_FALSE(isRefusedElsewhere(operation)) << name;
            for (const Operations* const operations : {&m_resolutions, &m_saves, &m_verifications})
                for (const auto& [name, operation] : *operations)
                    EXPECT_TRUE(isRefusedElsewhere(operation)) << name;
            EXPECT_TRUE(isRefusedElsewhere([&] { static_cast<void>(m_dictionary.getManifest()); }));
        });
        m_dictionary.save(lock);
        EXPECT_LT(1u, hook.getNumberOfCalls());
    }
    EXPECT_FALSE(isRefused([&] { static_cast<void>(m_dictionary.getManifest()); }));
}

TEST_F(ShardedDictionaryMisuseTest, theManifestMayBeReadWhileShardsAreSaved) {
    std::filesystem::create_directories(getFolder());
    const FileHook hook([&] {
        EXPECT_FALSE(isRefusedElsewhere([&] { static_cast<void>(m_dictionary.getManifest()); }));
        for (const Operations* const operations : {&m_resolutions, &m_saves, &m_verifications})
            for (const auto& [name, operation] : *operations)
                EXPECT_TRUE(isRefusedElsewhere(operation)) << name;
    });
    static_cast<void>(m_dictionary.saveShards(getFolder(), ShardedDictionary::State::WHOLE, 1));
    EXPECT_LT(0u, hook.getNumberOfCalls());
}

TEST_F(ShardedDictionaryMisuseTest, aShardUsedOnItsOwnIsNotResolvedWhileItIsSaved) {
    std::filesystem::create_directories(getFolder());
    Dictionary& shard = m_dictionary.getOrMakeShard(ShardLayout::getShard(m_id));
    size_t refused = 0;
    const auto resolve = [&] {
        DictionaryThread thread(shard);
        shard.resolveResource(thread, "text", D_XSD_STRING);
    };
    const FileHook hook([&] { refused += isRefusedElsewhere(resolve); });
    static_cast<void>(m_dictionary.saveShards(getFolder(), ShardedDictionary::State::WHOLE, 1));
    EXPECT_LT(0u, refused);
}

TEST_F(ShardedDictionaryMisuseTest, nothingIsResolvedOrSavedBesideAVerification) {
    save();
    const auto opened = ShardedDictionary::open(getFolder(), {.m_memoryLimit = size_t(64) << 20});
    const FileHook hook([&] {
        EXPECT_TRUE(isRefusedElsewhere([&] {
            ShardedDictionaryThread thread(*opened);
            opened->resolveTerm(thread, m_term);
        }));
        EXPECT_TRUE(isRefusedElsewhere([&] { opened->setInputs({}, 0); }));
        EXPECT_FALSE(isRefusedElsewhere([&] { opened->verify(); }));
        EXPECT_FALSE(isRefusedElsewhere([&] { EXPECT_EQ(m_id, opened->tryResolveTerm(m_term)); }));
        EXPECT_FALSE(isRefusedElsewhere([&] { static_cast<void>(opened->getManifest()); }));
    });
    opened->verify();
    EXPECT_EQ(1u, hook.getNumberOfCalls());
}

/// A visitor is called during a compaction.
TEST_F(ShardedDictionaryMisuseTest, aMisuseOfAShardIsNotTakenForDamage) {
    Dictionary& shard = m_dictionary.getOrMakeShard(ShardLayout::getShard(m_id));
    m_thread.reset();
    shard.commit();
    size_t visited = 0;
    shard.compact([&](uint64_t, const ResourceValue&) {
        ++visited;
        EXPECT_TRUE(isRefusedElsewhere([&] { m_dictionary.verify(); }));
        return true;
    });
    EXPECT_EQ(1u, visited);
}

TEST_F(ShardedDictionaryMisuseTest, nothingRunsWhileAllShardsAreReleased) {
    m_thread.reset();
    std::filesystem::create_directories(getFolder());
    const FileHook hook([&] {
        for (const Operations* const operations : {&m_reads, &m_saves, &m_verifications})
            for (const auto& [name, operation] : *operations)
                EXPECT_TRUE(isRefusedElsewhere(operation)) << name;
        EXPECT_TRUE(isRefusedElsewhere([&] { static_cast<void>(m_dictionary.getManifest()); }));
    });
    m_dictionary.saveAndRelease(getFolder(), 1);
    EXPECT_LT(0u, hook.getNumberOfCalls());
}

TEST_F(ShardedDictionaryMisuseTest, nothingIsSavedOrVerifiedWhileAShardIsReleased) {
    m_thread.reset();
    save();
    const auto opened = ShardedDictionary::open(getFolder(), {.m_memoryLimit = size_t(64) << 20});
    const uint32_t shard = ShardLayout::getShard(m_id);
    {
        DictionaryThread thread(opened->getOrMakeShard(shard));
        const uint64_t count = opened->getNumberOfResources();
        for (size_t number = 0; opened->getNumberOfResources() == count; ++number) {
            const std::string text = std::to_string(number);
            if (ShardLayout::getShard(text, D_XSD_STRING) == shard)
                opened->getOrMakeShard(shard).resolveResource(thread, text, D_XSD_STRING);
        }
    }
    const FileHook hook([&] {
        EXPECT_TRUE(isRefusedElsewhere([&] { opened->setInputs({}, 0); }));
        EXPECT_TRUE(isRefusedElsewhere([&] { opened->verify(); }));
        EXPECT_FALSE(isRefusedElsewhere([&] { static_cast<void>(opened->getManifest()); }));
    });
    opened->saveAndRelease(shard);
    EXPECT_LT(0u, hook.getNumberOfCalls());
}

TEST_F(ShardedDictionaryMisuseTest, aFormThatStartsInItsBatchIsRefused) {
    std::vector<BatchEntry> entries{{"text", 0, D_XSD_STRING}, {"other", 0, D_XSD_STRING}};
    entries[0].m_lexicalForm = {reinterpret_cast<const char*>(&entries[1]), 4};
    std::vector<BatchFailure> failures;
    EXPECT_TRUE(isRefused([&] { m_dictionary.resolveResources(*m_thread, entries, failures); }));
    EXPECT_TRUE(isRefused([&] { m_dictionary.tryResolveResources(entries, failures); }));
}

TEST_F(ShardedDictionaryMisuseTest, aDestructionBesideAReadEndsTheProcess) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
        {
            auto dictionary = std::make_unique<ShardedDictionary>(OPTIONS);
            {
                ShardedDictionaryThread thread(*dictionary);
                dictionary->resolveTerm(thread, m_term);
            }
            dictionary->forEachShard([&dictionary](uint32_t, const Dictionary&) { dictionary.reset(); });
        },
        "must run alone was started on a dictionary while one that reads or looks up was running");
}

} // namespace
