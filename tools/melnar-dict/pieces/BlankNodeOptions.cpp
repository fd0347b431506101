#include "tools/melnar-dict/pieces/BlankNodeOptions.h"

#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

void addBlankNodes(VerbDescription& verb, const InputFiles& files, BlankNodeOptions& variable) {
    verb.addChoice("--blank-nodes", "MODE",
                   "documents: blank node labels are local to their files, as in RDF (default); shared: one label is "
                   "one node in all files, as in the parts of a divided dump",
                   variable.m_mode,
                   std::vector<std::pair<std::string, BlankNodeScope::Mode>>{
                       {"documents", BlankNodeScope::Mode::DOCUMENTS}, {"shared", BlankNodeScope::Mode::SHARED}});
    verb.m_checks.emplace_back([&files, &variable] {
        if (variable.m_mode == BlankNodeScope::Mode::SHARED &&
            !std::all_of(files.begin(), files.end(), [](const auto& file) { return isLineFormat(file.second); }))
            throw ToolFailure(ExitCode::USAGE, "--blank-nodes shared is for N-Triples and N-Quads: in Turtle and TriG, "
                                               "nodes without a label would be shared, too");
    });
}

void addDocument(VerbDescription& verb, BlankNodeOptions& variable) {
    verb.addNumber("--document", "K",
                   "the first file was document K when the dictionary was loaded, and the others follow it "
                   "(default: 1)",
                   variable.m_firstDocument, 1, BlankNodeScope::LARGEST_DOCUMENT);
    verb.m_checks.emplace_back([&variable] {
        if (variable.m_mode == BlankNodeScope::Mode::SHARED && variable.m_firstDocument != 1)
            throw ToolFailure(ExitCode::USAGE, "--document needs --blank-nodes documents");
    });
}
