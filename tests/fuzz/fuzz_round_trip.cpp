#include "tests/Engine/core/data-store/ForgedDictionaryFile.h"
#include "tests/fuzz/Require.h"
#include "tests/judge/Refusal.h"
#include "tests/judge/Utf32.h"

#include "Engine/core/data-store/dictionary/Prefixes.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/data-store/terms/TermFamily.h"
#include "Engine/core/platform/MelnarException.h"
#include "Reader/CanonicalWriter.h"
#include "Reader/SyntaxReader.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

// Any bytes as terms. A dictionary refuses a term, or returns the same one from its ID, also after it was saved and
// read again. Each term is printed, and the reader finds the same term in the text. The reader may refuse only what no
// RDF text can hold, and never finds another term.
//
// Terms are separated by the byte 1E, and their parts by the byte 1F. The first byte of a term chooses its kind.

namespace {

constexpr size_t MEMORY_LIMIT = size_t(16) << 20;
constexpr char TERM_SEPARATOR = '\x1E';
constexpr char PART_SEPARATOR = '\x1F';
constexpr std::string_view XSD_STRING_IRI = "http://www.w3.org/2001/XMLSchema#string";
constexpr std::string_view PLAIN_LITERAL_IRI = "http://www.w3.org/1999/02/22-rdf-syntax-ns#PlainLiteral";
constexpr std::string_view LANG_STRING_IRI = "http://www.w3.org/1999/02/22-rdf-syntax-ns#langString";
constexpr std::string_view DIR_LANG_STRING_IRI = "http://www.w3.org/1999/02/22-rdf-syntax-ns#dirLangString";

/// A term that owns its parts.
struct OwnedTerm {
    auto operator<=>(const OwnedTerm&) const = default;

    explicit OwnedTerm(const Term& term)
        : m_kind(term.m_kind), m_direction(term.m_direction), m_text(term.m_text), m_language(term.m_language),
          m_datatype(term.m_datatype) {}

    Term get() const { return {m_kind, m_direction, m_text, m_language, m_datatype}; }

