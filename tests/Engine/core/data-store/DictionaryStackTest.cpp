#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/data-store/sharded/ShardedDictionaryThread.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/platform/MelnarException.h"
#include "Engine/core/platform/stream/FileLock.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"
#include "Engine/core/platform/system/VirtualMemory.h"
#include "melnar.h"
#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/Engine/core/data-store/ModelTerms.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <pthread.h>
#include <string>
#include <vector>

using namespace melnar;

// The stack that docs/guides/sizing.md promises to be enough for any operation of a dictionary. Sanitizers need more.

namespace {

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr size_t STACKS = 16;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
constexpr size_t STACKS = 16;
#else
constexpr size_t STACKS = 1;
#endif
#else
constexpr size_t STACKS = 1;
#endif

constexpr size_t PROMISED_STACK = STACKS * (size_t(256) << 10);
constexpr size_t MEMORY_LIMIT = size_t(512) << 20;
constexpr uint32_t NUMBER_OF_TERMS = 20000;

/// Performs an operation in a thread with the promised stack, below which no memory is accessible. Returns how many
/// bytes of the stack it has written, with those of the thread itself.
size_t measureStack(const std::function<void()>& operation) {
    constexpr uint8_t UNTOUCHED = 0xA5;
    const size_t guardBytes = getVMPageSize();
    auto* const memory = static_cast<uint8_t*>(VirtualMemory::reserve(guardBytes + PROMISED_STACK));
    uint8_t* const stack = memory + guardBytes;
    EXPECT_TRUE(VirtualMemory::commit(stack, PROMISED_STACK));
    std::memset(stack, UNTOUCHED, PROMISED_STACK);
    pthread_attr_t attributes;
    EXPECT_EQ(0, ::pthread_attr_init(&attributes));
    EXPECT_EQ(0, ::pthread_attr_setstack(&attributes, stack, PROMISED_STACK));
    pthread_t thread;
    const auto run = [](void* const argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    EXPECT_EQ(0, ::pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&operation)));
    EXPECT_EQ(0, ::pthread_join(thread, nullptr));
    ::pthread_attr_destroy(&attributes);
    const size_t untouchedBytes = static_cast<size_t>(
        std::find_if(stack, stack + PROMISED_STACK, [](const uint8_t byte) { return byte != UNTOUCHED; }) - stack);
    VirtualMemory::release(memory, guardBytes + PROMISED_STACK);
    return PROMISED_STACK - untouchedBytes;
}

/// How deep operations go.
class DeepestStack {
public:
    void measure(const char* const name, const std::function<void()>& operation) {
        const size_t bytes = measureStack(operation);
        std::cout << "    " << bytes << " bytes of stack: " << name << '\n';
        m_bytes = std::max(m_bytes, bytes);
    }

    /// Half of the promise is kept for other compilers and libraries.
    ~DeepestStack() { EXPECT_GT(PROMISED_STACK / 2, m_bytes); }

private:
    size_t m_bytes = 0;
};

class DictionaryStackTest : public testing::Test {
protected:
    DictionaryStackTest() {
        for (uint32_t number = 0; number < NUMBER_OF_TERMS; ++number) {
            m_literals.push_back(DictionaryModel::makeLiteral(number));
            m_terms.push_back(m_source.make(number));
        }
        for (uint32_t number = 0; number < 100; ++number)
            m_terms.push_back(m_source.makeRefused(number));
        for (const DictionaryModel::Literal& literal : m_literals)
            m_entries.push_back({literal.m_lexicalForm, 0, literal.m_datatypeID});
        m_entries.push_back({"no tag", 0, D_RDF_PLAIN_LITERAL});
        m_entries.push_back({"", 0, D_IRI});
    }

    static DictionaryOptions getOptions(const uint64_t maximumNumberOfResources) {
        return {.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources};
    }

    void useDictionary(uint64_t maximumNumberOfResources);

    const TemporaryDirectory m_directory;
    ModelTerms m_source;
    std::vector<DictionaryModel::Literal> m_literals;
    std::vector<Term> m_terms;
    std::vector<BatchEntry> m_entries;
    std::vector<BatchFailure> m_failures;
    DeepestStack m_deepest;
};

