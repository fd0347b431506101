// A datatype of its own: literals of xsd:anyURI, which are IRIs. All dictionaries of this program have it, and treat it
// as the built-in ones: its literals are checked, committed, withdrawn, compacted, saved, and printed in Turtle.

#include "Engine/core/data-store/terms/TermDatatypeFactory.h"
#include "Engine/core/platform/CharacterMaps.h"
#include "Engine/core/platform/StringEscaping.h"
#include "Melnar.h"

#include <cstdint>
#include <iostream>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr uint8_t D_ANY_URI = 100; // any ID from 1 to 255 that no other datatype has
constexpr const char* const ANY_URI = "http://www.w3.org/2001/XMLSchema#anyURI";

/// Decides what is a literal of the datatype: an absolute IRI, which begins with a scheme. Any threads call it.
bool isIRI(const std::string_view form) noexcept {
    const size_t colon = form.find(':');
    return !form.empty() && CHARMAP_ALPHABETIC[static_cast<uint8_t>(form.front())] != 0 &&
           form.find_first_of("/?# <>\"") > colon;
}

/// Tells which part of a literal others are likely to have, too: the IRI up to its last slash or hash sign. The
/// dictionary stores such a part once, as soon as m_numberOfSightings literals have it.
size_t getNamespaceLength(const std::string_view form) noexcept {
    return form.find_last_of("/#") + 1; // 0 without one
}

void appendTurtle(const std::string_view form, std::string& output) {
    output += '"';
    appendStringEscaped(output, form.data(), form.data() + form.size());
    output.append("\"^^<").append(ANY_URI).append(">");
}

constexpr TermFamily IRIS{.m_datatypeID = D_ANY_URI,
                          .m_name = ANY_URI,                // stands in files, and in the messages of refused literals
                          .m_plural = "IRIs of xsd:anyURI", // stands in statistics
                          .m_affixPlace = TermFamily::AffixPlace::FRONT,
                          .m_numberOfSightings = 2,
                          .m_getAffixLength = &getNamespaceLength,
                          .m_isWellFormed = &isIRI,
                          .m_appendTurtle = &appendTurtle};

/// Registers the datatype. Dictionaries that exist already do not get it.
const TermDatatypeFactory s_factory(IRIS);

void print(const Dictionary& dictionary) {
    std::string literal;
    for (const auto& [resourceID, value] : dictionary) {
        literal.clear();
        dictionary.appendTurtleLiteral(resourceID, literal);
        std::cout << "  " << resourceID << ' ' << literal << '\n';
    }
}

} // namespace

int main() {
    Dictionary dictionary({.m_memoryLimit = size_t(1) << 30});
    {
        DictionaryThread thread(dictionary);
        for (const char* const form : {"http://example.org/a", "http://example.org/b", "urn:isbn:0451450523"})
            dictionary.resolveResource(thread, form, D_ANY_URI);
        dictionary.commit();
        dictionary.resolveResource(thread, "http://example.org/withdrawn", D_ANY_URI);
        dictionary.rollback();
        dictionary.resolveResource(thread, "http://example.org/c", D_ANY_URI);
        dictionary.resolveResource(thread, "http://example.org/c", D_XSD_STRING); // the same text, another literal
        try {
            dictionary.resolveResource(thread, "no IRI", D_ANY_URI);
        } catch (const MelnarException& exception) {
            std::cout << exception.getMessage() << '\n';
        }
    }
    std::cout << "before the compaction:\n";
    print(dictionary);
    dictionary.compact([](const uint64_t resourceID, const ResourceValue&) { return resourceID != 2; });
    dictionary.save("iri-datatype.dict");

    // Programs that open the file must have the datatype: the same ID, under the same name.
    const std::unique_ptr<Dictionary> opened = Dictionary::open("iri-datatype.dict");
    std::cout << "after it, saved and opened again:\n";
    print(*opened);
    opened->verify(); // finds each literal under its ID
    std::cout << "http://example.org/c has ID "
              << opened->tryResolveResource(DictionaryCommitPoint::ALL, "http://example.org/c", D_ANY_URI) << '\n';
}
