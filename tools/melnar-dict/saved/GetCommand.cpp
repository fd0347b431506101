#include "tools/melnar-dict/saved/GetCommand.h"

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/saved/ResourceRows.h"
#include "tools/melnar-dict/saved/WholeEntries.h"
#include "tools/melnar-dict/shell/NumberText.h"
#include "tools/melnar-dict/shell/QuotedText.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr const char* TEXT = R"(
Prints "ID<tab>term" for every ID, with the term in Turtle syntax, or "not found<tab>ID". "-" reads IDs from standard
input, one per line.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 something not found, a line that is not an ID, or a term that no RDF file can hold, 2 wrong command line, 3 the
dictionary cannot be read or a limit was reached.
)";

constexpr size_t IDS_OF_A_GROUP = 4096;

/// Prints the terms of IDs, which are read in groups.
class Answers {
public:
    Answers(const SavedDictionary& dictionary, const bool asJson, StandardOutput& output, std::ostream& errorOutput)
        : m_dictionary(dictionary), m_rows(asJson, output, errorOutput), m_output(output), m_errorOutput(errorOutput) {}

    void add(const uint64_t resourceID) {
        m_group.emplace_back().m_resourceID = resourceID;
        if (m_group.size() == IDS_OF_A_GROUP)
            answer();
    }

    void addLines() {
        BlockReader reader(openInputFile(STANDARD_STREAM, 1));
        uint64_t line = 0;
        for (Block block; reader.next(block);) {
            const std::string_view text = block.getText();
            for (size_t begin = 0; begin < text.size();) {
                const size_t end = std::min(text.find('\n', begin), text.size());
                addLine(text.substr(begin, end - begin), ++line);
                begin = end + 1;
            }
            answer();
            m_output.flush();
        }
    }

    /// Prints what has not been printed yet.
    void answer() {
        m_dictionary.getResources(m_group);
        for (BatchEntry& entry : m_group)
            if (entry.m_datatypeID == D_INVALID) {
                m_rows.printMissingResource(entry.m_resourceID);
                m_exitCode = ExitCode::BAD_DATA;
            } else {
                makeWhole(m_dictionary, entry, m_form);
                if (!m_rows.print(entry))
                    m_exitCode = ExitCode::BAD_DATA;
            }
        m_group.clear();
    }

    ExitCode getExitCode() const noexcept { return m_exitCode; }

private:
    void addLine(std::string_view text, const uint64_t line) {
        if (text.ends_with('\r'))
            text.remove_suffix(1);
        if (const std::optional<uint64_t> resourceID = parseNumber(text))
            add(*resourceID);
        else {
            m_errorOutput << "-:" << line << ": " << quoteText(text) << " is not a resource ID\n";
            m_exitCode = ExitCode::BAD_DATA;
        }
    }

    const SavedDictionary& m_dictionary;
    ResourceRows m_rows;
    StandardOutput& m_output;
    std::ostream& m_errorOutput;
    std::vector<BatchEntry> m_group;
    std::string m_form; // of an entry
    ExitCode m_exitCode = ExitCode::DONE;
};

} // namespace

VerbDescription describeGet(GetOptions& options) {
    VerbDescription verb{"get",
                         "print the terms of resource IDs",
                         TEXT,
                         EXIT_CODES,
                         {{"get dump.dict 1 17", "Prints the terms with the IDs 1 and 17."},
                          {"get dump.dict - < ids.txt", "Prints the terms of all IDs in a file."}}};
    addDictionary(verb, options);
    addJson(verb, JsonLayout::ROW, options.m_asksForJson);
    verb.m_operands.push_back({"ID", "a resource ID", true, [&options](const std::string& value) {
                                   const std::optional<uint64_t> resourceID = parseNumber(value);
                                   if (!resourceID && value != STANDARD_STREAM)
                                       throw ToolFailure(ExitCode::USAGE, quoteText(value) + " is not a resource ID");
                                   options.m_resourceIDs.push_back(resourceID);
                               }});
    verb.m_checks.emplace_back([&options] {
        if (std::count(options.m_resourceIDs.begin(), options.m_resourceIDs.end(), std::nullopt) > 1)
            throw ToolFailure(ExitCode::USAGE, "standard input can be read only once");
    });
    return verb;
}

ExitCode runGet(const GetOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const auto dictionary = openDictionary(options);
    Answers answers(*dictionary, options.m_asksForJson, output, errorOutput);
    try {
        for (const std::optional<uint64_t> resourceID : options.m_resourceIDs)
            if (resourceID)
                answers.add(*resourceID);
            else {
                answers.answer();
                answers.addLines();
            }
        answers.answer();
    } catch (...) {
        output.flushAfterFailure(); // the answers so far
        throw;
    }
    output.flush();
    return answers.getExitCode();
}
