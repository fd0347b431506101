#include "tools/melnar-dict/rewrite/RewriteOptions.h"

#include "tools/melnar-dict/shell/ArgumentReader.h"
#include "tools/melnar-dict/shell/PhysicalMemory.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <optional>
#include <thread>
#include <utility>

namespace {

constexpr uint64_t MAXIMUM_NUMBER_OF_THREADS = 1024;

std::optional<RdfFormat> lineFormat(const std::optional<RdfFormat> format) {
    return format && isLineFormat(*format) ? format : std::nullopt;
}

} // namespace

RewriteOptions RewriteOptions::parse(const std::string& verb, std::vector<std::string> arguments) {
    RewriteOptions options;
    options.m_numberOfThreads = std::max(1u, std::thread::hardware_concurrency());
    options.m_memoryLimit = getPhysicalMemory();
    std::optional<RdfFormat> format;
    std::vector<std::string> fileNames;
    ArgumentReader reader(std::move(arguments));
    while (reader.next()) {
        const std::string& argument = reader.getArgument();
        if (!reader.isOption())
            fileNames.push_back(argument);
        else if (argument == "-d" || argument == "--dictionary")
            options.m_dictionaryName = reader.takeValue();
        else if (argument == "-o" || argument == "--output")
            options.m_outputName = reader.takeValue();
        else if (argument == "--format") {
            const std::string name = reader.takeValue();
            format = lineFormat(formatOfName(name));
            if (!format)
                throw ToolFailure(ExitCode::USAGE, "option --format needs ntriples or nquads, not '" + name + "'");
        } else if (argument == "--threads")
            options.m_numberOfThreads = reader.takeNumber(1, MAXIMUM_NUMBER_OF_THREADS);
        else if (argument == "--memory-limit")
            options.m_memoryLimit = reader.takeNumberOfBytes();
        else if (argument == "--max-line")
            options.m_maximumLine = reader.takeNumberOfBytes();
        else if (argument == "--wait")
            options.m_waits = true;
        else if (argument == "--force")
            options.m_isForced = true;
        else if (argument == "--help")
            options.m_asksForHelp = true;
        else
            reader.refuse();
    }
    if (options.m_asksForHelp)
        return options;
    if (fileNames.empty())
        throw ToolFailure(ExitCode::USAGE, verb + " needs a file");
    if (options.m_dictionaryName.empty())
        throw ToolFailure(ExitCode::USAGE, verb + " needs a dictionary: -d DICTIONARY");
    if (options.m_outputName.empty())
        throw ToolFailure(ExitCode::USAGE, verb + " needs a file to write: -o OUT");
    if (std::count(fileNames.begin(), fileNames.end(), "-") > 1)
        throw ToolFailure(ExitCode::USAGE, "standard input can be read only once");
    for (const std::string& fileName : fileNames) {
        const std::optional<RdfFormat> fileFormat = format ? format : lineFormat(formatOfFile(fileName));
        if (!fileFormat)
            throw ToolFailure(ExitCode::USAGE, "'" + fileName + "' is neither .nt nor .nq; give its --format");
        options.m_files.emplace_back(fileName, *fileFormat);
    }
    return options;
}
