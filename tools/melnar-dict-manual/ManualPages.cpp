#include "tools/melnar-dict-manual/ManualPages.h"

#include "Engine/core/platform/Version.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace {

/// Escapes characters that roff would interpret or print as others.
std::string escape(const std::string_view text) {
    std::string result;
    for (const char character : text)
        switch (character) {
        case '\\':
            result += "\\e";
            break;
        case '-':
            result += "\\-";
            break;
        case '\'':
            result += "\\(aq";
            break;
        case '"':
            result += "\\(dq";
            break;
        case '^':
            result += "\\(ha";
            break;
        case '~':
            result += "\\(ti";
            break;
        case '`':
            result += "\\(ga";
            break;
        default:
            result += character;
        }
    return result;
}

/// Appends paragraphs, which are separated by a blank line, each as one line.
void appendText(std::string& page, const std::string_view text) {
    std::string line;
    const auto endLine = [&] {
        if (!line.empty())
            page += (line.front() == '.' ? "\\&" : "") + line + '\n';
        line.clear();
    };
    size_t numberOfLineFeeds = 0;
    for (const char character : text)
        if (character == '\n')
            ++numberOfLineFeeds;
        else {
            if (numberOfLineFeeds > 1 && !line.empty()) {
                endLine();
                page += ".PP\n";
            } else if (numberOfLineFeeds == 1 && !line.empty())
                line += ' ';
            numberOfLineFeeds = 0;
            line += escape({&character, 1});
        }
    endLine();
}

std::string bold(const std::string_view text) {
    return "\\fB" + escape(text) + "\\fR";
}

void appendTitle(std::string& page, std::string name, const std::string_view purpose) {
    page += ".\\\" Generated from the description of the command line; changes here are lost.\n";
    std::string upperCaseName = name;
    std::transform(name.begin(), name.end(), upperCaseName.begin(),
                   [](const unsigned char character) { return static_cast<char>(std::toupper(character)); });
    // Words that are hyphenated cannot be searched for.
    page += ".nr HY 0\n.TH " + upperCaseName +
            " 1 \"\" \"melnar\\-dict " MELNAR_VERSION_STRING "\" \"User Commands\"\n.SH NAME\n" + escape(name) +
            " \\- " + escape(purpose) + '\n';
}

void appendOption(std::string& page, const VerbDescription::Option& option) {
    page += ".TP\n";
    if (!option.m_shortName.empty())
        page += bold(option.m_shortName) + ", ";
    page += bold(option.m_longName);
    if (!option.m_valueName.empty())
        page += " \\fI" + escape(option.m_valueName) + "\\fR";
    page += '\n';
    appendText(page, option.m_text);
}

} // namespace

std::string makeProgramPage(const std::string& starter, const std::string& purpose,
                            const std::vector<VerbDescription>& verbs) {
    const std::string& program = verbs.front().m_program;
    std::string page;
    appendTitle(page, program, purpose);
    page += ".SH SYNOPSIS\n" + bold(starter + program) + " \\fIVERB\\fR [\\fIARGUMENT\\fR...]\n.SH VERBS\n";
    std::string seeAlso;
    for (const VerbDescription& verb : verbs) {
        page += ".TP\n" + bold(verb.m_name) + '\n';
        appendText(page, verb.m_purpose);
        seeAlso += (seeAlso.empty() ? "" : ",\n") + bold(getNameOfPage(verb)) + "(1)";
    }
    page += ".SH OPTIONS\n";
    appendOption(page, {"-h", "--help", "", "Lists the verbs; after a verb, describes it.", {}});
    appendOption(page, {"-V", "--version", "", "Prints the version.", {}});
    return page + ".SH SEE ALSO\n" + seeAlso + '\n';
}

std::string getNameOfPage(const VerbDescription& verb) {
    return verb.m_program + '-' + verb.m_name;
}

std::string makeVerbPage(const VerbDescription& verb) {
    std::string page;
    appendTitle(page, getNameOfPage(verb), verb.m_purpose);
    page += ".SH SYNOPSIS\n" + bold(verb.m_program) + ' ' + escape(verb.getUsage()) + "\n.SH DESCRIPTION\n";
    appendText(page, verb.m_text);
    page += ".SH OPTIONS\n";
    for (const VerbDescription::Option& option : verb.m_options)
        appendOption(page, option);
    appendOption(page, VerbDescription::getHelpOption());
    page += ".SH EXIT STATUS\n";
    appendText(page, verb.m_exitCodes);
    page += ".SH EXAMPLES\n";
    for (const VerbDescription::Example& example : verb.m_examples) {
        page += ".TP\n" + bold(verb.m_program + ' ' + example.m_command) + '\n';
        appendText(page, example.m_text);
    }
    return page + ".SH SEE ALSO\n" + bold(verb.m_program) + "(1)\n";
}
