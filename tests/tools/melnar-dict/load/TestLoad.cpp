#include "tests/tools/melnar-dict/load/TestLoad.h"

#include "tests/support/TemporaryDirectory.h"

#include <algorithm>
#include <stdexcept>

TestLoad::TestLoad(FileLoader::Settings settings, const size_t memoryLimit, const uint64_t maximumNumberOfResources,
                   RejectedFile* const rejectedFile)
    : m_dictionary(memoryLimit, maximumNumberOfResources),
      m_journal({.m_isLenient = settings.m_isLenient, .m_numberOfErrorsShown = ~uint64_t(0)}, m_messages, rejectedFile),
      m_loader(m_dictionary, m_journal, settings) {}

TestLoad::TestLoad(const FileLoader::Settings& settings, const FileLoader::TermSettings& terms,
                   const size_t memoryLimit, const uint64_t maximumNumberOfResources)
    : m_dictionary(memoryLimit, maximumNumberOfResources),
      m_journal({.m_isLenient = settings.m_isLenient, .m_numberOfErrorsShown = ~uint64_t(0)}, m_messages),
      m_loader(m_dictionary, m_journal, settings, terms) {}

void TestLoad::load(const std::string& fileName, const RdfFormat format) {
    m_loader.load(fileName, format);
    m_dictionary.commit();
}

std::vector<std::string> TestLoad::readForms(const uint8_t datatypeID) const {
    std::vector<std::string> forms;
    std::string form;
    for (uint64_t resourceID = 1; resourceID < m_dictionary.getNextResourceID(); ++resourceID) {
        const uint8_t foundDatatypeID = m_dictionary.getResource(resourceID, form);
        if (m_dictionary.tryResolveResource(m_dictionary.getCommitPoint(), form, foundDatatypeID) != resourceID)
            throw std::logic_error("The form of resource " + std::to_string(resourceID) +
                                   " leads to another resource.");
        if (foundDatatypeID == datatypeID)
            forms.push_back(form);
    }
    std::sort(forms.begin(), forms.end());
    return forms;
}

LoadOutcome loadText(const RdfFormat format, const std::string_view text, FileLoader::Settings settings) {
    const TemporaryDirectory directory;
    const std::string fileName = directory.addFile("FILE", std::string(text));
    TestLoad load(std::move(settings));
    load.load(fileName, format);
    std::string errorOutput = load.getErrorOutput();
    const std::string directoryName = directory.getPathOf("");
    for (size_t found = errorOutput.find(directoryName); found != std::string::npos;
         found = errorOutput.find(directoryName))
        errorOutput.erase(found, directoryName.size());
    return {load.getJournal().getExitCode(), errorOutput, load.getJournal().getCounts(), load.readForms(D_XSD_STRING),
            load.readForms(D_RDF_PLAIN_LITERAL)};
}
