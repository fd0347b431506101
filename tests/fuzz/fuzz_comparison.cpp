#include "tests/Reader/ReadText.h"
#include "tests/fuzz/OtherReaders.h"

#include "Reader/SyntaxReader.h"
#include "Reader/Utf8.h"
#include "Reader/Vocabulary.h"

#include <algorithm>
#include <cstdio>
#include <iterator>
#include <memory>
#include <set>
#include <string>

// The reader beside two others, in RDF 1.1. Where they disagree nothing fails: each class of disagreement is printed
// once with a text, to be judged by the grammar. What has been judged stands in tests/Reader/OtherReadersTest.cpp and is
// not printed again. raptor 2.0.15 reads where it must not in faulty texts, for long language tags, and in sound TriG, so
// it is asked only about texts of the other syntaxes that ours accepts, with tags of ordinary length.

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

/// What a message says apart from what was found.
std::string classOf(const std::string& message) {
    return message.empty() ? "accepts" : "refuses: " + message.substr(0, message.find(", found"));
}

/// What has been judged, by how its description starts; in all of this the grammars are with ours. OtherReadersTest has
/// a text for each.
constexpr std::string_view JUDGED[] = {
    // serd does not look prefixes up, goes on after many an unfinished statement, takes any character for a delimiter,
    // and judges neither tags nor what an escape stands for.
    "serd accepts; ours refuses: expected ",
    "serd accepts; ours refuses: this ",
    // It counts the full stop after an integer as part of it.
    "serd finds other statements",
    // It takes an empty text for a failure.
    "serd refuses: Non-fatal failure",
    // It does not allow white space around ^^ and before a tag, a tag that is named like a directive, or the label of a
    // graph before a full stop.
    "serd refuses: bad literal",
    "serd refuses: expected `%c', not `%c'",
    "serd refuses: missing ';' or '.'",
    // raptor refuses ordinals that are none, noncharacters, an escaped apostrophe and white space around ^^ in lines, a
    // graph that follows a tag without a space, a tag that is named like a directive, and a byte order mark in lines.
    "raptor refuses: ",
    // It normalises absolute IRIs, ends strings at zero bytes, and takes an apostrophe in a comment for a string.
    "raptor finds ",
};

void note(const std::string& disagreement, const std::string& text) {
    static std::set<std::string> known;
    const auto isJudged = [&](const std::string_view judged) { return disagreement.starts_with(judged); };
    if (std::any_of(std::begin(JUDGED), std::end(JUDGED), isJudged) || !known.insert(disagreement).second)
        return;
    std::fprintf(stderr, "DISAGREEMENT %s\n%s\n", disagreement.c_str(), text.c_str());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    const std::string text(reinterpret_cast<const char*>(data), size);
    // Neither of the others checks UTF-8 throughout or takes zero bytes.
    if (text.find('\0') != std::string::npos ||
        Rdf::Utf8::findInvalid(text.data(), text.data() + text.size()) != text.data() + text.size())
        return 0;
    const Rdf::ReaderOptions options = strict(Syntax::MELNAR_FUZZED_SYNTAX, Rdf::Version::RDF_1_1);
    Collector ours;
    Rdf::SyntaxReader::make(options, ours)->read(text, true);
    std::sort(ours.m_statements.begin(), ours.m_statements.end());
    for (const auto& [name, read] : {std::pair("serd", &readWithSerd), std::pair("raptor", &readWithRaptor)}) {
        const bool isSafeForRaptor = ours.m_error.empty() && !ours.m_hasLongTag && options.m_syntax != Syntax::TRIG;
        if (read == &readWithRaptor && !isSafeForRaptor)
            continue;
        const OtherResult theirs = read(text, options.m_syntax, options.m_base);
        if (theirs.m_error.empty() != ours.m_error.empty())
            note(std::string(name) + ' ' + classOf(theirs.m_error) + "; ours " + classOf(ours.m_error), text);
        else if (theirs.m_error.empty() && theirs.m_statements.size() != ours.m_statements.size())
            note(std::string(name) + " finds another number of statements", text);
        else if (theirs.m_error.empty() && theirs.m_statements != ours.m_statements)
            note(std::string(name) + " finds other statements", text);
    }
    return 0;
}