void DictionaryStackTest::useDictionary(const uint64_t maximumNumberOfResources) {
    const std::string path = m_directory.getPathOf("strings.dict");
    std::unique_ptr<Dictionary> dictionary;
    m_deepest.measure("no operation", [] {});
    m_deepest.measure("make", [&] { dictionary = std::make_unique<Dictionary>(getOptions(maximumNumberOfResources)); });
    m_deepest.measure("resolve one by one, and let tables grow", [&] {
        DictionaryThread thread(*dictionary);
        for (size_t index = 0; index < m_literals.size() / 2; ++index)
            dictionary->resolveResource(thread, m_literals[index].m_lexicalForm, m_literals[index].m_datatypeID);
    });
    m_deepest.measure("refuse", [&] {
        DictionaryThread thread(*dictionary);
        for (size_t index = m_terms.size() - 100; index < m_terms.size(); ++index)
            EXPECT_THROW(dictionary->resolveTerm(thread, m_terms[index]), MelnarException);
    });
    m_deepest.measure("resolve a batch", [&] {
        DictionaryThread thread(*dictionary);
        dictionary->resolveResources(thread, m_entries, m_failures);
    });
    EXPECT_EQ(2u, m_failures.size());
    std::vector<uint64_t> ids(m_terms.size());
    m_deepest.measure("resolve a column of terms", [&] {
        DictionaryThread thread(*dictionary);
        dictionary->resolveTerms(thread, m_terms, ids, m_failures);
    });
    m_deepest.measure("look up", [&] {
        dictionary->tryResolveResources(DictionaryCommitPoint::ALL, m_entries, m_failures);
        dictionary->tryResolveTerms(DictionaryCommitPoint::ALL, m_terms, ids, m_failures);
        for (const DictionaryModel::Literal& literal : m_literals)
            EXPECT_NE(0u, dictionary->tryResolveResource(DictionaryCommitPoint::ALL, literal.m_lexicalForm,
                                                         literal.m_datatypeID));
    });
    m_deepest.measure("read", [&] {
        std::string text;
        TermColumn column;
        dictionary->getResources(m_entries);
        dictionary->getTerms(ids, column);
        for (const auto& [resourceID, literal] : *dictionary)
            dictionary->appendTurtleLiteral(resourceID, text);
    });
    m_deepest.measure("encode and decode", [&] {
        DictionaryThread thread(*dictionary);
        const std::vector<std::string_view> texts(5000, "text");
        std::vector<uint64_t> idsOfTexts(texts.size());
        dictionary->encode(thread, texts, idsOfTexts, "en");
        ArrowColumn<int32_t> column;
        dictionary->decode(idsOfTexts, column);
    });
    m_deepest.measure("commit", [&] { dictionary->commit(); });
    m_deepest.measure("save", [&] { dictionary->save(path); });
    m_deepest.measure("open", [&] { dictionary = Dictionary::open(path, {.m_memoryLimit = MEMORY_LIMIT}); });
    m_deepest.measure("verify", [&] { dictionary->verify(); });
    m_deepest.measure("statistics", [&] {
        MemoryOutputStream output;
        dictionary->getDetailedComponentInfo()->printText(output);
        EXPECT_FALSE(dictionary->getTableProfiles(1024).empty());
    });
    m_deepest.measure("roll back", [&] {
        DictionaryThread thread(*dictionary);
        dictionary->resolveResource(thread, "new", D_XSD_STRING);
        dictionary->rollback();
    });
    m_deepest.measure("compact", [&] {
        dictionary->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID % 3 == 0; });
    });
    m_deepest.measure("refuse a file", [&] {
        m_directory.addFile("damaged.dict", TemporaryDirectory::getContentsOf(path) + "x");
        EXPECT_THROW(static_cast<void>(Dictionary::open(m_directory.getPathOf("damaged.dict"))), MelnarException);
    });
    m_deepest.measure("destroy", [&] { dictionary.reset(); });
}

TEST_F(DictionaryStackTest, halfOfThePromisedStackIsEnoughForNarrowBuckets) {
    useDictionary(NARROW);
}

TEST_F(DictionaryStackTest, halfOfThePromisedStackIsEnoughForWideBuckets) {
    useDictionary(WIDE);
}

TEST_F(DictionaryStackTest, halfOfThePromisedStackIsEnoughForAShardedDictionary) {
    const std::string folder = m_directory.getPathOf("shards");
    std::filesystem::create_directory(folder);
    std::unique_ptr<ShardedDictionary> dictionary;
    m_deepest.measure("make", [&] { dictionary = std::make_unique<ShardedDictionary>(getOptions(NARROW)); });
    m_deepest.measure("resolve a batch", [&] {
        ShardedDictionaryThread thread(*dictionary);
        dictionary->resolveResources(thread, m_entries, m_failures);
    });
    m_deepest.measure("save", [&] {
        FileLock lock(folder + "/manifest");
        dictionary->save(lock);
    });
    m_deepest.measure("open, look up and read", [&] {
        dictionary = ShardedDictionary::open(folder, {.m_memoryLimit = MEMORY_LIMIT});
        dictionary->tryResolveResources(m_entries, m_failures);
        dictionary->getResources(m_entries);
    });
    m_deepest.measure("verify and destroy", [&] {
        dictionary->verify();
        dictionary.reset();
    });
}

TEST_F(DictionaryStackTest, halfOfThePromisedStackIsEnoughForTheInterfaceForC) {
    m_deepest.measure("encode and decode in C", [] {
        const melnar_options options{MEMORY_LIMIT, NARROW};
        melnar_dictionary* dictionary;
        ASSERT_EQ(MELNAR_OK, melnar_create(&options, &dictionary, nullptr));
        const std::vector<const char*> texts(5000, "text");
        std::vector<uint64_t> ids(texts.size());
        EXPECT_EQ(MELNAR_OK, melnar_encode(dictionary, texts.data(), nullptr, texts.size(), "en", ids.data(), nullptr));
        melnar_error error;
        EXPECT_EQ(MELNAR_REFUSED,
                  melnar_encode(dictionary, texts.data(), nullptr, texts.size(), "no tag", ids.data(), &error));
        melnar_column column;
        EXPECT_EQ(MELNAR_OK, melnar_decode(dictionary, ids.data(), 0, &column, nullptr));
        melnar_column_free(&column);
        melnar_close(dictionary);
    });
}

} // namespace
