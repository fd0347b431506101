#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

/// What the command line of a verb that works on a saved dictionary asks for: the dictionary's file, operands of the
/// verb, and options that such verbs have in common.
struct DictionaryArguments {
    /// What a verb understands beside --memory-limit and --help.
    struct Grammar {
        const char* m_verb;
        size_t m_minimumNumberOfOperands = 0;
        size_t m_maximumNumberOfOperands = 0;
        bool m_hasJson = false;
        bool m_hasOutput = false;
    };

    std::string m_dictionaryName; // empty only when help is asked for
    std::vector<std::string> m_operands;
    uint64_t m_memoryLimit = 0;
    bool m_asksForJson = false;
    bool m_asksForHelp = false;
    std::optional<std::string> m_outputName;
    bool m_waits = false;    // for another process that writes the output
    bool m_isForced = false; // replaces what is not a dictionary

    /// A wrong command line is a ToolFailure with ExitCode::USAGE.
    static DictionaryArguments parse(const Grammar& grammar, std::vector<std::string> arguments);
};
