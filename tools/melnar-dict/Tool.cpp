#include "tools/melnar-dict/Tool.h"

#include "tools/melnar-dict/Verbs.h"
#include "tools/melnar-dict/pieces/InputError.h"
#include "tools/melnar-dict/shell/CommandLine.h"
#include "tools/melnar-dict/shell/HelpText.h"
#include "tools/melnar-dict/shell/StandardOutput.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <iostream>
#include <iterator>
#include <string_view>

#include <unistd.h>

namespace {

constexpr const char* VERSION = "melnar-dict 0.1.0\n";

std::string getHelp() {
    std::string help = "usage: melnar-dict VERB [ARGUMENT...]\n\n";
    for (const Verb& verb : makeVerbs())
        help.append("  ")
            .append(verb.m_description.m_name)
            .append(10 - verb.m_description.m_name.size(), ' ')
            .append(verb.m_description.m_purpose)
            .append("\n");
    return help + "\nmelnar-dict VERB --help tells more; melnar-dict --version tells the version.\n";
}

ExitCode print(const std::string_view text, StandardOutput& output) {
    output.write(text);
    output.flush();
    return ExitCode::DONE;
}

ExitCode run(const std::vector<std::string>& arguments, StandardOutput& output) {
    if (arguments.empty()) {
        std::cerr << getHelp();
        return ExitCode::USAGE;
    }
    if (arguments.front() == "--help" || arguments.front() == "--version")
        return print(arguments.front() == "--help" ? getHelp() : VERSION, output);
    for (const Verb& verb : makeVerbs())
        if (arguments.front() == verb.m_description.m_name)
            return readCommandLine(verb.m_description, {std::next(arguments.begin()), arguments.end()}) == Request::HELP
                       ? print(makeHelpText(verb.m_description), output)
                       : verb.m_run(output, std::cerr);
    throw ToolFailure(ExitCode::USAGE, "unknown verb '" + arguments.front() + "'; melnar-dict --help lists them");
}

} // namespace

ExitCode runTool(const std::vector<std::string>& arguments) {
    try {
        StandardOutput output(STDOUT_FILENO);
        return run(arguments, output);
    } catch (const ToolFailure& failure) {
        std::cerr << "melnar-dict: " << failure.what() << '\n';
        return failure.getExitCode();
    } catch (...) {
        std::cerr << "melnar-dict: " << inputErrorOfCurrentException().m_cause << '\n';
        return ExitCode::FAILURE;
    }
}
