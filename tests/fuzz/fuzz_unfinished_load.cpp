#include "tests/fuzz/Require.h"
#include "tests/fuzz/SectionMutation.h"
#include "tests/fuzz/UnfinishedLoad.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <optional>
#include <string>

// Any bytes as the files of an unfinished load of shards, as they are, and with correct lengths and checksums in the
// manifest. The load is refused, or resumed. If the manifest is sound, a resumed load gives the rows of one that was
// not interrupted, whatever the other files are. Otherwise the dictionary is sound unless the manifest was wrong about
// shards, and the rows have only IDs of it.

namespace {

using Files = UnfinishedLoad::Files;

constexpr size_t LARGEST_GROWTH = 64;

const UnfinishedLoad& getLoad() {
    static const UnfinishedLoad load;
    return load;
}

/// Returns the rows of a load that was not interrupted.
const std::string& getRows() {
    static const std::string rows = getLoad().load();
    return rows;
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) { // NOLINT(readability-identifier-naming)
    const UnfinishedLoad& load = getLoad();
    for (const Files& files : load.getSoundFiles()) {
        require(load.divide(load.join(files)) == files, "files are joined and divided again");
        require(UnfinishedLoad::repair(files) == files && UnfinishedLoad::correctRecord(files) == files,
                "sound files are left alone");
        require(load.resume(files) == getRows(),
                "a load that is resumed gives the IDs of one that was not interrupted");
    }
    return 0;
}

/// Usually changes one file, and repairs what would hide the change.
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* const data, const size_t size, const size_t maximumSize, // NOLINT
                                          unsigned seed) {
    const auto chooseBelow = [&seed](const size_t end) {
        const size_t chosen = seed % end;
        seed /= static_cast<unsigned>(end);
        return chosen;
    };
    const UnfinishedLoad& load = getLoad();
    Files files = load.divide({reinterpret_cast<const char*>(data), size});
    if (files.empty() || chooseBelow(3) == 0)
        files = load.getSoundFiles()[chooseBelow(load.getSoundFiles().size())];
    std::string& bytes = std::next(files.begin(), static_cast<std::ptrdiff_t>(chooseBelow(files.size())))->second;
    const size_t byteSize = bytes.size();
    bytes.resize(byteSize + LARGEST_GROWTH);
    auto* const begin = reinterpret_cast<uint8_t*>(bytes.data());
    bytes.resize(bytes.starts_with(UnfinishedLoad::MANIFEST_FORMAT.m_magic)
                     ? mutateSections(begin, byteSize, bytes.size(), seed, UnfinishedLoad::MANIFEST_FORMAT,
                                      {bytes.substr(0, byteSize)})
                     : LLVMFuzzerMutate(begin, byteSize, bytes.size()));
    if (chooseBelow(4) != 0)
        files = UnfinishedLoad::correctRecord(files);
    const std::string mutated = load.join(files);
    if (mutated.size() > maximumSize)
        return LLVMFuzzerMutate(data, size, maximumSize);
    std::copy(mutated.begin(), mutated.end(), data);
    return mutated.size();
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const UnfinishedLoad& load = getLoad();
    const Files files = load.divide({reinterpret_cast<const char*>(data), size});
    const Files repaired = UnfinishedLoad::repair(files);
    if (files != repaired)
        require(!load.resume(files), "a manifest with a wrong length or checksum is refused");
    const std::optional<std::string> rows = load.resume(repaired);
    if (load.hasSoundManifest(repaired))
        require(!rows || rows == getRows(), "damaged files beside a sound manifest are found");
    return 0;
}
