#include "tools/melnar-dict/shell/SharedOptions.h"

#include "tools/melnar-dict/shell/StandardStream.h"

namespace {

constexpr uint64_t MAXIMUM_NUMBER_OF_THREADS = 1024;

} // namespace

ProgressMode FeedbackOptions::getProgressMode(const OutputOptions& output) const {
    return output.m_outputName == STANDARD_STREAM ? ProgressMode::NONE : getProgressMode();
}

std::ostream& FeedbackOptions::getNoteOutput(std::ostream& errorOutput) const {
    static std::ostream s_silence(nullptr);
    return m_isQuiet ? s_silence : errorOutput;
}

void addMemoryLimit(VerbDescription& verb, uint64_t& variable) {
    verb.addSize(
        "--memory-limit",
        "bytes the process may use, such as 512M or 16G (default: 15/16 of what the machine or the container has)",
        variable);
}

void addThreads(VerbDescription& verb, size_t& variable) {
    verb.addNumber("--threads", "N", "use N threads (default: one for each core)", variable, 1,
                   MAXIMUM_NUMBER_OF_THREADS);
}

void addMaximumLine(VerbDescription& verb, uint64_t& variable) {
    verb.addSize("--max-line",
                 "bytes of the longest line of N-Triples and N-Quads, and of the longest statement of Turtle and TriG "
                 "(default: 1G)",
                 variable);
}

void addLenient(VerbDescription& verb, bool& variable) {
    verb.addFlag("--lenient", "report errors, count them and continue after them", variable);
}

void addFeedback(VerbDescription& verb, FeedbackOptions& variable) {
    verb.addFlag("--progress",
                 "if standard error is not a terminal, print a line with the progress every ten seconds; "
                 "on a terminal, a line is updated without this option",
                 variable.m_asksForProgress);
    verb.addFlag("--quiet", "print nothing on standard error but the error that ends the work", variable.m_isQuiet);
}

void addJson(VerbDescription& verb, const JsonLayout layout, bool& variable) {
    verb.addFlag("--json",
                 layout == JsonLayout::DOCUMENT ? "print JSON instead of text"
                                                : "print one JSON object per line instead of text",
                 variable);
    verb.m_asksForJson = &variable;
    verb.m_jsonLayout = layout;
}

void addOutput(VerbDescription& verb, const OutputKind kind, const std::string& valueName,
               const std::string& outputText, const std::string& forceText, OutputOptions& variable) {
    addOutput(verb, "-o,--output", kind, valueName, outputText, forceText, variable);
}

void addOutput(VerbDescription& verb, const std::string& names, const OutputKind kind, const std::string& valueName,
               const std::string& outputText, const std::string& forceText, OutputOptions& variable) {
    if (kind == OutputKind::FILE_ONLY)
        verb.addFile(names, valueName, outputText, variable.m_outputName);
    else
        verb.addText(names, valueName, outputText, variable.m_outputName);
    verb.m_options.back().m_isFile = true;
    verb.addFlag("--wait",
                 "if another process is writing " + valueName + ", wait until it has finished, and read it after that",
                 variable.m_waits);
    verb.addFlag("--force", forceText, variable.m_isForced);
}
