#include "tests/Reader/ReadText.h"
#include "tests/fuzz/OtherReaders.h"
#include "tests/fuzz/Syntaxes.h"
#include "tests/judge/Judge.h"
#include "tests/judge/ReaderVerdict.h"

#include "Reader/SyntaxReader.h"
#include "Reader/Utf8.h"
#include "Reader/Vocabulary.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <string_view>
#include <utility>

// Compares the reader, in each syntax, with two others, in RDF 1.1, and with the judge, in both versions. If reader and
// judge disagree, the process ends with the text, so that it is kept. If another reader disagrees with both, nothing
// fails: at the end the program prints how often that happened, by syntax, verdict and cause, each with a short text as
// an example. tests/Reader/OtherReadersTest.cpp has such texts. raptor 2.0.15 reads invalid memory for faulty texts,
// long language tags, and valid TriG. So it gets only texts of the other syntaxes that our reader accepts, with tags of
// normal length.

namespace {

using Rdf::Syntax;

class Collector : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement& statement) final {
        std::string text;
        for (const Rdf::Term* const term :
             {&statement.m_subject, &statement.m_predicate, &statement.m_object, &statement.m_graph})
            if (term->m_kind == Rdf::TermKind::IRI)
                appendIri(term->m_text, text);
            else if (term->m_kind == Rdf::TermKind::BLANK_NODE)
                appendBlankNode(text);
            else if (term->m_kind == Rdf::TermKind::LITERAL) {
                m_hasLongTag |= term->m_tag.size() > 20;
                appendLiteral(term->m_text, term->m_tag,
                              term->m_datatype.empty() ? Rdf::Vocabulary::XSD_STRING : term->m_datatype, text);
            }
        m_statements.push_back(std::move(text));
    }
    void takeError(const Rdf::SyntaxError& error) final { m_error = error.m_message; }

    FoundStatements m_statements;
    std::string m_error;
    bool m_hasLongTag = false;
};

std::string describeVerdict(const std::string& error) {
    return error.empty() ? "accepts" : "refuses: " + error.substr(0, error.find('\n'));
}

/// The disagreements with other readers, by syntax, verdict and cause.
class Disagreements {
public:
    void add(const std::string& disagreement, const std::string& text) {
        Kind& kind = m_kinds[disagreement];
        if (kind.m_count++ == 0 || text.size() < kind.m_text.size())
            kind.m_text = text;
    }

    ~Disagreements() {
        for (const auto& [disagreement, kind] : m_kinds)
            std::fprintf(stderr, "%zu times: %s, as in\n%s\n\n", kind.m_count, disagreement.c_str(),
                         kind.m_text.c_str());
    }

private:
    struct Kind {
        size_t m_count = 0;
        std::string m_text; // the shortest
    };

    std::map<std::string, Kind> m_kinds;
};

/// Returns why the judge refuses a text, without the part that it found.
std::string causeOf(const std::string& refusal) {
    const bool isClaim = refusal.starts_with("not so: ");
    return refusal.empty() ? "the grammar allows it"
                           : "the grammar does not: " + (isClaim ? refusal : refusal.substr(0, refusal.find(':')));
}

/// Ends the process if reader and judge disagree.
Judgement judge(const std::string& text, const Syntax syntax, const Rdf::Version version) {
    static std::map<std::pair<Syntax, Rdf::Version>, Judge> judges;
    const Rdf::ReaderOptions options = strict(syntax, version);
    Judge& ours = judges.try_emplace({syntax, version}, syntax, version).first->second;
    const Judgement judgement = ours.judge(text, options.m_base);
    const ReaderVerdict verdict = readStrictly(text, options);
    if (verdict.m_error.empty() == judgement.m_refusal.empty() && verdict.m_statements == judgement.m_statements)
        return judgement;
    std::fprintf(stderr, "DISAGREEMENT in %s of RDF 1.%d\nthe reader: %s\nthe judge: %s\n", getName(syntax),
                 static_cast<int>(version) + 1, verdict.m_error.c_str(), judgement.m_refusal.c_str());
    for (const JudgedStatements& statements : {verdict.m_statements, judgement.m_statements})
        for (const std::string& statement : statements)
            std::fprintf(stderr, "%s%s\n", &statement == statements.data() ? "has\n" : "", statement.c_str());
    std::abort();
}

/// Counts how the other readers disagree with a judgement on a text.
void compareOthers(const std::string& text, const Syntax syntax, const Judgement& judgement) {
    const Rdf::ReaderOptions options = strict(syntax, Rdf::Version::RDF_1_1);
    static Disagreements disagreements;
    Collector ours;
    Rdf::SyntaxReader::make(options, ours)->read(text, true);
    std::sort(ours.m_statements.begin(), ours.m_statements.end());
    for (const auto& [name, read] : {std::pair("serd", &readWithSerd), std::pair("raptor", &readWithRaptor)}) {
        const bool isSafeForRaptor = ours.m_error.empty() && !ours.m_hasLongTag && syntax != Syntax::TRIG;
        if (read == &readWithRaptor && !isSafeForRaptor)
            continue;
        const OtherResult theirs = read(text, syntax, options.m_base);
        const std::string who = "in " + std::string(getName(syntax)) + ", " + name;
        const std::string cause = "; " + causeOf(judgement.m_refusal);
        if (theirs.m_error.empty() != ours.m_error.empty())
            disagreements.add(who + ' ' + describeVerdict(theirs.m_error) + cause, text);
        else if (theirs.m_error.empty() && theirs.m_statements != ours.m_statements)
            disagreements.add(who + " finds other statements" + cause, text);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const std::string text(reinterpret_cast<const char*>(data), size);
    // The judge does not limit nesting, but uses the stack.
    constexpr std::string_view OPENING = "([{<";
    if (std::count_if(text.begin(), text.end(), [&](const char c) { return OPENING.find(c) != OPENING.npos; }) >= 500)
        return 0;
    // Neither of the others checks all UTF-8 or accepts zero bytes.
    const bool isForOthers =
        text.find('\0') == std::string::npos &&
        Rdf::Utf8::findInvalid(text.data(), text.data() + text.size()) == text.data() + text.size();
    for (const Syntax syntax : SYNTAXES) {
        judge(text, syntax, Rdf::Version::RDF_1_2);
        const Judgement judgement = judge(text, syntax, Rdf::Version::RDF_1_1);
        if (isForOthers)
            compareOthers(text, syntax, judgement);
    }
    return 0;
}
