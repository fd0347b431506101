#include "tests/fuzz/SoundFiles.h"

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
    const std::filesystem::path folder = argv[1];
    write(folder / "fuzz-dictionary-file", makeSoundDictionaryFiles());
    write(folder / "fuzz-shard-manifest", makeSoundManifests());
    return 0;
}
