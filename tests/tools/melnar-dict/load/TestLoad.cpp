#include "tests/tools/melnar-dict/load/TestLoad.h"

#include "tests/support/TemporaryDirectory.h"
#include "tools/melnar-dict/rows/RowLayout.h"

#include "Engine/core/data-store/DictionaryFile.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <algorithm>
#include <stdexcept>

using namespace melnar;

TestLoad::TestLoad(FileLoader::Settings settings, const size_t memoryLimit, const uint64_t maximumNumberOfResources,
                   RejectedFile* const rejectedFile)
    : m_dictionary({.m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = maximumNumberOfResources}),
      m_journal({.m_isLenient = settings.m_isLenient, .m_numberOfErrorsShown = ~uint64_t(0)}, m_messages, rejectedFile),
      m_loader(m_dictionary, m_journal, settings) {}

TestLoad::TestLoad(const FileLoader::Settings& settings, const FileLoader::TermSettings& terms,
                   const size_t memoryLimit, const uint64_t maximumNumberOfResources)
    : m_dictionary({.m_memoryLimit = memoryLimit, .m_maximumNumberOfResources = maximumNumberOfResources}),
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

TermLoadOutcome loadTerms(const std::string& fileName, const RdfFormat format, const FileLoader::Settings& settings) {
    const RowLayout layout{4, RowLayout::WIDE};
    MemoryOutputStream rows;
    TestLoad load(settings, {.m_rowStream = &rows, .m_rowLayout = layout});
    load.load(fileName, format);
    MemoryOutputStream saved;
    DictionaryFile::write(load.getDictionary(), saved);
    TermLoadOutcome outcome{
        load.getJournal().getExitCode(), load.getErrorOutput(), load.getJournal().getCounts(), {}, saved.getBytes()};
    takeIDs(rows.getBytes(), layout.m_idWidth, outcome.m_rows);
    return outcome;
}

namespace {

/// The folder of a file leaves its messages.
void removeAll(const std::string& what, std::string& text) {
    for (size_t found = text.find(what); found != std::string::npos; found = text.find(what))
        text.erase(found, what.size());
}

} // namespace

LoadOutcome loadText(const RdfFormat format, const std::string_view text, FileLoader::Settings settings) {
    const TemporaryDirectory directory;
    const std::string fileName = directory.addFile("FILE", std::string(text));
    TestLoad load(std::move(settings));
    load.load(fileName, format);
    std::string errorOutput = load.getErrorOutput();
    removeAll(directory.getPathOf(""), errorOutput);
    return {load.getJournal().getExitCode(), errorOutput, load.getJournal().getCounts(), load.readForms(D_XSD_STRING),
            load.readForms(D_RDF_PLAIN_LITERAL)};
}

TermLoadOutcome loadTermsOfText(const RdfFormat format, const std::string_view text,
                                const FileLoader::Settings& settings) {
    const TemporaryDirectory directory;
    TermLoadOutcome outcome = loadTerms(directory.addFile("FILE", std::string(text)), format, settings);
    removeAll(directory.getPathOf(""), outcome.m_errorOutput);
    return outcome;
}

std::string makeStatements(const RdfFormat format, const size_t numberOfStatements, const bool hasLongOnes) {
    std::string text;
    for (size_t number = 0; number < numberOfStatements; ++number) {
        const std::string name = std::to_string(number % (numberOfStatements / 3 + 1));
        const char* const separator = isLineFormat(format) || number % 2 == 0 ? " " : "\n";
        const std::vector<std::string> objects{"\"" + name + "\"",
                                               "\"" + name + "\"@en",
                                               "\"" + name + "\"^^<a:int>",
                                               "\"" + name + "\"@ar--rtl",
                                               "<http://example.org/" + name + ">",
                                               "_:o" + name,
                                               "<<( <a:s> <a:p> \"" + name + "\" )>>"};
        text += (number % 5 == 0 ? "_:s" : "<http://example.org/s/") + name + (number % 5 == 0 ? "" : ">") + separator +
                "<a:p>" + separator + objects[number % objects.size()];
        if (format == RdfFormat::N_QUADS && number % 3 != 0)
            text += " <http://example.org/g/" + std::to_string(number % 4) + ">";
        if (hasLongOnes && number % 100 == 50)
            for (size_t object = 0; object < 100; ++object)
                text += " ,\n[ <a:q> \"object " + std::to_string(object) + " of " + name + "\" ]";
        text += " .\n";
    }
    return text;
}
