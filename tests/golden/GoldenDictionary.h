#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/terms/TermFamily.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// The contents of the golden dictionary files: strings of both datatypes, with every length of size header up to 4
/// bytes at its limits; or terms of all families, with numbers of shared texts of one and of two bytes. Each file has
/// withdrawn resources, and some that are not committed. Changing anything here requires new files under new names.
class GoldenDictionary {
public:
    GoldenDictionary() = delete;

    static constexpr size_t MEMORY_LIMIT = size_t(16) << 20;
    static constexpr uint64_t NARROW_MAXIMUM = 1000000;
    static constexpr uint64_t WIDE_MAXIMUM = uint64_t(1) << 33;

    enum class Fate : uint8_t { COMMITTED, WITHDRAWN, NOT_COMMITTED };

    struct Resource {
        uint8_t m_datatypeID;
        std::string m_lexicalForm;
        Fate m_fate = Fate::COMMITTED;
    };

    /// Indexed by ID - 1.
    using Resources = std::vector<Resource>;

    static Resources getStrings() {
        using namespace std::string_literals;
        return {
            {D_XSD_STRING, ""},
            {D_XSD_STRING, "abc"},
            {D_RDF_PLAIN_LITERAL, "abc@en"},
            {D_RDF_PLAIN_LITERAL, "@de-DE-1996"},
            {D_XSD_STRING, "abc@en"},
            {D_XSD_STRING, "zero\0inside"s},
            {D_XSD_STRING, "Gr\xC3\xBC\xC3\x9F"
                           "e \xE6\x97\xA5\xE6\x9C\xAC \xF0\x9F\x98\x80"},
            {D_XSD_STRING, std::string(126, 'a')},   // the longest with a header of 1 byte
            {D_XSD_STRING, std::string(127, 'b')},   // the shortest with 2
            {D_XSD_STRING, std::string(16382, 'c')}, // the longest with 2
            {D_XSD_STRING, std::string(16383, 'd')}, // the shortest with 4
            {D_XSD_STRING, "withdrawn", Fate::WITHDRAWN},
            {D_XSD_STRING, "withdrawn too", Fate::WITHDRAWN},
            {D_XSD_STRING, "withdrawn"},
            {D_RDF_PLAIN_LITERAL, "not committed@x-private", Fate::NOT_COMMITTED},
        };
    }

    static Resources getTerms() {
        const std::string base = "http://example.org/things#";
        Resources terms{
            {D_IRI, base},
            {D_BLANK_NODE, "b0"},
            {D_XSD_STRING, "thing"},
            {D_RDF_PLAIN_LITERAL, "thing@en"},
            {D_TYPED_LITERAL, "5^^http://www.w3.org/2001/XMLSchema#integer"},
            {D_TYPED_LITERAL, "05^^http://www.w3.org/2001/XMLSchema#integer"},
            {D_TYPED_LITERAL, "^^x:empty"},
            {D_DIRECTIONAL_STRING, "thing@en--ltr"},
            {D_DIRECTIONAL_STRING, "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D@he--rtl"},
            {D_DIRECTIONAL_STRING, "another thing@en--ltr"},
            {D_TRIPLE_TERM, "<<( <x:s> <x:p> \"o\" )>>"},
            {D_TRIPLE_TERM, "<<( _:b0 <x:p> <<( <x:s> <x:p> \"o\"@en--ltr )>> )>>"},
        };
        // A shared text is entered with the fourth term, so some terms are stored whole.
        for (const char* const name : {"a", "b", "c", "d", "e", "f"}) {
            terms.push_back({D_IRI, base + name});
            terms.push_back({D_BLANK_NODE, std::string("doc12-") + name});
        }
        for (const size_t length : {126UL, 127UL, 16382UL, 16383UL}) // the own part at the limits of size headers
            terms.push_back({D_IRI, base + std::string(length, 'x')});
        for (size_t number = 0; number < 130; ++number) // more datatypes than one-byte numbers
            terms.push_back({D_TYPED_LITERAL, "1^^http://example.org/type" + std::to_string(number)});
        terms.push_back({D_TYPED_LITERAL, "2^^http://example.org/type129"});
        for (const uint8_t datatypeID : {D_IRI, D_BLANK_NODE})
            terms.push_back({datatypeID, "withdrawn", Fate::WITHDRAWN});
        terms.push_back({D_TYPED_LITERAL, "1^^x:withdrawn", Fate::WITHDRAWN});
        terms.push_back({D_TRIPLE_TERM, "<<( <x:s> <x:p> <x:withdrawn> )>>", Fate::WITHDRAWN});
        terms.push_back({D_BLANK_NODE, "withdrawn"});
        terms.push_back({D_TYPED_LITERAL, "1^^x:withdrawn"});
        terms.push_back({D_IRI, base + "not-committed", Fate::NOT_COMMITTED});
        terms.push_back({D_DIRECTIONAL_STRING, "not committed@en--rtl", Fate::NOT_COMMITTED});
        return terms;
    }

    static std::unique_ptr<Dictionary> make(const Resources& resources, const uint64_t maximumNumberOfResources) {
        auto dictionary = std::make_unique<Dictionary>(
            DictionaryOptions{.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = maximumNumberOfResources});
        DictionaryThread thread(*dictionary);
        Fate before = Fate::COMMITTED;
        for (const Resource& resource : resources) {
            if (before == Fate::COMMITTED && resource.m_fate != Fate::COMMITTED)
                dictionary->commit();
            if (before == Fate::WITHDRAWN && resource.m_fate != Fate::WITHDRAWN)
                dictionary->rollback();
            before = resource.m_fate;
            dictionary->resolveResource(thread, resource.m_lexicalForm, resource.m_datatypeID);
        }
        return dictionary;
    }
};
