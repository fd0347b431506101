#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Goes through the arguments of a verb: options (`--name`, `--name=value`, `--name value`) and operands. A lone "-" is
/// an operand, and after "--" everything is.
///
/// Errors  A wrong command line is a ToolFailure with ExitCode::USAGE.
class ArgumentReader {
public:
    explicit ArgumentReader(std::vector<std::string> arguments) : m_arguments(std::move(arguments)) {}

    /// Moves to the next argument; false at the end. Refuses a value that the last option did not take.
    bool next();

    bool isOption() const noexcept { return m_isOption; }

    /// The option with its dashes but without its value, or the operand.
    const std::string& getArgument() const noexcept { return m_argument; }

    /// The value of the current option: what stands behind its '=', or else the next argument, whatever it looks like.
    std::string takeValue();

    /// The value as a number within bounds.
    uint64_t takeNumber(uint64_t minimum, uint64_t maximum);

    /// The value as a number of bytes above 0: a number with K, M, G or T for 1024 bytes and its powers, or without.
    uint64_t takeNumberOfBytes();

    /// Reports the current argument as unknown.
    [[noreturn]] void refuse() const;

private:
    [[noreturn]] void refuseValue(std::string_view value, const std::string& expected) const;

    std::vector<std::string> m_arguments;
    size_t m_nextIndex = 0;
    bool m_onlyOperands = false;
    bool m_isOption = false;
    std::string m_argument;
    std::optional<std::string> m_attachedValue;
};