    Term::Kind m_kind;
    Term::Direction m_direction;
    std::string m_text;
    std::string m_language;
    std::string m_datatype;
};

/// Cuts a text at each separator.
std::vector<std::string_view> cut(std::string_view text, const char separator) {
    std::vector<std::string_view> pieces;
    for (;;) {
        const size_t end = text.find(separator);
        pieces.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return pieces;
        text.remove_prefix(end + 1);
    }
}

/// Makes a term, valid or not.
Term makeTerm(const std::string_view bytes) {
    std::vector<std::string_view> parts = cut(bytes.substr(std::min<size_t>(bytes.size(), 1)), PART_SEPARATOR);
    parts.resize(3);
    switch (bytes.empty() ? 0 : static_cast<uint8_t>(bytes.front()) % 8) {
    case 0:
        return {.m_kind = Term::Kind::LITERAL, .m_text = parts[0]};
    case 1:
        return {.m_kind = Term::Kind::IRI, .m_text = parts[0]};
    case 2:
        return {.m_kind = Term::Kind::BLANK_NODE, .m_text = parts[0]};
    case 3:
        return {.m_kind = Term::Kind::LITERAL, .m_text = parts[0], .m_language = parts[1]};
    case 4:
        return {.m_kind = Term::Kind::LITERAL, .m_text = parts[0], .m_datatype = parts[1]};
    case 5:
        return {.m_kind = Term::Kind::LITERAL,
                .m_direction = parts[2].empty() ? Term::Direction::RIGHT_TO_LEFT : Term::Direction::LEFT_TO_RIGHT,
                .m_text = parts[0],
                .m_language = parts[1]};
    case 6:
        return {.m_kind = Term::Kind::TRIPLE_TERM, .m_text = parts[0]};
    default:
        return {.m_kind = Term::Kind::LITERAL, .m_text = parts[0], .m_language = parts[1], .m_datatype = parts[2]};
    }
}

bool isUtf8(const std::string_view text) {
    try {
        toUtf32(text);
        return true;
    } catch (const Refusal&) {
        return false;
    }
}

bool isLetter(const char character) {
    return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z');
}

bool isLetterOrDigit(const char character) {
    return isLetter(character) || (character >= '0' && character <= '9');
}

bool isAbsoluteIri(const std::string_view iri) {
    const size_t colon = iri.find(':');
    return colon != std::string_view::npos && colon != 0 && isLetter(iri.front()) &&
           std::all_of(iri.begin(), iri.begin() + static_cast<std::ptrdiff_t>(colon),
                       [](const char character) {
                           return isLetterOrDigit(character) || character == '+' || character == '-' ||
                                  character == '.';
                       }) &&
           std::none_of(iri.begin(), iri.end(), [](const char character) {
               return (character >= 0 && character <= ' ') ||
                      std::string_view("<>\"{}|^`\\").find(character) != std::string_view::npos;
           });
}

/// Returns whether every reader of RDF 1.2 must accept a term that a dictionary holds. Those of which that is not known
/// here do not count.
bool isRepresentable(const OwnedTerm& term) {
    if (!isUtf8(term.m_text) || !isUtf8(term.m_datatype))
        return false;
    switch (term.m_kind) {
    case Term::Kind::IRI:
        return isAbsoluteIri(term.m_text);
    case Term::Kind::BLANK_NODE:
        return std::all_of(term.m_text.begin(), term.m_text.end(),
                           [](const char character) { return character > 0 && character != ':'; });
    case Term::Kind::LITERAL: {
        const std::vector<std::string_view> subtags = cut(term.m_language, '-');
        return std::all_of(subtags.begin(), subtags.end(),
                           [](const std::string_view subtag) { return subtag.size() <= 8; }) &&
               (term.m_datatype.empty() || (isAbsoluteIri(term.m_datatype) && term.m_datatype != LANG_STRING_IRI &&
                                            term.m_datatype != DIR_LANG_STRING_IRI));
    }
    default:
        return false;
    }
}

/// Takes the objects of statements. A triple term becomes canonical N-Triples with unchanged tags.
class ObjectCollector : public Rdf::StatementSink {
public:
    void takeStatement(const Rdf::Statement& statement) final {
        const Rdf::Term& object = statement.m_object;
        std::string text(object.m_text);
        if (object.m_kind == Rdf::TermKind::TRIPLE) {
            text.clear();
            Rdf::CanonicalWriter::appendTerm(object, text, Rdf::CanonicalWriter::Tags::AS_WRITTEN);
        }
        m_objects.emplace_back(Term{static_cast<Term::Kind>(object.m_kind),
                                    static_cast<Term::Direction>(object.m_direction), text, object.m_tag,
                                    object.m_datatype});
    }
    void takeError(const Rdf::SyntaxError&) final { m_hasError = true; }

