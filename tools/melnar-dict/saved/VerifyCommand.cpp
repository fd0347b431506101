#include "tools/melnar-dict/saved/VerifyCommand.h"

#include "tools/melnar-dict/pieces/TermText.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"
#include "tools/melnar-dict/saved/WholeEntries.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <utility>

namespace {

constexpr const char* TEXT = R"(
Checks a saved dictionary: that all checksums are right, that its parts agree
with each other, that a lookup finds every term under its own ID (so that there
are no duplicates), that every text is UTF-8, and that an RDF file can hold every
term. Of a folder, checks all of that for each shard, and that each term is in
the right shard. Reports on standard error what is damaged, and where.
)";

constexpr const char* EXIT_CODES = R"(
0 the dictionary is sound, 1 no RDF file can hold one of its terms, 2 wrong
command line, 3 it is damaged, cannot be read, or a limit was reached.
)";

/// Checks part by part, and returns the number of terms. The engine accepts any bytes as text, and nearly any as an
/// IRI, so the tool checks these; damage of another part has priority.
uint64_t verify(const SavedDictionary& dictionary) {
    uint64_t numberOfTerms = 0;
    std::optional<ToolFailure> firstFlaw;
    dictionary.forEachPart([&](const SavedDictionary::Part& part) {
        dictionary.verify(part);
        forEachWholeEntry(part, [&](const BatchEntry& entry) {
            ++numberOfTerms;
            if (firstFlaw)
                return;
            if (const char* const flaw = findTermFlaw(entry.m_lexicalForm, entry.m_datatypeID))
                firstFlaw.emplace(ExitCode::BAD_DATA, "resource " + std::to_string(entry.m_resourceID) + ": " + flaw);
        });
    });
    if (firstFlaw)
        throw ToolFailure(*firstFlaw);
    return numberOfTerms;
}

} // namespace

VerbDescription describeVerify(VerifyOptions& options) {
    VerbDescription verb{"verify",
                         "check a saved dictionary",
                         TEXT,
                         EXIT_CODES,
                         {{"verify dump.dict", "Checks whether the file is sound."}}};
    addDictionary(verb, options);
    addJson(verb, JsonLayout::DOCUMENT, options.m_asksForJson);
    addFeedback(verb, options.m_feedback);
    return verb;
}

ExitCode runVerify(const VerifyOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const size_t dictionaryLimit = MemoryLimit::apply(options.m_memoryLimit, 1);
    MessageOutput messages(errorOutput);
    std::optional<ProgressReporter> progress(std::in_place, messages, options.m_feedback.getProgressMode(),
                                             "verifying '" + toPrintable(options.m_dictionaryName) + "'");
    const auto dictionary = SavedDictionary::open(options.m_dictionaryName, dictionaryLimit);
    const uint64_t numberOfResources = verify(*dictionary);
    progress.reset(); // before output to the same terminal
    output.write(
        options.m_asksForJson
            ? toText(Json{{"dictionary", options.m_dictionaryName}, {"sound", true}, {"resources", numberOfResources}},
                     JsonLayout::DOCUMENT)
            : toPrintable(options.m_dictionaryName) + ": sound, " + std::to_string(numberOfResources) + " resources\n");
    output.flush();
    return ExitCode::DONE;
}
