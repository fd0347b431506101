#include "tools/melnar-dict/saved/DictionaryArguments.h"

#include "tools/melnar-dict/shell/ArgumentReader.h"
#include "tools/melnar-dict/shell/PhysicalMemory.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <utility>

DictionaryArguments DictionaryArguments::parse(const Grammar& grammar, std::vector<std::string> arguments) {
    DictionaryArguments options;
    options.m_memoryLimit = getPhysicalMemory();
    ArgumentReader reader(std::move(arguments));
    while (reader.next()) {
        const std::string& argument = reader.getArgument();
        if (!reader.isOption())
            options.m_operands.push_back(argument);
        else if (argument == "--memory-limit")
            options.m_memoryLimit = reader.takeNumberOfBytes();
        else if (argument == "--json" && grammar.m_hasJson)
            options.m_asksForJson = true;
        else if ((argument == "-o" || argument == "--output") && grammar.m_hasOutput)
            options.m_outputName = reader.takeValue();
        else if (argument == "--wait" && grammar.m_hasOutput)
            options.m_waits = true;
        else if (argument == "--force" && grammar.m_hasOutput)
            options.m_isForced = true;
        else if (argument == "--help")
            options.m_asksForHelp = true;
        else
            reader.refuse();
    }
    if (options.m_asksForHelp)
        return options;
    if (options.m_operands.empty())
        throw ToolFailure(ExitCode::USAGE, std::string(grammar.m_verb) + " needs a dictionary");
    options.m_dictionaryName = std::move(options.m_operands.front());
    options.m_operands.erase(options.m_operands.begin());
    if (options.m_operands.size() < grammar.m_minimumNumberOfOperands)
        throw ToolFailure(ExitCode::USAGE, std::string(grammar.m_verb) + " needs something to look for");
    if (options.m_operands.size() > grammar.m_maximumNumberOfOperands)
        throw ToolFailure(ExitCode::USAGE, std::string(grammar.m_verb) + " does not take '" +
                                               options.m_operands[grammar.m_maximumNumberOfOperands] + "'");
    return options;
}
