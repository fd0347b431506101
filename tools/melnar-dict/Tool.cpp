#include "tools/melnar-dict/Tool.h"

#include "tools/melnar-dict/load/LoadCommand.h"
#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/rewrite/RewriteCommand.h"
#include "tools/melnar-dict/saved/CompactCommand.h"
#include "tools/melnar-dict/saved/DumpCommand.h"
#include "tools/melnar-dict/saved/GetCommand.h"
#include "tools/melnar-dict/saved/LookupCommand.h"
#include "tools/melnar-dict/saved/StatsCommand.h"
#include "tools/melnar-dict/saved/VerifyCommand.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <cstring>
#include <iostream>
#include <iterator>

#include <unistd.h>

namespace {

constexpr const char* VERSION = "melnar-dict 0.1.0\n";

/// A verb gets the arguments behind its name.
struct Verb {
    const char* m_name;
    const char* m_purpose;
    ExitCode (*m_run)(std::vector<std::string> arguments, StandardOutput& output, std::ostream& errorOutput);
};

constexpr Verb VERBS[] = {
    {"load", "read RDF files and give their string literals resource IDs", &runLoad},
    {"get", "print the literals of resource IDs", &runGet},
    {"lookup", "print the resource IDs of literals", &runLookup},
    {"dump", "print all resource IDs with their literals", &runDump},
    {"stats", "describe a saved dictionary", &runStats},
    {"compact", "give a saved dictionary dense resource IDs", &runCompact},
    {"verify", "check a saved dictionary", &runVerify},
    {"encode", "put resource IDs in the place of literals", &runEncode},
    {"decode", "put the literals back", &runDecode},
};

std::string getHelp() {
    std::string help = "usage: melnar-dict VERB [ARGUMENT...]\n\n";
    for (const Verb& verb : VERBS)
        help.append("  ")
            .append(verb.m_name)
            .append(10 - std::strlen(verb.m_name), ' ')
            .append(verb.m_purpose)
            .append("\n");
    return help + "\nmelnar-dict VERB --help tells more; melnar-dict --version tells the version.\n";
}

ExitCode run(std::vector<std::string> arguments, StandardOutput& output) {
    if (arguments.empty()) {
        std::cerr << getHelp();
        return ExitCode::USAGE;
    }
    if (arguments.front() == "--help" || arguments.front() == "--version") {
        output.write(arguments.front() == "--help" ? getHelp() : VERSION);
        output.flush();
        return ExitCode::DONE;
    }
    for (const Verb& verb : VERBS)
        if (arguments.front() == verb.m_name)
            return verb.m_run({std::next(arguments.begin()), arguments.end()}, output, std::cerr);
    throw ToolFailure(ExitCode::USAGE, "unknown verb '" + arguments.front() + "'; melnar-dict --help lists them");
}

} // namespace

ExitCode runTool(std::vector<std::string> arguments) {
    try {
        StandardOutput output(STDOUT_FILENO);
        return run(std::move(arguments), output);
    } catch (const ToolFailure& failure) {
        std::cerr << "melnar-dict: " << failure.what() << '\n';
        return failure.getExitCode();
    } catch (...) {
        std::cerr << "melnar-dict: " << inputErrorOfCurrentException().m_cause << '\n';
        return ExitCode::FAILURE;
    }
}
