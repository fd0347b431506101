#include "tools/melnar-dict/load/LoadOutputs.h"

#include "tools/melnar-dict/input/PackedFormat.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <filesystem>
#include <system_error>

namespace {

/// Refuses an output other than the dictionary that would destroy something.
void checkOtherOutput(const LoadOptions& options, const std::string& outputName) {
    refusePackedOutput(outputName);
    if (options.m_makesShards && isInFolder(outputName, options.m_output.m_outputName))
        throw ToolFailure(ExitCode::USAGE, "'" + outputName + "' is in the folder of the dictionary");
    const OutputCheck check(outputName, options.m_output.m_isForced);
    for (const auto& [fileName, format] : options.m_files)
        check.refuseInput(fileName);
    if (!options.m_intoName.empty())
        check.refuseInput(options.m_intoName);
    if (!options.m_makesShards && !options.m_output.m_outputName.empty()) {
        OutputCheck(options.m_output.m_outputName, options.m_output.m_isForced).refuseOutput(outputName);
        check.refuseOutput(options.m_output.m_outputName);
    }
    check.refuseDictionary();
}

} // namespace

bool isInFolder(const std::string& fileName, const std::string& folderName) {
    std::error_code error; // A folder that does not exist has no files.
    const std::filesystem::path path = std::filesystem::weakly_canonical(std::filesystem::absolute(fileName), error);
    return std::filesystem::equivalent(path.parent_path(), folderName, error);
}

void checkOtherOutputs(const LoadOptions& options) {
    const bool hasRejectedFile = !options.m_rejectedName.empty();
    const bool hasIdFile = !options.m_idsName.empty() && options.m_idsName != STANDARD_STREAM;
    if (hasRejectedFile)
        checkOtherOutput(options, options.m_rejectedName);
    if (hasIdFile)
        checkOtherOutput(options, options.m_idsName);
    if (hasRejectedFile && hasIdFile)
        OutputCheck(options.m_idsName, options.m_output.m_isForced).refuseOutput(options.m_rejectedName);
    if (options.m_idsName == STANDARD_STREAM)
        for (const auto& [fileName, format] : options.m_files)
            OutputCheck::ofStandardOutput().refuseInput(fileName);
}
