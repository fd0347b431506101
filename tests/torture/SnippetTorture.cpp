#include "tests/torture/SnippetTorture.h"

#include "tests/judge/ReaderVerdict.h"
#include "tests/torture/Findings.h"
#include "tests/torture/SnippetMaker.h"

#include <random>
#include <string>

namespace {

std::string describe(const std::string& refusal, const JudgedStatements& statements) {
    std::string text = refusal.empty() ? "accepts" : "refuses: " + refusal;
    for (const std::string& statement : statements)
        text += "\n    " + quoteBytes(statement);
    return text;
}

} // namespace

bool tortureSnippets(const size_t numberOfSnippets, const uint32_t seed, std::ostream& output,
                     const std::string_view otherRules) {
    SnippetMaker maker(otherRules);
    Findings findings(output);
    size_t numberAccepted = 0;
    size_t numberOfStatements = 0;
    size_t number = 0;
    bool isEnough = false;
    for (; number < numberOfSnippets && !isEnough; ++number) {
        std::seed_seq seeds{seed, static_cast<uint32_t>(number)};
        std::mt19937 random(seeds);
        const Snippet snippet = maker.make(random);
        const ReaderVerdict verdict = readStrictly(snippet.m_text, snippet.getOptions());
        const Judgement judgement = maker.judge(snippet);
        numberAccepted += judgement.m_refusal.empty();
        numberOfStatements += judgement.m_statements.size();
        if (verdict.m_error.empty() != judgement.m_refusal.empty() || verdict.m_statements != judgement.m_statements) {
            findings.add("MELNAR_SEED=" + std::to_string(seed) + " snippet " + std::to_string(number) + ": " +
                         snippet.describe() + "\n  the reader " + describe(verdict.m_error, verdict.m_statements) +
                         "\n  the judge " + describe(judgement.m_refusal, judgement.m_statements));
            isEnough = !otherRules.empty();
        }
    }
    return findings.finish(number, "snippets", "no disagreement",
                           " (" + withCommas(numberAccepted) + " accepted, with " + withCommas(numberOfStatements) +
                               " statements)");
}
