#include "tests/fuzz/SoundFiles.h"
#include "tests/fuzz/SoundPackedFiles.h"
#include "tests/fuzz/SoundRows.h"
#include "tests/fuzz/UnfinishedLoad.h"

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

// make-fuzz-seeds FOLDER: writes the sound files from which programs start to FOLDER/PROGRAM.

namespace {

void write(const std::filesystem::path& folder, const std::vector<std::string>& files) {
    std::filesystem::create_directories(folder);
    for (size_t number = 0; number < files.size(); ++number) {
        std::ofstream output(folder / std::to_string(number), std::ios::binary);
        output.exceptions(std::ios::failbit | std::ios::badbit);
        (output << files[number]).flush();
    }
}

} // namespace

int main(const int argc, const char* const* const argv) {
    if (argc != 2)
        return 2;
    const std::filesystem::path folder = std::filesystem::absolute(argv[1]);
    write(folder / "fuzz-compressed", makeSoundPackedFiles());
    write(folder / "fuzz-dictionary-file", makeSoundDictionaryFiles());
    write(folder / "fuzz-rows", makeSoundRows());
    write(folder / "fuzz-shard-manifest", makeSoundManifests());
    const UnfinishedLoad load;
    std::vector<std::string> unfinished;
    for (const UnfinishedLoad::Files& files : load.getSoundFiles())
        unfinished.push_back(load.join(files));
    write(folder / "fuzz-unfinished-load", unfinished);
    return 0;
}
