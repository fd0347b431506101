#include "tools/melnar-dict-manual/Completions.h"
#include "tools/melnar-dict-manual/ManualFolder.h"
#include "tools/melnar-dict-manual/ManualPages.h"

#include "tools/melnar-dict/Verbs.h"

/// A build step: writes the manual pages and the completions of the tool below a folder.
int main(const int argumentCount, const char* const arguments[]) {
    return runManualStep(argumentCount, arguments, [](const std::filesystem::path& folder) {
        const std::vector<Verb> verbs = makeVerbs();
        std::vector<VerbDescription> descriptions;
        for (const Verb& verb : verbs) {
            descriptions.push_back(verb.m_description);
            writeManualFile(folder / "man1" / (getNameOfPage(verb.m_description) + ".1"),
                            makeVerbPage(verb.m_description));
        }
        writeManualFile(folder / "man1" / "melnar-dict.1",
                        makeProgramPage("", "give the terms of RDF files resource IDs", descriptions));
        writeManualFile(folder / "bash" / "melnar-dict", makeBashCompletions(verbs));
        writeManualFile(folder / "zsh" / "_melnar-dict", makeZshCompletions(verbs));
        writeManualFile(folder / "fish" / "melnar-dict.fish", makeFishCompletions(verbs));
    });
}
