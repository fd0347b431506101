#include "tests/tools/melnar-dict/rewrite/TermDictionary.h"

#include "Engine/core/data-store/Dictionary.h"
#include "tools/melnar-dict/load/FileLoader.h"

#include <gtest/gtest.h>

#include <sstream>

void saveTermDictionary(const InputFiles& files, const std::string& dictionaryName, const BlankNodeOptions& blankNodes,
                        const std::string& base, const Rdf::Version version) {
    Dictionary dictionary({.m_memoryLimit = size_t(1) << 30, .m_maximumNumberOfResources = 10000000});
    std::ostringstream errors;
    MessageOutput messages(errors);
    InputJournal journal({}, messages);
    FileLoader loader(dictionary, journal, {.m_numberOfThreads = 1, .m_base = base, .m_version = version},
                      {.m_blankNodes = blankNodes});
    for (const auto& [fileName, format] : files)
        loader.load(fileName, format);
    EXPECT_EQ(ExitCode::DONE, journal.getExitCode()) << errors.str();
    dictionary.commit();
    dictionary.save(dictionaryName);
}

void saveTermDictionary(const std::vector<std::string>& fileNames, const std::string& dictionaryName,
                        const BlankNodeOptions& blankNodes) {
    InputFiles files;
    for (const std::string& fileName : fileNames)
        files.emplace_back(fileName, formatOfFile(fileName).value());
    saveTermDictionary(files, dictionaryName, blankNodes);
}
