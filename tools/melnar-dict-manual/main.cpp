#include "tools/melnar-dict-manual/Completions.h"
#include "tools/melnar-dict-manual/ManualPages.h"

#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>

namespace {

void writeFile(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::create_directories(path.parent_path());
    std::ofstream file;
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file.open(path, std::ios::binary);
    file << text;
    file.close();
}

} // namespace

/// A step of the build: writes the manual pages and the completions of the tool below a folder.
int main(const int argumentCount, const char* const arguments[]) {
    if (argumentCount != 2) {
        std::cerr << "usage: melnar-dict-manual FOLDER\n";
        return EXIT_FAILURE;
    }
    try {
        const std::filesystem::path folder = arguments[1];
        const std::vector<Verb> verbs = makeVerbs();
        writeFile(folder / "man1" / "melnar-dict.1", makeToolPage(verbs));
        for (const Verb& verb : verbs)
            writeFile(folder / "man1" / ("melnar-dict-" + verb.m_description.m_name + ".1"),
                      makeVerbPage(verb.m_description));
        writeFile(folder / "bash" / "melnar-dict", makeBashCompletions(verbs));
        writeFile(folder / "zsh" / "_melnar-dict", makeZshCompletions(verbs));
        writeFile(folder / "fish" / "melnar-dict.fish", makeFishCompletions(verbs));
        return EXIT_SUCCESS;
    } catch (const std::exception& exception) {
        std::cerr << "melnar-dict-manual: " << exception.what() << '\n';
        return EXIT_FAILURE;
    }
}
