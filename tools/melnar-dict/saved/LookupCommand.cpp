#include "tools/melnar-dict/saved/LookupCommand.h"

#include "tools/melnar-dict/input/BlockReader.h"
#include "tools/melnar-dict/input/InputFile.h"
#include "tools/melnar-dict/saved/ResourceRows.h"
#include "tools/melnar-dict/saved/SavedDictionary.h"
#include "tools/melnar-dict/saved/TermLines.h"
#include "tools/melnar-dict/shell/PrintableText.h"
#include "tools/melnar-dict/shell/QuotedText.h"
#include "tools/melnar-dict/shell/SharedOptions.h"
#include "tools/melnar-dict/shell/StandardStream.h"
#include "tools/melnar-dict/shell/ToolFailure.h"

#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <functional>
#include <string_view>
#include <utility>

namespace {

constexpr const char* TEXT = R"(
Prints "ID<tab>term" for every term, or "not found<tab>term". A term is given in Turtle syntax, a literal with its quotes
("text", "text"@tag, "5"^^xsd:int, 'text', or """text""" when there are quotes or line breaks in it), an IRI with its
brackets (<http://example.org/>), a blank node as _:label, a triple term as <<( subject predicate object )>>. "-" reads
terms from standard input, one per line.
)";

constexpr const char* EXIT_CODES = R"(
0 done, 1 something not found or not a term, 2 wrong command
line, 3 the dictionary cannot be read or a limit was reached.
)";

/// Answers terms, in batches of the terms of one read.
class Answers {
public:
    Answers(const SavedDictionary& dictionary, const bool asJson, StandardOutput& output, std::ostream& errorOutput)
        : m_dictionary(dictionary), m_rows(asJson, output, errorOutput), m_errorOutput(errorOutput) {}

    /// `formatError` makes the line of an error.
    TermLines::Receiver getReceiver(std::function<std::string(const InputError& error)> formatError) {
        return {[this](const std::span<BatchEntry> terms, std::vector<BatchFailure>& failures) {
                    m_dictionary.tryResolveResources(terms, failures);
                },
                [this](const BatchEntry& term) { print(term); },
                [this, formatError = std::move(formatError)](const InputError& error) {
                    m_errorOutput << toPrintable(formatError(error)) << '\n';
                    m_exitCode = ExitCode::BAD_DATA;
                }};
    }

    ExitCode getExitCode() const noexcept { return m_exitCode; }

private:
    void print(const BatchEntry& term) {
        if (term.m_resourceID == 0) {
            m_rows.printMissingTerm(term);
            m_exitCode = ExitCode::BAD_DATA;
        } else if (!m_rows.print(term))
            m_exitCode = ExitCode::BAD_DATA;
    }

    const SavedDictionary& m_dictionary;
    ResourceRows m_rows;
    std::ostream& m_errorOutput;
    ExitCode m_exitCode = ExitCode::DONE;
};

/// Answers the lines of standard input.
void answerLines(Answers& answers, StandardOutput& output) {
    TermLines lines(answers.getReceiver([](const InputError& error) {
        return "-:" + std::to_string(error.m_line) + (error.m_column == 0 ? "" : ':' + std::to_string(error.m_column)) +
               ": " + error.m_cause;
    }));
    BlockReader reader(openInputFile(STANDARD_STREAM, 1));
    for (Block block; reader.next(block);) {
        lines.addLines(block.getText());
        lines.answer();
        output.flush();
    }
}

void answerOperands(const std::vector<std::string>& operands, Answers& answers, StandardOutput& output) {
    std::vector<std::string_view> terms; // all operands but "-"
    TermLines lines(answers.getReceiver([&terms](const InputError& error) {
        return "melnar-dict: term " + quoteText(terms[error.m_line - 1]) + ": " + error.m_cause;
    }));
    for (const std::string& operand : operands)
        if (operand == STANDARD_STREAM) {
            lines.answer();
            answerLines(answers, output);
        } else {
            terms.push_back(operand);
            lines.add(operand);
        }
    lines.answer();
}

} // namespace

VerbDescription describeLookup(LookupOptions& options) {
    VerbDescription verb{
        "lookup",
        "print the resource IDs of terms",
        TEXT,
        EXIT_CODES,
        {{"lookup dump.dict '\"Berlin\"' '\"Berlin\"@de'",
          "Prints the IDs of two literals; the single quotes are the shell's."},
         {"lookup dump.dict '<http://example.org/>' '\"5\"^^xsd:int' _:b0", "Prints the IDs of other terms."},
         {"lookup dump.dict - < terms.txt", "Prints the IDs of all terms in a file."}}};
    addDictionary(verb, options);
    addJson(verb, JsonLayout::ROW, options.m_asksForJson);
    verb.addOperands("TERM", "a term", options.m_terms);
    verb.m_checks.emplace_back([&options] {
        if (std::count(options.m_terms.begin(), options.m_terms.end(), STANDARD_STREAM) > 1)
            throw ToolFailure(ExitCode::USAGE, "standard input can be read only once");
    });
    return verb;
}

ExitCode runLookup(const LookupOptions& options, StandardOutput& output, std::ostream& errorOutput) {
    const auto dictionary = openDictionary(options);
    Answers answers(*dictionary, options.m_asksForJson, output, errorOutput);
    try {
        answerOperands(options.m_terms, answers, output);
    } catch (...) {
        output.flushAfterFailure(); // the answers so far
        throw;
    }
    output.flush();
    return answers.getExitCode();
}
