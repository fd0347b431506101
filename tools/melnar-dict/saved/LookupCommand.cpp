#include "tools/melnar-dict/saved/LookupCommand.h"

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/saved/LiteralLines.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>

namespace {

constexpr const char* TEXT = R"(
Prints "ID<tab>literal" for every literal, or "not found<tab>literal". A literal
is given in Turtle syntax: "text" or "text"@tag, with its quotes. "-" stands for
the lines of standard input, a literal in each.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 something not found or not a literal, 2 wrong command
line, 3 the dictionary cannot be read or a limit was reached.
)";

/// Answers literals, in batches of what is read at once.
class Answers {
public:
    Answers(const Dictionary& dictionary, StandardOutput& output, std::ostream& errorOutput)
        : m_dictionary(dictionary), m_output(output), m_errorOutput(errorOutput) {}

    /// `place` is put before messages.
    LiteralLines::Receiver getReceiver(const std::string& place) {
        return {[this](const std::span<BatchEntry> literals, std::vector<BatchFailure>& failures) {
                    m_dictionary.tryResolveResources(m_dictionary.getCommitPoint(), literals, failures);
                },
                [this](const BatchEntry& literal) { print(literal); },
                [this, place](const uint64_t line, const std::string& cause) {
                    m_errorOutput << place << line << ": " << cause << '\n';
                    m_exitCode = ExitCode::BAD_DATA;
                }};
    }

    ExitCode getExitCode() const noexcept { return m_exitCode; }

private:
    void print(const BatchEntry& literal) {
        const bool isFound = literal.m_resourceID != 0;
        m_line = isFound ? std::to_string(literal.m_resourceID) : "not found";
        m_line += '\t';
        m_dictionary.appendTurtleLiteral(literal.m_lexicalForm, literal.m_datatypeID, m_line);
        m_line += '\n';
        m_output.write(m_line);
        if (!isFound)
            m_exitCode = ExitCode::BAD_DATA;
    }

    const Dictionary& m_dictionary;
    StandardOutput& m_output;
    std::ostream& m_errorOutput;
    std::string m_line;
    ExitCode m_exitCode = ExitCode::DONE;
};

void answerOperands(const std::vector<std::string>& operands, Answers& answers, StandardOutput& output) {
    for (size_t index = 0; index < operands.size(); ++index) {
        const std::string& operand = operands[index];
        if (operand != "-") {
            // A line feed within an argument makes lines of it, none of which is a literal.
            LiteralLines(answers.getReceiver("literal " + std::to_string(index + 1) + ", line ")).parse(operand + "\n");
            continue;
        }
        LiteralLines lines(answers.getReceiver("-:"));
        BlockReader reader(openInputFile(operand));
        for (Block block; reader.next(block);) {
            lines.parse(block.getText());
            output.flush();
        }
    }
}

} // namespace

VerbDescription describeLookup(LookupOptions& options) {
    VerbDescription verb{"lookup", "print the resource IDs of literals", TEXT, EXIT_CODES};
    addDictionary(verb, options);
    verb.addOperands("LITERAL", "a literal", options.m_literals);
    verb.m_checks.emplace_back([&options] {
        if (std::count(options.m_literals.begin(), options.m_literals.end(), "-") > 1)
            throw ToolFailure(ExitCode::USAGE, "standard input can be read only once");
    });
    return verb;
}

ExitCode runLookup(const LookupOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const auto dictionary = Dictionary::open(options.m_dictionaryName, options.m_memoryLimit);
    Answers answers(*dictionary, output, errorOutput);
    try {
        answerOperands(options.m_literals, answers, output);
    } catch (...) {
        try {
            output.flush();            // what has been answered so far
        } catch (const ToolFailure&) { // NOLINT(bugprone-empty-catch): the first failure is the one to report
        }
        throw;
    }
    output.flush();
    return answers.getExitCode();
}
