// Uses the libraries like other programs. Nothing here refers to the factories of the datatypes: they must be there
// because there is a Dictionary, also one that is initialised before main.

#include "Melnar.h"

#include <cstdint>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace {

void require(const bool condition, const char* const claim) {
    if (!condition) {
        std::cerr << "not so: " << claim << '\n';
        std::_Exit(EXIT_FAILURE);
    }
}

constexpr size_t MEMORY_LIMIT = size_t{256} << 20;

Dictionary s_dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = 1'000'000});

/// Uses the dictionary during static initialisation, and again when static objects are destroyed.
class EarlyAndLateUser {
public:
    EarlyAndLateUser() {
        DictionaryThread thread(s_dictionary);
        m_resourceID = s_dictionary.resolveResource(thread, "early@en", D_RDF_PLAIN_LITERAL);
        m_iri = s_dictionary.resolveTerm(thread, {.m_kind = Term::Kind::IRI, .m_text = "http://example.org/early"});
    }

    ~EarlyAndLateUser() {
        std::string literal;
        s_dictionary.appendTurtleLiteral(m_resourceID, literal);
        s_dictionary.appendTurtleLiteral(m_iri, literal);
        require(literal == "\"early\"@en<http://example.org/early>", "the factories outlive a static dictionary");
    }

private:
    uint64_t m_resourceID;
    uint64_t m_iri;
};

const EarlyAndLateUser s_earlyAndLateUser;

void requireRegistered(const uint8_t datatypeID, const std::string& name) {
    const DictionaryDatatypeFactory* const factory = DictionaryDatatypeFactory::getFactory(datatypeID);
    require(factory != nullptr, "the datatype's ID has a factory");
    require(DictionaryDatatypeFactory::getFactory(name) == factory, "the datatype's name has the same factory");
    std::cout << "datatype " << static_cast<unsigned int>(datatypeID) << " is " << name << '\n';
}

template<class Exception, class Operation>
bool throws(const Operation& operation) {
    try {
        operation();
    } catch (const Exception&) {
        return true;
    } catch (...) {
    }
    return false;
}

void checkDatatypes() {
    requireRegistered(D_XSD_STRING, "http://www.w3.org/2001/XMLSchema#string");
    requireRegistered(D_RDF_PLAIN_LITERAL, "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral");
    require(DictionaryDatatypeFactory::getFactories().size() == 6, "the strings and five families of terms");
    for (const uint8_t datatypeID : {D_IRI, D_BLANK_NODE, D_TYPED_LITERAL, D_DIRECTIONAL_STRING, D_TRIPLE_TERM})
        require(DictionaryDatatypeFactory::getFactory(datatypeID) != nullptr, "every family of terms has a factory");
    require(DictionaryDatatypeFactory::getFactory(uint8_t{200}) == nullptr, "an unknown ID has no factory");
    require(DictionaryDatatypeFactory::getFactory(std::string{"unknown"}) == nullptr, "nor has an unknown name");
}

void checkDictionary() {
    DictionaryThread thread(s_dictionary);
    require(s_dictionary.getNextResourceID() == 3, "two resources were created before main");
    const uint64_t resourceID = s_dictionary.resolveResource(thread, "Deutschland@de", D_RDF_PLAIN_LITERAL);
    std::string lexicalForm;
    require(s_dictionary.getResource(resourceID, lexicalForm) == D_RDF_PLAIN_LITERAL, "the datatype is read back");
    require(lexicalForm == "Deutschland@de", "the literal is read back");
    std::cout << "resource " << resourceID << " is " << lexicalForm << '\n';

    std::vector<BatchEntry> entries{{"Germany", 0, D_XSD_STRING}, {"no tag", 0, D_RDF_PLAIN_LITERAL}};
    std::vector<BatchFailure> failures;
    s_dictionary.resolveResources(thread, entries, failures);
    require(entries[0].m_resourceID == resourceID + 1 && failures.size() == 1, "a batch is answered");

    const std::vector<Term> terms{{.m_kind = Term::Kind::BLANK_NODE, .m_text = "b"},
                                  {.m_kind = Term::Kind::LITERAL, .m_text = "1", .m_datatype = "http://example.org/d"}};
    std::vector<uint64_t> resourceIDs(terms.size());
    failures.clear();
    s_dictionary.resolveTerms(thread, terms, resourceIDs, failures);
    TermColumn column;
    s_dictionary.getTerms(resourceIDs, column);
    require(failures.empty() && column.getTerms()[1].m_datatype == terms[1].m_datatype, "a column is read back");
    require(s_dictionary.getComponentInfo() != nullptr, "statistics are made");

    const std::vector<std::string_view> texts{"Germany", "France"};
    s_dictionary.encode(thread, texts, resourceIDs);
    require(resourceIDs[0] == entries[0].m_resourceID, "a column of strings is encoded");
    ArrowColumn<int32_t> arrowColumn;
    s_dictionary.decode(resourceIDs, arrowColumn);
    std::vector<uint64_t> sameIDs(resourceIDs.size());
    s_dictionary.lookUp(DictionaryCommitPoint::ALL, arrowColumn.getStrings(), sameIDs);
    require(sameIDs == resourceIDs, "and decoded as Arrow lays it out");
    uint64_t numberOfResources = 0;
    for (const auto& [iteratedID, literal] : s_dictionary)
        numberOfResources += iteratedID != 0 && literal.m_data != nullptr;
    require(numberOfResources == s_dictionary.getNextResourceID() - 1, "all resources are iterated over");
}

void checkFailures() {
    DictionaryThread thread(s_dictionary);
    const auto refuse = [&] { static_cast<void>(s_dictionary.resolveResource(thread, "no tag", D_RDF_PLAIN_LITERAL)); };
    require(throws<MelnarException>(refuse), "a failure is caught by its own type");
    const std::vector<uint64_t> resourceIDs{2}; // an IRI
    std::vector<std::string_view> texts(resourceIDs.size());
    require(throws<ColumnException>([&] { s_dictionary.decode(resourceIDs, texts); }),
            "that of an entry of a column, too");
    require(throws<std::exception>(refuse), "and by that of the standard library");
    require(throws<SystemCallException>([] { static_cast<void>(Dictionary::open("/nowhere/to/be/found")); }),
            "the system's failures have a type of their own");
    require(throws<MemoryExhaustedException>([] { const Dictionary small({.m_memoryLimit = 1}); }),
            "and so has a memory limit that is reached");
}

/// Keeps the last literal's text.
class LiteralSink : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement& statement) override {
        m_text = statement.m_object.m_text;
        Rdf::CanonicalWriter::appendStatement(statement, m_canonical);
    }
    void takeError(const Rdf::SyntaxError& error) override { require(false, error.m_message.c_str()); }

    std::string m_text;
    std::string m_canonical;
};

void checkReader() {
    LiteralSink sink;
    Rdf::ReaderOptions options;
    options.m_syntax = Rdf::Syntax::TURTLE;
    Rdf::SyntaxReader::make(options, sink)->read("@prefix : <urn:> . :a :b 'read' .", true);
    require(sink.m_text == "read", "Turtle is read");
    require(sink.m_canonical == "<urn:a> <urn:b> \"read\" .\n", "and written");
    const std::string_view text = "\xFF";
    require(Rdf::Utf8::findInvalid(text.data(), text.data() + 1) == text.data(), "UTF-8 is checked");
}

} // namespace

int main() {
    checkDatatypes();
    checkDictionary();
    checkFailures();
    checkReader();
    std::cout << "version " << MELNAR_VERSION_STRING << '\n';
    return EXIT_SUCCESS;
}
