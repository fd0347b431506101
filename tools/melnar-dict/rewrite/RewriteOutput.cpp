#include "tools/melnar-dict/rewrite/RewriteOutput.h"

#include "tools/melnar-dict/input/PackedFormat.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/StandardStream.h"

namespace {

bool isStandardOutput(const OutputOptions& options) {
    return options.m_outputName == STANDARD_STREAM;
}

void check(const OutputOptions& options, const std::vector<std::string>& inputNames) {
    refusePackedOutput(options.m_outputName);
    const OutputCheck check = isStandardOutput(options) ? OutputCheck::ofStandardOutput()
                                                        : OutputCheck(options.m_outputName, options.m_isForced);
    for (const std::string& inputName : inputNames)
        check.refuseInput(inputName);
    check.refuseDictionary();
}

} // namespace

RewriteOutput::RewriteOutput(const OutputOptions& options, const std::vector<std::string>& inputNames,
                             StandardOutput& standardOutput, std::ostream& errorOutput)
    : m_standardOutput(standardOutput) {
    check(options, inputNames); // before a wait, which may be long
    if (isStandardOutput(options))
        return;
    m_lock.emplace(options.m_outputName, options.m_waits, errorOutput);
    check(options, inputNames); // The file may have been created or changed since.
}

OutputStream& RewriteOutput::open() {
    if (!m_lock)
        return m_standardOutput;
    m_file.emplace(*m_lock);
    return m_file->getStream();
}

ExitCode RewriteOutput::finish(const ExitCode exitCode) {
    if (!m_lock)
        m_standardOutput.flush();
    else if (exitCode == ExitCode::DONE)
        m_file->commit();
    return exitCode;
}
