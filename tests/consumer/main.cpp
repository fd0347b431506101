// Nothing here refers to the string datatypes' factory: it must be there because the library is linked.

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/DictionaryDatatypeFactory.h"
#include "Reader/SyntaxReader.h"

#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <string>

namespace {

void require(const bool condition, const char* const claim) {
    if (!condition) {
        std::cerr << "not so: " << claim << '\n';
        std::exit(EXIT_FAILURE);
    }
}

void requireRegistered(const uint8_t datatypeID, const std::string& name) {
    const DictionaryDatatypeFactory* const factory = DictionaryDatatypeFactory::getFactory(datatypeID);
    require(factory != nullptr, "the datatype's ID has a factory");
    require(DictionaryDatatypeFactory::getFactory(name) == factory, "the datatype's name has the same factory");
    std::cout << "datatype " << static_cast<unsigned int>(datatypeID) << " is " << name << '\n';
}

/// Keeps the last literal's text.
class LiteralSink : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement& statement) override { m_text = statement.m_object.m_text; }
    void takeError(const Rdf::SyntaxError& error) override { require(false, error.m_message.c_str()); }

    std::string m_text;
};

} // namespace

int main() {
    constexpr uint8_t XSD_STRING_ID = 5;
    constexpr uint8_t RDF_PLAIN_LITERAL_ID = 6;
    requireRegistered(XSD_STRING_ID, "http://www.w3.org/2001/XMLSchema#string");
    requireRegistered(RDF_PLAIN_LITERAL_ID, "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral");
    require(DictionaryDatatypeFactory::getFactory(uint8_t{200}) == nullptr, "an unknown ID has no factory");
    require(DictionaryDatatypeFactory::getFactory(std::string{"unknown"}) == nullptr, "nor has an unknown name");

    Dictionary dictionary({.m_memoryLimit = size_t{256} << 20, .m_maximumNumberOfResources = 1'000'000});
    DictionaryThread thread(dictionary);
    const uint64_t resourceID = dictionary.resolveResource(thread, "Deutschland@de", RDF_PLAIN_LITERAL_ID);
    std::string lexicalForm;
    require(dictionary.getResource(resourceID, lexicalForm) == RDF_PLAIN_LITERAL_ID, "the datatype is read back");
    require(lexicalForm == "Deutschland@de", "the literal is read back");
    std::cout << "resource " << resourceID << " is " << lexicalForm << '\n';

    LiteralSink sink;
    Rdf::ReaderOptions options;
    options.m_syntax = Rdf::Syntax::TURTLE;
    Rdf::SyntaxReader::make(options, sink)->read("@prefix : <urn:> . :a :b 'read' .", true);
    require(sink.m_text == "read", "Turtle is read");
    return EXIT_SUCCESS;
}
