#include "tools/melnar-dict/saved/StatsCommand.h"

#include "tools/melnar-dict/input/PackedFormat.h"
#include "tools/melnar-dict/saved/DictionaryPage.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"
#include "tools/melnar-dict/shell/OutputCheck.h"
#include "tools/melnar-dict/shell/OutputFile.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/platform/ComponentInfo.h"
#include "Engine/core/platform/stream/MemoryOutputStream.h"

#include <filesystem>
#include <memory>
#include <string>

using namespace melnar;

namespace {

constexpr const char* TEXT = R"(
Prints a tree of figures: memory and occupancy of every part, probe lengths,
bytes of text and of memory beyond it, resources of each language. Of a folder,
figures are those of all shards together. With --html, writes an HTML page with
charts and explanations, and prints nothing.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 2 wrong command line or a PAGE that would destroy something, 3 the
dictionary cannot be read, a limit was reached, another process is writing PAGE,
or the output cannot be written.
)";

std::string makePage(const StatsOptions& options) {
    const auto dictionary = openDictionary(options);
    const std::filesystem::path path(options.m_dictionaryName);
    DictionaryPortrait portrait;
    portrait.m_name = (path.has_filename() ? path : path.parent_path()).filename().string(); // a folder may end in '/'
    dictionary->forEachPart([&portrait](const SavedDictionary::Part& part) {
        portrait.addShard(DictionaryPortrait::of(part.m_dictionary, portrait.m_name));
    });
    return toDictionaryPage(portrait);
}

/// Refuses a page that would destroy something.
void checkOutput(const StatsOptions& options) {
    refusePackedOutput(options.m_page.m_outputName);
    const OutputCheck check(options.m_page.m_outputName, options.m_page.m_isForced);
    check.refuseInput(options.m_dictionaryName);
    check.requireBeginningOrNothing(BEGINNING_OF_A_DICTIONARY_PAGE, "a page of stats");
}

void writePage(const StatsOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    if (options.m_page.m_outputName == STANDARD_STREAM) {
        OutputCheck::ofStandardOutput().refuseInput(options.m_dictionaryName);
        output.write(makePage(options));
        output.flush();
        return;
    }
    checkOutput(options); // before a wait, which may be long
    OutputLock lock(options.m_page.m_outputName, options.m_page.m_waits, errorOutput);
    checkOutput(options); // The file may have been created or changed since.
    const std::string page = makePage(options);
    OutputFile file(lock);
    file.getStream().write(page.data(), page.size());
    file.commit();
}

} // namespace

VerbDescription describeStats(StatsOptions& options) {
    VerbDescription verb{"stats",
                         "describe a saved dictionary",
                         TEXT,
                         EXIT_CODES,
                         {{"stats dump.dict", "Prints figures of a dictionary."}}};
    addDictionary(verb, options);
    addJson(verb, JsonLayout::DOCUMENT, options.m_asksForJson);
    addOutput(verb, "--html", OutputKind::FILE_OR_STANDARD_OUTPUT, "PAGE",
              "write an HTML page to this file; a browser shows it without a network",
              "replace a PAGE that is not a page of stats", options.m_page);
    verb.m_checks.emplace_back([&options] {
        const bool hasPage = !options.m_page.m_outputName.empty();
        if (hasPage && options.m_asksForJson)
            throw ToolFailure(ExitCode::USAGE, "--json and --html exclude each other");
        if (!hasPage && (options.m_page.m_waits || options.m_page.m_isForced))
            throw ToolFailure(ExitCode::USAGE, "--wait and --force are for --html");
    });
    return verb;
}

ExitCode runStats(const StatsOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    if (!options.m_page.m_outputName.empty()) {
        writePage(options, output, errorOutput);
        return ExitCode::DONE;
    }
    const auto dictionary = openDictionary(options);
    const std::unique_ptr<ComponentInfo> componentInfo = dictionary->getDetailedComponentInfo();
    MemoryOutputStream text;
    if (options.m_asksForJson)
        componentInfo->printJSON(text);
    else
        componentInfo->printText(text);
    output.write(text.getBytes());
    output.flush();
    return ExitCode::DONE;
}
