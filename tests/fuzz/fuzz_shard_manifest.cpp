#include "Engine/core/data-store/DictionaryHistory.h"
#include "Engine/core/data-store/sharded/ShardManifest.h"
#include "Engine/core/data-store/sharded/ShardedDictionary.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/fuzz/Require.h"
#include "tests/fuzz/SectionMutation.h"
#include "tests/fuzz/SoundFiles.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

// Any bytes as the manifest of a folder of shards, as they are and with correct lengths and checksums. They are refused
// as damaged; or their figures agree, and the manifest writes the same bytes.

namespace {

using melnar::SectionFormat;

constexpr SectionFormat MANIFEST{"MELNARDF", 1, "", ""};

void checkFigures(const ShardManifest& manifest) {
    require(manifest.m_maximumNumberOfResourcesOfShard <= ShardedDictionary::MAXIMUM_NUMBER_OF_RESOURCES_OF_SHARD,
            "a dictionary can be made with the largest number of resources");
    for (uint32_t number = 0; number < manifest.m_shards.size(); ++number) {
        const ShardManifest::Shard& shard = manifest.m_shards[number];
        require(shard.m_numberOfResources <= manifest.m_maximumNumberOfResourcesOfShard, "no shard has too much");
        uint64_t numberOfTerms = 0;
        for (const auto& [datatypeID, terms] : shard.m_terms)
            numberOfTerms += terms.m_number;
        require(numberOfTerms == shard.m_numberOfResources, "the terms of a shard are its resources");
        require(ShardManifest::isNameOfShard(manifest.getFileName(number)), "the name of a shard is recognised");
    }
    uint64_t commitPoint = 0;
    for (const DictionaryHistory::Entry& entry : manifest.m_history.m_entries) {
        require(entry.m_commitPoint > commitPoint, "commit points ascend");
        commitPoint = entry.m_commitPoint;
    }
}

/// Returns what the manifest in a file writes, or nothing if it is refused.
std::optional<std::string> rewrite(const std::string& bytes) {
    try {
        melnar::MemoryInputStream input(bytes);
        const ShardManifest manifest = ShardManifest::read(input);
        melnar::MemoryOutputStream output;
        manifest.write(output);
        checkFigures(manifest);
        return output.getBytes();
    } catch (const MelnarException& exception) {
        require(exception.getKind() == FailureKind::DAMAGED_FILE, "a manifest is refused as damaged");
        return std::nullopt;
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { // NOLINT(readability-identifier-naming)
    for (const std::string& file : makeSoundManifests())
        require(ForgedDictionaryFile::repair(file, MANIFEST).getBytes() == file && rewrite(file) == file,
                "a sound manifest is left alone, and written as it was read");
    return 0;
}

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* const data, const size_t size, const size_t maximumSize, // NOLINT
                                          const unsigned seed) {
    static const std::vector<std::string> soundFiles = makeSoundManifests();
    return mutateSections(data, size, maximumSize, seed, MANIFEST, soundFiles);
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string repaired = ForgedDictionaryFile::repair(bytes, MANIFEST).getBytes();
    if (bytes != repaired)
        require(!rewrite(bytes), "a manifest with a wrong length or checksum is refused");
    const std::optional<std::string> rewritten = rewrite(repaired);
    require(!rewritten || *rewritten == repaired, "a manifest is written as it was read");
    return 0;
}
