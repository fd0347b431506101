#include "tools/melnar-dict/shell/CommandLine.h"

#include "tools/melnar-dict/shell/Suggestion.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/platform/Unmovable.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <functional>
#include <iterator>
#include <map>
#include <utility>

namespace {

constexpr const char* FLAG_WITHOUT_VALUE = "true"; // CLI11's value for it

[[noreturn]] void refuse(const std::string& cause) {
    throw ToolFailure(ExitCode::USAGE, cause);
}

/// Hides syntax from CLI11 that it would interpret: it reads `--name=` as an option whose value is the next argument,
/// `--flag=true` as a flag, and `[a,b]` as a list. No argument of a process contains a null character, so one is
/// appended here, and removed wherever CLI11 returns the argument.
std::string protect(std::string argument) {
    if (argument.find('=') != std::string::npos || argument.ends_with(']'))
        argument.push_back('\0');
    return argument;
}

std::string unprotect(std::string argument) {
    if (argument.ends_with('\0'))
        argument.pop_back();
    return argument;
}

/// Reads the arguments of one verb with CLI11, which separates options, values and operands, and keeps their order.
/// Their meaning, and the messages for mistakes, are decided here.
class ArgumentReader : private Unmovable {
public:
    explicit ArgumentReader(const VerbDescription& verb) : m_verb(verb) {
        m_app.set_help_flag();
        m_app.allow_extras();
        m_help = m_app.add_flag("-h,--help")->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
        for (const VerbDescription::Option& option : verb.m_options) {
            const std::string names =
                option.m_shortName.empty() ? option.m_longName : option.m_shortName + ',' + option.m_longName;
            CLI::Option* const parsed = option.m_valueName.empty() ? m_app.add_flag(names) : m_app.add_option(names);
            parsed->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
            m_options.emplace(parsed, &option);
        }
        m_operands = m_app.add_option("operands")->expected(0, CLI::detail::expected_max_vector_size);
        m_operands->allow_extra_args();
    }

    Request read(const std::vector<std::string>& arguments) {
        parse(arguments);
        if (m_help->count() != 0)
            return Request::HELP;
        refuseTheUnknown();
        takeValues();
        refuseTheMissing();
        for (const std::function<void()>& check : m_verb.m_checks)
            check();
        return Request::WORK;
    }

private:
    void parse(const std::vector<std::string>& arguments) {
        std::vector<std::string> reversed;
        std::transform(arguments.rbegin(), arguments.rend(), std::back_inserter(reversed), &protect);
        try {
            m_app.parse(std::move(reversed));
        } catch (const CLI::ArgumentMismatch&) {
            refuse("option " + arguments.back() + " needs a value");
        } catch (const CLI::ParseError& error) {
            refuse(error.what());
        }
    }

    void refuseTheUnknown() const {
        for (const std::string& argument : m_app.remaining())
            if (argument != "--") // It is among what CLI11 has no option for.
            {
                const std::string name = argument.substr(0, argument.find('='));
                refuse("unknown option " + name + suggest(name, getOptionNames()));
            }
    }

    std::vector<std::string> getOptionNames() const {
        std::vector<std::string> names{"--help"};
        for (const VerbDescription::Option& option : m_verb.m_options)
            names.push_back(option.m_longName);
        return names;
    }

    void refuseTheMissing() const {
        for (const auto& [parsed, option] : m_options)
            if (option->m_isRequired && parsed->count() == 0)
                refuse(m_verb.m_name + " needs " + option->getUsage());
    }

    void takeValues() {
        std::map<const CLI::Option*, size_t> taken;
        size_t operandIndex = 0;
        for (const CLI::Option* const parsed : m_app.parse_order()) {
            const std::string& result = parsed->results().at(taken[parsed]++);
            if (parsed == m_operands)
                takeOperand(unprotect(result), operandIndex);
            else if (const VerbDescription::Option& option = *m_options.at(parsed);
                     option.m_valueName.empty() && result != FLAG_WITHOUT_VALUE)
                refuse("option " + option.m_longName + " takes no value");
            else
                option.m_take(unprotect(result));
        }
        // A missing operand is reported only after the existing arguments have been checked.
        if (operandIndex < m_verb.m_operands.size() &&
            !(m_verb.m_operands[operandIndex].m_isRepeated && m_hasRepeatedOperand))
            refuse(m_verb.m_name + " needs " + m_verb.m_operands[operandIndex].m_noun);
    }

    void takeOperand(const std::string& value, size_t& operandIndex) {
        if (operandIndex == m_verb.m_operands.size())
            refuse(m_verb.m_name + " does not take '" + value + "'");
        const VerbDescription::Operand& operand = m_verb.m_operands[operandIndex];
        operand.m_take(value);
        if (operand.m_isRepeated)
            m_hasRepeatedOperand = true;
        else
            ++operandIndex;
    }

    const VerbDescription& m_verb;
    CLI::App m_app;
    CLI::Option* m_help = nullptr;
    CLI::Option* m_operands = nullptr;
    std::map<const CLI::Option*, const VerbDescription::Option*> m_options;
    bool m_hasRepeatedOperand = false;
};

} // namespace

Request readCommandLine(const VerbDescription& verb, const std::vector<std::string>& arguments) {
    return ArgumentReader(verb).read(arguments);
}
