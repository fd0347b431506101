#include "tools/melnar-dict/saved/VerifyCommand.h"

#include "tools/melnar-dict/pieces/LiteralText.h"
#include "tools/melnar-dict/saved/OpenDictionary.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/ToolFailure.h"
#include "tools/melnar-dict/threads/ProgressReporter.h"

#include "Engine/core/data-store/Dictionary.h"

#include <nlohmann/json.hpp>

#include <optional>
#include <string>
#include <utility>

namespace {

constexpr const char* TEXT = R"(
Checks a saved dictionary: all checksums, all that its parts say of each other,
that a lookup finds every literal under its own ID, so that none is there twice,
that every text is UTF-8 and every language tag well-formed. Says on standard
error what is damaged, and where.
)";

constexpr const char* EXIT_CODES = R"(
0 the dictionary is sound, 1 a text is not UTF-8, 2 wrong command line, 3 it is
damaged, cannot be read, or a limit was reached.
)";

/// The engine takes any bytes for text, so that it is for the tool to object.
void requireWritableLiterals(const Dictionary& dictionary) {
    dictionary.forEachResource([](const uint64_t resourceID, const ResourceValue& value) {
        const std::string_view lexicalForm(reinterpret_cast<const char*>(value.m_data), value.m_dataSize - 1);
        if (const char* const flaw = findLiteralFlaw(lexicalForm, value.m_datatypeID))
            throw ToolFailure(ExitCode::BAD_DATA, "resource " + std::to_string(resourceID) + ": " + flaw);
    });
}

} // namespace

VerbDescription describeVerify(VerifyOptions& options) {
    VerbDescription verb{"verify",
                         "check a saved dictionary",
                         TEXT,
                         EXIT_CODES,
                         {{"verify dump.dict", "Says whether the file is sound."}}};
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
    const auto dictionary = openToRead(options.m_dictionaryName, dictionaryLimit);
    dictionary->verify();
    requireWritableLiterals(*dictionary);
    const size_t numberOfResources =
        dictionary->getNumberOfResources(D_XSD_STRING) + dictionary->getNumberOfResources(D_RDF_PLAIN_LITERAL);
    progress.reset(); // before what goes to the same terminal
    output.write(
        options.m_asksForJson
            ? toText(Json{{"dictionary", options.m_dictionaryName}, {"sound", true}, {"resources", numberOfResources}},
                     JsonLayout::DOCUMENT)
            : toPrintable(options.m_dictionaryName) + ": sound, " + std::to_string(numberOfResources) + " resources\n");
    output.flush();
    return ExitCode::DONE;
}
