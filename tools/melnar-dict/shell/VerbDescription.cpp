#include "tools/melnar-dict/shell/VerbDescription.h"

#include "tools/melnar-dict/shell/NumberText.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace {

std::string_view longNameIn(const std::string_view names) {
    return names.substr(names.find(',') + 1);
}

[[noreturn]] void refuseValue(const std::string_view names, const std::string& expected, const std::string& value) {
    throw ToolFailure(ExitCode::USAGE,
                      "option " + std::string(longNameIn(names)) + " needs " + expected + ", not '" + value + "'");
}

const std::string& requireFileName(const std::string& name, const std::string& value) {
    if (value == STANDARD_STREAM)
        throw ToolFailure(ExitCode::USAGE, name + " must be a file; '-' is standard input or output, and './-' is a "
                                                  "file of that name");
    return value;
}

} // namespace

void VerbDescription::addFileOperand(const std::string& name, const std::string& noun, std::string& variable) {
    m_operands.push_back({name, noun, false,
                          [name, &variable](const std::string& value) { variable = requireFileName(name, value); },
                          true});
}

void VerbDescription::addOperands(const std::string& name, const std::string& noun,
                                  std::vector<std::string>& variable) {
    m_operands.push_back({name, noun, true, [&variable](const std::string& value) { variable.push_back(value); }});
}

void VerbDescription::addOption(const std::string& names, const std::string& valueName, const std::string& text,
                                TakeValue take) {
    const std::string_view longName = longNameIn(names);
    const size_t numberOfOtherCharacters = names.size() - longName.size();
    m_options.push_back({names.substr(0, numberOfOtherCharacters == 0 ? 0 : numberOfOtherCharacters - 1),
                         std::string(longName), valueName, text, std::move(take), false});
}

void VerbDescription::addText(const std::string& names, const std::string& valueName, const std::string& text,
                              std::string& variable) {
    addOption(names, valueName, text, [names, &variable](const std::string& value) {
        if (value.empty()) // as from an unset variable of a shell
            throw ToolFailure(ExitCode::USAGE, "the value of option " + std::string(longNameIn(names)) + " is empty");
        variable = value;
    });
}

void VerbDescription::addFile(const std::string& names, const std::string& valueName, const std::string& text,
                              std::string& variable) {
    addText(names, valueName, text, variable);
    m_options.back().m_take = [take = m_options.back().m_take, valueName](const std::string& value) {
        take(requireFileName(valueName, value));
    };
    m_options.back().m_isFile = true;
}

void VerbDescription::addFlag(const std::string& names, const std::string& text, bool& variable) {
    addOption(names, "", text, [&variable](const std::string&) { variable = true; });
}

void VerbDescription::addSize(const std::string& names, const std::string& text, uint64_t& variable) {
    addOption(names, "SIZE", text, [names, &variable](const std::string& value) {
        const std::optional<uint64_t> numberOfBytes = parseNumberOfBytes(value);
        if (!numberOfBytes)
            refuseValue(names, "a number of bytes, such as 4096, 512M or 16G", value);
        variable = *numberOfBytes;
    });
}

void VerbDescription::requireOption(const std::string& longName) {
    for (Option& option : m_options)
        option.m_isRequired |= option.m_longName == longName;
}

std::string VerbDescription::Option::getUsage() const {
    return (m_shortName.empty() ? m_longName : m_shortName) + (m_valueName.empty() ? "" : ' ' + m_valueName);
}

std::string VerbDescription::getUsage() const {
    std::string usage = m_name + " [OPTION...]";
    for (const Option& option : m_options)
        if (option.m_isRequired)
            usage += ' ' + option.getUsage();
    for (const Operand& operand : m_operands)
        usage += ' ' + operand.m_name + (operand.m_isRepeated ? "..." : "");
    return usage;
}

size_t VerbDescription::requireChoice(const std::string& option, const std::string& value,
                                      const std::vector<std::string>& choices) {
    const auto found = std::find(choices.begin(), choices.end(), value);
    if (found == choices.end()) {
        std::string expected;
        for (const std::string& choice : choices)
            expected += (expected.empty() ? "" : &choice == &choices.back() ? " or " : ", ") + choice;
        refuseValue(option, expected, value);
    }
    return static_cast<size_t>(found - choices.begin());
}

uint64_t VerbDescription::requireNumber(const std::string& option, const std::string& value, const uint64_t minimum,
                                        const uint64_t maximum) {
    const std::optional<uint64_t> number = parseNumber(value);
    if (!number || *number < minimum || *number > maximum)
        refuseValue(option, "a number from " + std::to_string(minimum) + " to " + std::to_string(maximum), value);
    return *number;
}
