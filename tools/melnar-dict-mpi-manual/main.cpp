#include "tools/melnar-dict-manual/ManualFolder.h"
#include "tools/melnar-dict-manual/ManualPages.h"
#include "tools/melnar-dict-mpi/RankVerbs.h"

/// A build step: writes the manual pages of the program for several processes below a folder. It has no completions, as
/// a shell completes the command line of mpirun.
int main(const int argumentCount, const char* const arguments[]) {
    return runManualStep(argumentCount, arguments, [](const std::filesystem::path& folder) {
        std::vector<VerbDescription> descriptions;
        for (const RankVerb& verb : makeRankVerbs()) {
            descriptions.push_back(verb.m_description);
            writeManualFile(folder / "man1" / (getNameOfPage(verb.m_description) + ".1"),
                            makeVerbPage(verb.m_description));
        }
        writeManualFile(folder / "man1" / "melnar-dict-mpi.1",
                        makeProgramPage("mpirun -n RANKS ", "load RDF files with several processes", descriptions));
    });
}
