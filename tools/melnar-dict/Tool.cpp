#include "tools/melnar-dict/Tool.h"

#include "tools/melnar-dict/Verbs.h"
#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/HelpText.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/Suggestion.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/platform/Version.h"

#include <iostream>
#include <iterator>
#include <string_view>

#include <unistd.h>

namespace {

constexpr const char* VERSION = "melnar-dict " MELNAR_VERSION_STRING "\n";

std::string getHelp(const std::vector<Verb>& verbs) {
    std::string help = "usage: melnar-dict VERB [ARGUMENT...]\n\n";
    for (const Verb& verb : verbs)
        help.append("  ")
            .append(verb.m_description.m_name)
            .append(11 - verb.m_description.m_name.size(), ' ')
            .append(verb.m_description.m_purpose)
            .append("\n");
    return help + "\nmelnar-dict help VERB or melnar-dict VERB --help prints details; melnar-dict --version prints "
                  "the version.\n\nExample:\n\n  melnar-dict load dump.nt.gz -o dump.dict\n"
                  "  melnar-dict lookup dump.dict '\"Berlin\"@de'\n";
}

const Verb& findVerb(const std::vector<Verb>& verbs, const std::string& name) {
    std::vector<std::string> names{"help"};
    for (const Verb& verb : verbs) {
        if (verb.m_description.m_name == name)
            return verb;
        names.push_back(verb.m_description.m_name);
    }
    const std::string suggestion = suggest(name, names);
    throw ToolFailure(ExitCode::USAGE, (name.starts_with('-') ? "expected a verb, found '" : "unknown verb '") + name +
                                           "'" +
                                           (suggestion.empty() ? "; melnar-dict --help lists the verbs" : suggestion));
}

ExitCode print(const std::string_view text, StandardOutput& output) {
    output.write(text);
    output.flush();
    return ExitCode::DONE;
}

ToolFailure failureOfCurrentException() {
    const InputError error = inputErrorOfCurrentException();
    return {error.m_exitCode, error.m_cause};
}

/// Prints the error that ends the work as JSON, too, if JSON was requested.
ExitCode runVerb(const Verb& verb, StandardOutput& output) {
    try {
        return verb.m_run(output, std::cerr);
    } catch (...) {
        if (const VerbDescription& description = verb.m_description;
            description.m_asksForJson != nullptr && *description.m_asksForJson)
            try {
                const ToolFailure failure = failureOfCurrentException();
                printError(failure.what(), failure.getExitCode(), description.m_jsonLayout, output);
            } catch (...) { // NOLINT(bugprone-empty-catch): the first failure is the one to report
            }
        throw;
    }
}

ExitCode run(const std::vector<std::string>& arguments, StandardOutput& output) {
    const std::vector<Verb> verbs = makeVerbs();
    if (arguments.empty()) {
        std::cerr << getHelp(verbs);
        return ExitCode::USAGE;
    }
    const std::string& first = arguments.front();
    if (first == "--version" || first == "-V")
        return print(VERSION, output);
    const bool asksForHelp = first == "help" || first == "--help" || first == "-h";
    if (asksForHelp && arguments.size() == 1)
        return print(getHelp(verbs), output);
    if (asksForHelp)
        return print(makeHelpText(findVerb(verbs, arguments[1]).m_description), output);
    const Verb& verb = findVerb(verbs, first);
    return readCommandLine(verb.m_description, {std::next(arguments.begin()), arguments.end()}) == Request::HELP
               ? print(makeHelpText(verb.m_description), output)
               : runVerb(verb, output);
}

} // namespace

ExitCode runTool(const std::vector<std::string>& arguments) {
    try {
        StandardOutput output(STDOUT_FILENO);
        return run(arguments, output);
    } catch (...) {
        const ToolFailure failure = failureOfCurrentException();
        std::cerr << "melnar-dict: " << toPrintableLines(failure.what()) << '\n';
        return failure.getExitCode();
    }
}
