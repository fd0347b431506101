#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "tests/Engine/core/data-store/sharded/ShardedFolder.h"
#include "tests/golden/GoldenDictionary.h"

#include <gtest/gtest.h>
#include <openssl/evp.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace {

/// Returns SHA-256 in hexadecimal digits.
std::string digest(const std::string_view bytes) {
    std::array<unsigned char, 32> hash;
    if (::EVP_Digest(bytes.data(), bytes.size(), hash.data(), nullptr, ::EVP_sha256(), nullptr) != 1)
        throw std::runtime_error("No digest to be had.");
    std::string text;
    for (const unsigned byte : hash) {
        std::array<char, 3> digits;
        std::snprintf(digits.data(), digits.size(), "%02x", byte);
        text += digits.data();
    }
    return text;
}

class ShardedDictionaryGoldenTest : public testing::Test {
protected:
    ShardedDictionaryGoldenTest() { std::filesystem::create_directory(m_folder); }

    void resolve(ShardedHost& host, const GoldenDictionary::Resources& resources) {
        ShardedDictionaryThread thread(*host);
        for (const GoldenDictionary::Resource& resource : resources) {
            BatchEntry entry{resource.m_lexicalForm, 0, resource.m_datatypeID};
            std::vector<BatchFailure> failures;
            host->resolveResources(thread, {&entry, 1}, failures);
            ASSERT_TRUE(failures.empty());
        }
    }

    std::string digestShards() const {
        std::string digests;
        for (const auto& [name, bytes] : getFolderContents(m_folder))
            if (name != "manifest")
                digests += name + ' ' + digest(bytes) + '\n';
        return digest(digests);
    }

    std::string digestManifest() const { return digest(getFolderContents(m_folder).at("manifest")); }

    const TemporaryDirectory m_directory;
    const std::string m_folder = m_directory.getPathOf("terms");
};

/// Later versions must read today's folders, and write the same bytes. If this fails for a good reason, a new format
/// version is needed.
TEST_F(ShardedDictionaryGoldenTest, aFolderOfAllFamiliesIsWhatItHasAlwaysBeen) {
    ShardedHost host(SHARDED_MEMORY_LIMIT, ShardedDictionary::MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD);
    resolve(host, GoldenDictionary::getTerms());
    host->setInputs({{"terms.nt", 176, true}, {"strings.ttl", 12, false}}, 3);
    host.save(m_folder);
    resolve(host, GoldenDictionary::getStrings());
    host.save(m_folder);
    EXPECT_EQ("c2bf5b11692cf565c398c46d8903e81a", host->getHistory().getIdentity().value().toString());
    EXPECT_EQ("bbdfe453f7340ea09ee21bcab89a4ad88496510f34ff47411626f86f300c5608", digestShards());
    EXPECT_EQ("5418005aa50daa5080f19ac68cde838a0de848d440bbf90e2423541d9af5a840", digestManifest());
}

TEST_F(ShardedDictionaryGoldenTest, anEmptyFolderIsWhatItHasAlwaysBeen) {
    ShardedHost host(SHARDED_MEMORY_LIMIT, ShardedDictionary::MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD);
    host.save(m_folder);
    EXPECT_EQ(1u, getFolderContents(m_folder).size());
    EXPECT_EQ("2f1120684f536a9fd571792c2bce958f", host->getHistory().getIdentity().value().toString());
    EXPECT_EQ("22e879df7bc0061d926e79afd39ecd3169edb86c96d958727cdeaf8ab4e149af", digestManifest());
}

} // namespace