    std::vector<OwnedTerm> m_objects;
    bool m_hasError = false;
};

/// Returns the term that a reader of the syntax finds in the text of a term. In Turtle, labels that start with "anon"
/// get an underscore after that, because the reader gives such labels to nodes without one.
OwnedTerm rename(OwnedTerm term, const Rdf::Syntax syntax) {
    constexpr std::string_view ANONYMOUS = "anon";
    if (syntax == Rdf::Syntax::TURTLE && term.m_kind == Term::Kind::BLANK_NODE && term.m_text.starts_with(ANONYMOUS))
        term.m_text.insert(ANONYMOUS.size(), "_");
    return term;
}

/// Returns the term that the reader finds in its text, or nothing if it refuses it.
std::optional<OwnedTerm> readTerm(const std::string& text, const Rdf::Syntax syntax) {
    Rdf::ReaderOptions options;
    options.m_syntax = syntax;
    ObjectCollector collector;
    Rdf::SyntaxReader::make(options, collector)->read("<s:s> <s:p> " + text + " .\n", true);
    // An error refuses the term even if a statement was found before it: a label such as "a.:b" ends one in Turtle.
    if (collector.m_hasError)
        return std::nullopt;
    require(collector.m_objects.size() == 1, "a term is one object");
    return collector.m_objects.front();
}

std::string print(const Dictionary& dictionary, const uint64_t resourceID) {
    std::string text;
    dictionary.appendTurtleLiteral(resourceID, text);
    std::string form;
    const uint8_t datatypeID = dictionary.getResource(resourceID, form);
    std::string again;
    dictionary.appendTurtleLiteral(form, datatypeID, again);
    require(again == text, "a form is printed like its resource");
    if (isOfStrings(datatypeID)) {
        melnar::MemoryOutputStream output;
        DictionaryDatatypeFactory::getFactory(datatypeID)
            ->printTurtleLiteral(datatypeID, reinterpret_cast<const uint8_t*>(form.c_str()), form.size() + 1, nullptr,
                                 0, Prefixes(), output);
        require(output.getBytes() == text, "a stream gets the same text");
    }
    return text;
}

void checkText(const Dictionary& dictionary, const uint64_t resourceID, const OwnedTerm& term) {
    const std::string text = print(dictionary, resourceID);
    for (const Rdf::Syntax syntax : {Rdf::Syntax::N_TRIPLES, Rdf::Syntax::TURTLE}) {
        const std::optional<OwnedTerm> found = readTerm(text, syntax);
        if (!found) {
            require(!isRepresentable(term), "the reader accepts what RDF can hold");
        } else if (term.m_kind != Term::Kind::TRIPLE_TERM) {
            require(*found == rename(term, syntax), "the reader finds the same term");
        } else { // it may be stored in another than the canonical form
            require(found->m_kind == Term::Kind::TRIPLE_TERM, "the reader finds a triple term");
            std::string canonical;
            dictionary.appendTurtleLiteral(found->m_text, D_TRIPLE_TERM, canonical);
            require(readTerm(canonical, Rdf::Syntax::N_TRIPLES) == found,
                    "the canonical form of a triple term is read again");
        }
    }
}

/// Checks that a term is the one that was given, also if its datatype says that it is a string.
void checkStored(const Term& given, const Term& stored) {
    if (given.m_datatype == PLAIN_LITERAL_IRI)
        require(stored.m_text.size() < given.m_text.size() && given.m_text.starts_with(stored.m_text) &&
                    given.m_text.substr(stored.m_text.size() + 1) == stored.m_language &&
                    given.m_text[stored.m_text.size()] == '@',
                "a plain literal is a text and a tag");
    else if (given.m_datatype == XSD_STRING_IRI)
        require(stored == Term{.m_kind = Term::Kind::LITERAL, .m_text = given.m_text}, "a string needs no datatype");
    else
        require(stored == given, "a term has the parts that were given");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT, .m_maximumNumberOfResources = NARROW});
    std::map<OwnedTerm, uint64_t> ids;
    {
        DictionaryThread thread(dictionary);
        for (const std::string_view bytes : cut({reinterpret_cast<const char*>(data), size}, TERM_SEPARATOR)) {
            const Term term = makeTerm(bytes);
            uint64_t resourceID = 0;
            try {
                resourceID = dictionary.resolveTerm(thread, term);
            } catch (const MelnarException& exception) {
                require(exception.getKind() == FailureKind::REFUSED_LITERAL, "only malformed terms are refused");
                continue;
            }
            std::string form;
            const Term stored = dictionary.getTerm(resourceID, form);
            checkStored(term, stored);
            require(ids.try_emplace(OwnedTerm(stored), ids.size() + 1).first->second == resourceID,
                    "a new term gets the next ID, and a known one its own");
        }
    }
    for (const auto& [term, resourceID] : ids)
        checkText(dictionary, resourceID, term);
    const std::string saved = writeToMemory(dictionary);
    const std::unique_ptr<Dictionary> again = readFromMemory(saved, MEMORY_LIMIT);
    again->verify();
    require(again->size() == ids.size(), "all terms are read again");
    std::vector<uint64_t> resourceIDs;
    for (const auto& [term, resourceID] : ids) {
        require(again->tryResolveTerm(DictionaryCommitPoint::ALL, term.get()) == resourceID, "a term keeps its ID");
        resourceIDs.push_back(resourceID);
    }
    TermColumn column;
    again->getTerms(resourceIDs, column);
    auto found = column.getTerms().begin();
    for (const auto& [term, resourceID] : ids)
        require(*found++ == term.get(), "a term is read again as it was");
    require(writeToMemory(*again) == saved, "the same dictionary gives the same bytes");
    return 0;
}
