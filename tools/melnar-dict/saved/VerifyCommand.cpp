#include "tools/melnar-dict/saved/VerifyCommand.h"

#include "tools/melnar-dict/saved/DictionaryArguments.h"

#include "Engine/core/data-store/Dictionary.h"

#include <utility>

namespace {

constexpr const char* HELP = R"(usage: melnar-dict verify [OPTION...] DICTIONARY

Checks a saved dictionary: all checksums, all that its parts say of each other,
and that a lookup finds every literal under its own ID, so that none is there
twice. Says on standard error what is damaged, and where.

  --memory-limit SIZE  bytes the dictionary may use, such as 512M or 16G
                       (default: the machine's memory)
  --help               print this text

Exit codes: 0 the dictionary is sound, 2 wrong command line, 3 it is damaged,
cannot be read, or a limit was reached.
)";

} // namespace

ExitCode runVerify(std::vector<std::string> arguments, StandardOutput& output, std::ostream&) {
    const DictionaryArguments options = DictionaryArguments::parse({"verify"}, std::move(arguments));
    if (options.m_asksForHelp)
        output.write(HELP);
    else {
        const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
        dictionary->verify();
        const size_t numberOfResources =
            dictionary->getNumberOfResources(D_XSD_STRING) + dictionary->getNumberOfResources(D_RDF_PLAIN_LITERAL);
        output.write(options.m_dictionaryName + ": sound, " + std::to_string(numberOfResources) + " resources\n");
    }
    output.flush();
    return ExitCode::DONE;
}
