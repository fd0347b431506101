// A triple store: statements become rows of three IDs. An import succeeds as a whole or changes nothing, and a query
// sees the store as it was after any import.

#include "Melnar.h"

#include <array>
#include <cstdint>
#include <exception>
#include <iostream>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

class TripleStore : private Rdf::StatementSink {
public:
    /// What the store held after an import: the first rows, and the terms below the commit point.
    struct Version {
        DictionaryCommitPoint m_commitPoint;
        size_t m_numberOfRows;
    };

    /// Adds the statements of a document in Turtle.
    Version import(const std::string_view document) {
        const size_t numberOfRows = m_rows.size();
        ++m_documentNumber;
        try {
            const Rdf::ReaderOptions options{.m_syntax = Rdf::Syntax::TURTLE, .m_version = Rdf::Version::RDF_1_1};
            Rdf::SyntaxReader::make(options, *this)->read(document, true);
        } catch (...) {
            m_rows.resize(numberOfRows);
            m_dictionary.rollback(); // withdraws the terms that this import has created, and no others
            throw;
        }
        return {m_dictionary.commit(), m_rows.size()};
    }

    /// Prints the statements of a version that have a predicate.
    void print(const Version& version, const std::string_view predicate) const {
        // If it came later, it is unknown as of the commit point: the ID is 0, which no row has.
        const uint64_t predicateID =
            m_dictionary.tryResolveTerm(version.m_commitPoint, {.m_kind = Term::Kind::IRI, .m_text = predicate});
        for (const Row& row : std::span(m_rows).first(version.m_numberOfRows))
            if (row[1] == predicateID) {
                std::string line;
                for (const uint64_t resourceID : row)
                    m_dictionary.appendTurtleLiteral(resourceID, line += ' ');
                std::cout << line << " .\n";
            }
    }

private:
    using Row = std::array<uint64_t, 3>; // subject, predicate, object

    /// The reader's texts are gone when this function returns, so the three terms are resolved before it does. A loader
    /// of large files copies the texts of some thousand terms, and resolves them together, which is faster.
    void takeStatement(const Rdf::Statement& statement) override {
        std::array<std::string, 2> labels;
        const std::array terms{toTerm(statement.m_subject, labels[0]), toTerm(statement.m_predicate, labels[0]),
                               toTerm(statement.m_object, labels[1])};
        std::vector<BatchFailure> failures;
        m_dictionary.resolveTerms(m_thread, terms, m_rows.emplace_back(), failures);
        if (!failures.empty())
            failures.front().throwException();
    }

    void takeError(const Rdf::SyntaxError& error) override { throw std::runtime_error(error.format("document")); }

    /// Labels of blank nodes belong to their document: they are made to differ from those of all others.
    Term toTerm(const Rdf::Term& term, std::string& label) const {
        if (term.m_kind == Rdf::TermKind::IRI)
            return {.m_kind = Term::Kind::IRI, .m_text = term.m_text};
        if (term.m_kind == Rdf::TermKind::LITERAL)
            return {Term::Kind::LITERAL, Term::Direction::NONE, term.m_text, term.m_tag, term.m_datatype};
        label = "doc" + std::to_string(m_documentNumber) + '-' + std::string(term.m_text);
        return {.m_kind = Term::Kind::BLANK_NODE, .m_text = label};
    }

    Dictionary m_dictionary{{.m_memoryLimit = size_t(1) << 30}};
    DictionaryThread m_thread{m_dictionary}; // of the thread that imports
    std::vector<Row> m_rows;
    uint64_t m_documentNumber = 0;
};

int main() {
    TripleStore store;
    const auto first = store.import("@prefix : <urn:example:> . :berlin :name 'Berlin'@de ; :in _:germany .");
    try {
        store.import("@prefix : <urn:example:> . :rome :name 'Roma'@it . :rome :in .");
    } catch (const std::exception& exception) {
        std::cout << "refused: " << exception.what() << '\n';
    }
    const auto second = store.import("@prefix : <urn:example:> . :paris :name 'Paris'@fr ; :in _:france .");
    for (const auto& version : {first, second}) {
        std::cout << version.m_numberOfRows << " statements; names:\n";
        store.print(version, "urn:example:name");
    }
}
