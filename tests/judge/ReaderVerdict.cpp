#include "tests/judge/ReaderVerdict.h"

#include "Reader/StatementSink.h"
#include "Reader/SyntaxReader.h"

#include <algorithm>

namespace {

std::string describe(const Rdf::Term& term) {
    switch (term.m_kind) {
    case Rdf::TermKind::NONE:
        return "";
    case Rdf::TermKind::IRI:
        return describeIri(term.m_text);
    case Rdf::TermKind::BLANK_NODE:
        return std::string(JUDGED_BLANK_NODE);
    case Rdf::TermKind::TRIPLE:
        return "<<( " +
               describeTriple(describe(term.m_triple->m_subject), describe(term.m_triple->m_predicate),
                              describe(term.m_triple->m_object)) +
               " )>>";
    case Rdf::TermKind::LITERAL:
        break;
    }
    return describeLiteral(term.m_text, term.m_tag,
                           term.m_direction == Rdf::Direction::NONE            ? ""
                           : term.m_direction == Rdf::Direction::LEFT_TO_RIGHT ? "ltr"
                                                                               : "rtl",
                           term.m_datatype);
}

class Collector : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement& statement) final {
        const std::string graph = describe(statement.m_graph);
        m_verdict.m_statements.push_back(describeTriple(describe(statement.m_subject), describe(statement.m_predicate),
                                                        describe(statement.m_object)) +
                                         (graph.empty() ? "" : " " + graph));
    }

    void takeError(const Rdf::SyntaxError& error) final { m_verdict.m_error = error.m_message; }

    ReaderVerdict m_verdict;
};

} // namespace

ReaderVerdict readStrictly(const std::string_view text, const Rdf::ReaderOptions& options) {
    Collector collector;
    Rdf::SyntaxReader::make(options, collector)->read(text, true);
    if (!collector.m_verdict.m_error.empty())
        collector.m_verdict.m_statements.clear();
    std::sort(collector.m_verdict.m_statements.begin(), collector.m_verdict.m_statements.end());
    return collector.m_verdict;
}
