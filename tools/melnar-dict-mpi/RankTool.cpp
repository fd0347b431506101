#include "tools/melnar-dict-mpi/RankTool.h"

#include "tools/melnar-dict-mpi/Bytes.h"
#include "tools/melnar-dict-mpi/RankVerbs.h"
#include "tools/melnar-dict-mpi/Ranks.h"

#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/HelpText.h"
#include "tools/melnar-dict/shell/Json.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/platform/Version.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

constexpr const char* VERSION = "melnar-dict-mpi " MELNAR_VERSION_STRING "\n";

std::string getHelp(const std::vector<RankVerb>& verbs) {
    std::string help = "usage: mpirun -n RANKS melnar-dict-mpi VERB [ARGUMENT...]\n\n";
    for (const RankVerb& verb : verbs)
        help += "  " + verb.m_description.m_name + std::string(11 - verb.m_description.m_name.size(), ' ') +
                verb.m_description.m_purpose + '\n';
    return help + "\nmelnar-dict-mpi VERB --help prints details; melnar-dict-mpi --version prints the version. Use "
                  "melnar-dict to read the folders.\n";
}

const RankVerb& findVerb(const std::vector<RankVerb>& verbs, const std::string& name) {
    const auto verb =
        std::ranges::find(verbs, name, [](const RankVerb& candidate) { return candidate.m_description.m_name; });
    if (verb == verbs.end())
        throw ToolFailure(ExitCode::USAGE, "unknown verb '" + name + "'; melnar-dict-mpi --help lists the verbs");
    return *verb;
}

/// Reads the command line. Returns the verb that does the work, or null and the requested text.
const RankVerb* read(const std::vector<RankVerb>& verbs, const std::vector<std::string>& arguments, std::string& text) {
    const std::string& first = arguments.front();
    if (first == "--version" || first == "-V")
        text = VERSION;
    else if (first == "--help" || first == "-h")
        text = getHelp(verbs);
    else {
        const RankVerb& verb = findVerb(verbs, first);
        if (readCommandLine(verb.m_description, {std::next(arguments.begin()), arguments.end()}) != Request::HELP)
            return &verb;
        text = makeHelpText(verb.m_description);
    }
    return nullptr;
}

/// Prints the error that ends the work as JSON, too, if JSON was requested.
ExitCode runVerb(const RankVerb& verb, const Ranks& ranks, StandardOutput& output) {
    try {
        return verb.m_run(ranks, output, std::cerr);
    } catch (const RankEnd& end) {
        if (const VerbDescription& description = verb.m_description;
            ranks.isFirst() && description.m_asksForJson != nullptr && *description.m_asksForJson)
            try {
                printError(end.m_cause, end.m_exitCode, description.m_jsonLayout, output);
            } catch (...) { // NOLINT(bugprone-empty-catch): the first failure is the one to report
            }
        throw;
    }
}

std::string join(const std::vector<std::string>& arguments) {
    std::string joined;
    for (const std::string& argument : arguments)
        appendText(argument, joined);
    return joined;
}

/// The first rank reads the command line before the others, so that only one reports an error in it. All command lines
/// must be the same, since joint operations depend on them.
ExitCode run(const std::vector<std::string>& arguments, const Ranks& ranks) {
    StandardOutput output(STDOUT_FILENO);
    const std::vector<RankVerb> verbs = makeRankVerbs();
    const RankVerb* verb = nullptr;
    const std::string ofFirst = ranks.broadcast(join(arguments));
    for (const bool isTurnOfFirst : {true, false})
        ranks.perform([&] {
            if (ranks.isFirst() != isTurnOfFirst)
                return;
            if (join(arguments) != ofFirst)
                throw ToolFailure(ExitCode::USAGE, "all ranks need the same command line; --inputs-of-rank names files "
                                                   "that one rank has");
            if (arguments.empty()) {
                if (ranks.isFirst())
                    std::cerr << getHelp(verbs);
                return;
            }
            std::string text;
            verb = read(verbs, arguments, text);
            if (!ranks.isFirst())
                return;
            output.write(text);
            output.flush();
        });
    if (arguments.empty())
        return ExitCode::USAGE;
    return verb == nullptr ? ExitCode::DONE : runVerb(*verb, ranks, output);
}

} // namespace

ExitCode runRankTool(int argumentCount, char** arguments) {
    const Ranks ranks(argumentCount, arguments);
    try {
        return run({arguments + 1, arguments + argumentCount}, ranks);
    } catch (const RankEnd& end) {
        return end.m_exitCode;
    } catch (...) {
        Ranks::abort(ranks.tellCurrentException()); // as others may wait for this one
    }
}
