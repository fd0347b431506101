#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MemoryExhaustedException.h"
#include "tests/support/TemporaryDirectory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <vector>

// The longest literals whose headers have 4 bytes, the shortest with 8, and one of 1 GiB. Hashing them takes time.

namespace {

constexpr size_t GIBIBYTE = size_t(1) << 30;
constexpr size_t LARGEST_IN_FOUR_BYTES = 0x1FFFFFFF - 1; // its terminator counts
constexpr size_t MEMORY_LIMIT = size_t(4) << 30;
constexpr DictionaryCommitPoint ALL = DictionaryCommitPoint::ALL;

/// Returns whether the machine has memory for such literals. They take half of it.
bool isEnoughMemoryAvailable() {
    std::ifstream file("/proc/meminfo");
    std::string word;
    size_t kibibytes = 0;
    while (file >> word && word != "MemAvailable:") {
    }
    return file >> kibibytes && kibibytes >= 6 * (GIBIBYTE >> 10);
}

/// A text whose bytes depend on their place.
class LongText {
public:
    explicit LongText(const size_t size) : m_bytes(size, 'x') {
        for (size_t position = 0; position < size; position += STRIDE)
            m_bytes[position] = static_cast<char>('a' + position / STRIDE % 26);
    }

    std::string_view get(const size_t size) const { return {m_bytes.data(), size}; }

private:
    static constexpr size_t STRIDE = 4099;

    std::string m_bytes;
};

TEST(DictionaryGibibyteSlowTest, aLiteralOfAGibibyteIsALiteralLikeAnyOther) {
    if (!isEnoughMemoryAvailable())
        GTEST_SKIP() << "The machine has less than 6 GiB of available memory.";
    const TemporaryDirectory directory;
    const std::string path = directory.getPathOf("strings.dict");
    const LongText text(GIBIBYTE);
    {
        Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1000});
        DictionaryThread thread(dictionary);
        EXPECT_EQ(1u, dictionary.resolveResource(thread, "before", D_XSD_STRING));
        EXPECT_EQ(2u, dictionary.resolveResource(thread, text.get(GIBIBYTE), D_XSD_STRING));
        std::vector<BatchEntry> entries{{"after", 0, D_XSD_STRING}, {text.get(GIBIBYTE), 0, D_XSD_STRING}};
        std::vector<BatchFailure> failures;
        dictionary.resolveResources(thread, entries, failures);
        EXPECT_TRUE(failures.empty());
        EXPECT_EQ(3u, entries[0].m_resourceID);
        EXPECT_EQ(2u, entries[1].m_resourceID);
        dictionary.commit();
        dictionary.save(path);
    }
    EXPECT_LT(GIBIBYTE, std::filesystem::file_size(path));
    const std::unique_ptr<Dictionary> opened = Dictionary::open(path, {.m_memoryLimit = MEMORY_LIMIT});
    EXPECT_TRUE(text.get(GIBIBYTE) == opened->getLexicalForm(2));
    EXPECT_EQ(GIBIBYTE + 11, opened->getTextBytes(D_XSD_STRING));
    EXPECT_NO_THROW(opened->verify());
    EXPECT_EQ((std::vector<uint64_t>{0, 1, 0, 2}),
              opened->compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID != 2; }));
    EXPECT_GT(size_t(1) << 20, opened->getMemoryInUse()) << "its memory is released";
    EXPECT_EQ("after", opened->getLexicalForm(2));
}

TEST(DictionaryGibibyteSlowTest, theLongestLiteralsWithAHeaderOfFourBytesAndTheNextAreKeptApart) {
    if (!isEnoughMemoryAvailable())
        GTEST_SKIP() << "The machine has less than 6 GiB of available memory.";
    const LongText text(LARGEST_IN_FOUR_BYTES + 1);
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1000});
    DictionaryThread thread(dictionary);
    uint64_t resourceID = 0;
    for (size_t size = LARGEST_IN_FOUR_BYTES; size <= LARGEST_IN_FOUR_BYTES + 1; ++size) {
        EXPECT_EQ(++resourceID, dictionary.resolveResource(thread, text.get(size), D_XSD_STRING));
        EXPECT_EQ(resourceID, dictionary.tryResolveResource(ALL, text.get(size), D_XSD_STRING));
        EXPECT_TRUE(text.get(size) == dictionary.getLexicalForm(resourceID));
    }
}

TEST(DictionaryGibibyteSlowTest, aLiteralOfAGibibyteBeyondTheLimitChangesNothing) {
    void* const mapping = ::mmap(nullptr, GIBIBYTE, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(MAP_FAILED, mapping);
    const std::string_view zeros(static_cast<const char*>(mapping), GIBIBYTE);
    Dictionary dictionary({.m_memoryLimit = GIBIBYTE, .m_maximumNumberOfResources = 1000, .m_keepFingerprints = false});
    {
        DictionaryThread thread(dictionary);
        const size_t memoryInUse = dictionary.getMemoryInUse();
        EXPECT_THROW(dictionary.resolveResource(thread, zeros, D_XSD_STRING), MemoryExhaustedException);
        EXPECT_EQ(memoryInUse, dictionary.getMemoryInUse());
        EXPECT_EQ(1u, dictionary.resolveResource(thread, "text", D_XSD_STRING));
    }
    EXPECT_EQ(0, ::munmap(mapping, GIBIBYTE));
}

} // namespace
