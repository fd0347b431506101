#include "tools/melnar-dict-manual/ManualFolder.h"

#include <cstdlib>
#include <exception>
#include <fstream>
#include <iostream>

void writeManualFile(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    file << text;
    file.close();
}

int runManualStep(const int argumentCount, const char* const* const arguments,
                  const std::function<void(const std::filesystem::path& folder)>& write) {
    if (argumentCount != 2) {
        std::cerr << "usage: " << arguments[0] << " FOLDER\n";
        return EXIT_FAILURE;
    }
    try {
        write(arguments[1]);
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::cerr << arguments[0] << ": " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
