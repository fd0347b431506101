#include "tools/melnar-dict-manual/Completions.h"

#include <string_view>

namespace {

constexpr const char* NOTE = "# Generated from the description of the command line; changes here are lost.\n";

std::vector<VerbDescription::Option> optionsOf(const VerbDescription& verb) {
    std::vector<VerbDescription::Option> options = verb.m_options;
    options.push_back(VerbDescription::getHelpOption());
    return options;
}

bool takesFiles(const VerbDescription& verb) {
    return !verb.m_operands.empty() && verb.m_operands.front().m_isFile;
}

std::string join(const std::vector<std::string>& words) {
    std::string joined;
    for (const std::string& word : words)
        joined += (joined.empty() ? "" : " ") + word;
    return joined;
}

/// Returns the text with each of these characters replaced by `replacement`, in which '?' stands for the character.
std::string replace(const std::string_view text, const std::string_view characters,
                    const std::string_view replacement) {
    std::string result;
    for (const char character : text)
        if (characters.find(character) == std::string_view::npos)
            result += character;
        else
            for (const char replacing : replacement)
                result += replacing == '?' ? character : replacing;
    return result;
}

/// Returns the text in single quotes, for bash and zsh.
std::string quote(const std::string_view text) {
    return "'" + replace(text, "'", "'\\?'") + "'";
}

/// Returns the text in single quotes, for fish.
std::string quoteForFish(const std::string_view text) {
    return "'" + replace(text, "'\\", "\\?") + "'";
}

std::string namesOfVerbs(const std::vector<Verb>& verbs) {
    std::string names;
    for (const Verb& verb : verbs)
        names += verb.m_description.m_name + ' ';
    return names + "help";
}

/// Returns the code that completes the value of the previous option.
void appendBashValue(std::string& script, const std::string& verb, const VerbDescription::Option& option) {
    script += "    '" + verb + ' ' + option.m_longName + "'";
    if (!option.m_shortName.empty())
        script += " | '" + verb + ' ' + option.m_shortName + "'";
    script += ") ";
    if (option.m_isFile)
        script += "compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- \"$current\"); ";
    else if (!option.m_choices.empty())
        script += "mapfile -t COMPREPLY < <(compgen -W '" + join(option.m_choices) + "' -- \"$current\"); ";
    script += "return ;;\n";
}

std::string zshAction(const bool isFile, const std::vector<std::string>& choices) {
    return isFile ? "_files" : choices.empty() ? " " : '(' + join(choices) + ')';
}

} // namespace

std::string makeBashCompletions(const std::vector<Verb>& verbs) {
    std::string script = std::string(NOTE) + R"(
_melnar_dict() {
    local verb=${COMP_WORDS[1]} current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]} options=
    COMPREPLY=()
    if [ "$COMP_CWORD" -eq 1 ] || { [ "$verb" = help ] && [ "$COMP_CWORD" -eq 2 ]; }; then
        mapfile -t COMPREPLY < <(compgen -W ')" +
                         namesOfVerbs(verbs) + R"( --help --version' -- "$current")
        return
    fi
    # --name=value is three words.
    if [ "$current" = = ]; then
        current=
    elif [ "$previous" = = ]; then
        previous=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    case "$verb $previous" in
)";
    for (const Verb& verb : verbs)
        for (const VerbDescription::Option& option : verb.m_description.m_options)
            if (!option.m_valueName.empty())
                appendBashValue(script, verb.m_description.m_name, option);
    script += "    esac\n    case \"$verb\" in\n";
    std::string verbsWithFiles;
    for (const Verb& verb : verbs) {
        script += "    " + verb.m_description.m_name + ") options='";
        for (const VerbDescription::Option& option : optionsOf(verb.m_description))
            script += option.m_longName + ' ';
        script += "' ;;\n";
        if (takesFiles(verb.m_description))
            verbsWithFiles += (verbsWithFiles.empty() ? "" : " | ") + verb.m_description.m_name;
    }
    return script + R"(    esac
    if [[ $current == -* ]]; then
        mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
        return
    fi
    case "$verb" in
    )" + verbsWithFiles +
           R"() compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    esac
}

