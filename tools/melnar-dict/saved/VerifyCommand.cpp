#include "tools/melnar-dict/saved/VerifyCommand.h"

#include "tools/melnar-dict/saved/OpenToRead.h"
#include "tools/melnar-dict/shell/SharedOptions.h"

#include "Engine/core/data-store/Dictionary.h"

#include <nlohmann/json.hpp>

#include <string>

namespace {

constexpr const char* TEXT = R"(
Checks a saved dictionary: all checksums, all that its parts say of each other,
and that a lookup finds every literal under its own ID, so that none is there
twice. Says on standard error what is damaged, and where.
)";

constexpr const char* EXIT_CODES = R"(
0 the dictionary is sound, 2 wrong command line, 3 it is damaged,
cannot be read, or a limit was reached.
)";

} // namespace

VerbDescription describeVerify(VerifyOptions& options) {
    VerbDescription verb{"verify",
                         "check a saved dictionary",
                         TEXT,
                         EXIT_CODES,
                         {{"verify dump.dict", "Says whether the file is sound."}}};
    addDictionary(verb, options);
    addJson(verb, JsonLayout::DOCUMENT, options.m_asksForJson);
    return verb;
}

ExitCode runVerify(const VerifyOptions& options, StandardOutput& output, std::ostream&) {
    const auto dictionary = openToRead(options.m_dictionaryName, options.m_memoryLimit);
    dictionary->verify();
    const size_t numberOfResources =
        dictionary->getNumberOfResources(D_XSD_STRING) + dictionary->getNumberOfResources(D_RDF_PLAIN_LITERAL);
    output.write(
        options.m_asksForJson
            ? toText(Json{{"dictionary", options.m_dictionaryName}, {"sound", true}, {"resources", numberOfResources}},
                     JsonLayout::DOCUMENT)
            : options.m_dictionaryName + ": sound, " + std::to_string(numberOfResources) + " resources\n");
    output.flush();
    return ExitCode::DONE;
}
