#include "tools/melnar-dict/shell/HelpText.h"

#include "tools/melnar-dict/shell/VerbDescription.h"

#include <string_view>

namespace {

constexpr size_t WIDTH = 80;
constexpr size_t OPTION_INDENTATION = 23;

/// Appends words in lines that start after `indentation` spaces, the first of them at the given column, with a line
/// feed at the end.
void appendWrapped(std::string& output, const std::string_view text, const size_t indentation, size_t column) {
    for (size_t begin = 0; begin < text.size();) {
        const size_t end = std::min(text.find_first_of(" \n", begin), text.size());
        const bool endsParagraph = text.substr(end).starts_with("\n\n");
        const std::string_view word = text.substr(begin, end - begin);
        if (!word.empty()) {
            if (column > indentation && column + 1 + word.size() > WIDTH) {
                output += '\n';
                column = 0;
            }
            if (column < indentation)
                output.append(indentation - column, ' ');
            else if (column > indentation)
                output += ' ';
            column = std::max(column, indentation) + (column > indentation ? 1 : 0) + word.size();
            output += word;
        }
        if (endsParagraph) {
            output += "\n\n";
            column = 0;
        }
        begin = end + (endsParagraph ? 2 : 1);
    }
    output += '\n';
}

void appendOption(std::string& output, const VerbDescription::Option& option) {
    std::string names = "  ";
    if (!option.m_shortName.empty())
        names += option.m_shortName + ", ";
    names += option.m_longName;
    if (!option.m_valueName.empty())
        names += ' ' + option.m_valueName;
    output += names;
    size_t column = names.size();
    if (column + 2 > OPTION_INDENTATION) {
        output += '\n';
        column = 0;
    }
    appendWrapped(output, option.m_text, OPTION_INDENTATION, column);
}

} // namespace

std::string makeHelpText(const VerbDescription& verb) {
    std::string help = "usage: " + verb.m_program + ' ' + verb.getUsage() + "\n\n";
    appendWrapped(help, verb.m_text, 0, 0);
    help += '\n';
    for (const VerbDescription::Option& option : verb.m_options)
        appendOption(help, option);
    appendOption(help, VerbDescription::getHelpOption());
    help += verb.m_examples.size() == 1 ? "\nExample:\n" : "\nExamples:\n";
    for (const VerbDescription::Example& example : verb.m_examples) {
        help += "\n  " + verb.m_program + ' ' + example.m_command + '\n';
        appendWrapped(help, example.m_text, 6, 0);
    }
    help += '\n';
    appendWrapped(help, "Exit codes: " + verb.m_exitCodes, 0, 0);
    return help;
}
