#include "tools/melnar-dict/load/LoadOutputs.h"

#include "tools/melnar-dict/input/PackedFormat.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/StandardStream.h"

#include "Engine/core/data-store/sharded/ShardManifest.h"

namespace {

/// Refuses another output than the dictionary that would destroy something.
void checkOtherOutput(const LoadOptions& options, const std::string& outputName) {
    refusePackedOutput(outputName);
    const OutputCheck check(outputName, options.m_output.m_isForced);
    for (const auto& [fileName, format] : options.m_files)
        check.refuseInput(fileName);
    if (!options.m_intoName.empty())
        check.refuseInput(getDictionaryFileName(options, options.m_intoName));
    if (!options.m_output.m_outputName.empty()) {
        const std::string dictionaryName = getDictionaryFileName(options, options.m_output.m_outputName);
        OutputCheck(dictionaryName, options.m_makesShards || options.m_output.m_isForced).refuseOutput(outputName);
        check.refuseOutput(dictionaryName);
    }
    check.refuseDictionary();
}

} // namespace

std::string getDictionaryFileName(const LoadOptions& options, const std::string& dictionaryName) {
    return options.m_makesShards ? dictionaryName + '/' + ShardManifest::FILE_NAME : dictionaryName;
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