complete -F _melnar_dict melnar-dict
)";
}

std::string makeZshCompletions(const std::vector<Verb>& verbs) {
    std::string script = "#compdef melnar-dict\n" + std::string(NOTE) + R"(
_melnar-dict() {
    local -a verbs=(
)";
    for (const Verb& verb : verbs)
        script += "        " + quote(verb.m_description.m_name + ':' + verb.m_description.m_purpose) + '\n';
    script += R"(        'help:tell what a verb does'
        '--help:list the verbs'
        '--version:tell the version'
    )
    if (( CURRENT == 2 )) || [[ $words[2] == help ]]; then
        _describe verb verbs
        return
    fi
    local verb=$words[2]
    shift words
    (( CURRENT-- ))
    case $verb in
)";
    for (const Verb& verb : verbs) {
        script += "    " + verb.m_description.m_name + ")\n        _arguments -s -S";
        for (const VerbDescription::Option& option : optionsOf(verb.m_description)) {
            const bool hasValue = !option.m_valueName.empty();
            const std::string text = '[' + replace(option.m_text, "[]:\\", "\\?") + ']';
            const std::string value =
                hasValue ? ':' + option.m_valueName + ':' + zshAction(option.m_isFile, option.m_choices) : "";
            const auto append = [&](const std::string& name, const char* const valueSign) {
                std::string word("*");
                word.append(name).append(hasValue ? valueSign : "").append(text).append(value);
                script.append(" \\\n            ").append(quote(word));
            };
            if (!option.m_shortName.empty())
                append(option.m_shortName, "+");
            append(option.m_longName, "=");
        }
        for (const VerbDescription::Operand& operand : verb.m_description.m_operands)
            script += " \\\n            " + quote((operand.m_isRepeated ? "*:" : ":") + operand.m_name + ':' +
                                                  zshAction(operand.m_isFile, {}));
        script += "\n        ;;\n";
    }
    return script + R"(    esac
}

_melnar-dict "$@"
)";
}

std::string makeFishCompletions(const std::vector<Verb>& verbs) {
    const std::string complete = "complete -c melnar-dict";
    std::string script = std::string(NOTE) + '\n' + complete + " -f\n";
    for (const Verb& verb : verbs) {
        const VerbDescription& description = verb.m_description;
        script += complete + " -n __fish_use_subcommand -a " + description.m_name + " -d " +
                  quoteForFish(description.m_purpose) + '\n';
    }
    script += complete + " -n __fish_use_subcommand -a help -d 'describe a verb'\n" + complete +
              " -n __fish_use_subcommand -s h -l help -d 'list the verbs'\n" + complete +
              " -n __fish_use_subcommand -s V -l version -d 'print the version'\n" + complete +
              " -n '__fish_seen_subcommand_from help' -a " + quoteForFish(namesOfVerbs(verbs)) + '\n';
    for (const Verb& verb : verbs) {
        const std::string behindVerb = complete + " -n '__fish_seen_subcommand_from " + verb.m_description.m_name + "'";
        for (const VerbDescription::Option& option : optionsOf(verb.m_description)) {
            script += behindVerb;
            if (!option.m_shortName.empty())
                script += " -s " + option.m_shortName.substr(1);
            script += " -l " + option.m_longName.substr(2);
            if (option.m_isFile)
                script += " -r -F";
            else if (!option.m_valueName.empty())
                script += " -x";
            if (!option.m_choices.empty())
                script += " -a " + quoteForFish(join(option.m_choices));
            script += " -d " + quoteForFish(option.m_text) + '\n';
        }
        if (takesFiles(verb.m_description))
            script += behindVerb + " -F\n";
    }
    return script;
}
