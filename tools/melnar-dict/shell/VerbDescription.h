#pragma once

#include "tools/melnar-dict/shell/Json.h"

#include <cstdint>
#include <functional>
#include <string>
#include <utility>
#include <vector>

/// The command line of a verb: the source of argument parsing, --help, the manual page and completions.
///
/// To add an option   Add a member to the verb's options, and to its describe function a line that binds the option to
///                    the member. An option of several verbs has that line in SharedOptions.cpp.
/// To add a verb      Write XOptions, describeX and runX, as StatsCommand does, and add a line to Verbs.cpp.
///
/// Texts      Plain sentences. Lines are joined and wrapped when printed; a blank line ends a paragraph.
/// Ownership  Refers to the variables that operands and options are bound to.
/// Errors     A TakeValue function refuses a value with a ToolFailure with ExitCode::USAGE.
struct VerbDescription {
    using TakeValue = std::function<void(const std::string& value)>;

    struct Operand {
        std::string m_name; // as usage shows it
        std::string m_noun; // with its article, for messages
        bool m_isRepeated;  // once or more often, and then the last one
        TakeValue m_take;
        bool m_isFile = false; // whether completions offer file names
    };

    struct Option {
        std::string m_shortName; // with its dash; empty for most
        std::string m_longName;  // with its dashes
        std::string m_valueName; // empty for an option without a value
        std::string m_text;
        TakeValue m_take; // is called each time the option is given, in the order of all arguments
        bool m_isRequired = false;
        bool m_isFile = false;                // whether completions offer file names for the value
        std::vector<std::string> m_choices{}; // or these values

        /// Returns the form that usage shows, such as: -o OUT.
        std::string getUsage() const;
    };

    struct Example {
        std::string m_command; // after the program's name
        std::string m_text;
    };

    std::string m_name;
    std::string m_purpose; // for the list of verbs, without a full stop
    std::string m_text;
    std::string m_exitCodes;
    std::vector<Example> m_examples;
    std::vector<Operand> m_operands{};
    std::vector<Option> m_options{};
    std::vector<std::function<void()>> m_checks{}; // are called when all arguments have been taken
    const bool* m_asksForJson = nullptr;           // whether JSON was asked for; null for a verb that prints none
    JsonLayout m_jsonLayout{};
    std::string m_program = "melnar-dict"; // that has the verb

    /// Adds a file operand, for which "-" is not allowed.
    void addFileOperand(const std::string& name, const std::string& noun, std::string& variable);
    void addOperands(const std::string& name, const std::string& noun, std::vector<std::string>& variable);

    /// `names` is the long name, or the short one, a comma and the long one. If an option that is bound to a variable
    /// is given several times, the last one counts.
    void addOption(const std::string& names, const std::string& valueName, const std::string& text, TakeValue take);
    /// Adds an option with a text that is not empty.
    void addText(const std::string& names, const std::string& valueName, const std::string& text,
                 std::string& variable);
    /// Adds an option with the name of a file, for which "-" is not allowed.
    void addFile(const std::string& names, const std::string& valueName, const std::string& text,
                 std::string& variable);
    void addFlag(const std::string& names, const std::string& text, bool& variable);

    /// The variable is a uint64_t, or an optional one.
    template<class Variable>
    void addNumber(const std::string& names, const std::string& valueName, const std::string& text, Variable& variable,
                   const uint64_t minimum, const uint64_t maximum) {
        addOption(names, valueName, text, [names, &variable, minimum, maximum](const std::string& value) {
            variable = requireNumber(names, value, minimum, maximum);
        });
    }

    /// Adds an option with one of a few words, each of which stands for a value. The variable may be an optional one.
    template<class Variable, class Value>
    void addChoice(const std::string& names, const std::string& valueName, const std::string& text, Variable& variable,
                   const std::vector<std::pair<std::string, Value>>& choices) {
        std::vector<std::string> words;
        words.reserve(choices.size());
        for (const auto& [word, meaning] : choices)
            words.push_back(word);
        addOption(names, valueName, text, [names, words, choices, &variable](const std::string& value) {
            variable = choices[requireChoice(names, value, words)].second;
        });
        m_options.back().m_choices = std::move(words);
    }

    /// Returns the option that every verb has in addition to its own.
    static Option getHelpOption() { return {"-h", "--help", "", "print this text", {}}; }

    /// Makes the option with this name a required one.
    void requireOption(const std::string& longName);

    /// Returns the names, options and operands, after the tool's name.
    std::string getUsage() const;

    /// Adds an option with a number of bytes: a number with or without K, M, G or T for 1024 bytes and its powers.
    void addSize(const std::string& names, const std::string& text, uint64_t& variable);

    /// Returns the index of a value among the choices.
    static size_t requireChoice(const std::string& option, const std::string& value,
                                const std::vector<std::string>& choices);

    static uint64_t requireNumber(const std::string& option, const std::string& value, uint64_t minimum,
                                  uint64_t maximum);
};
