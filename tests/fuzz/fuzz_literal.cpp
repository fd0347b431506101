#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/platform/MelnarException.h"
#include "tests/fuzz/LanguageTag.h"
#include "tests/fuzz/Require.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Strings and plain literals: what a dictionary accepts, stores, finds and returns, and how it refuses, one by one and
// in batches. The rules are stated here a second time. Each line of the input is a form of both datatypes, and a
// language tag.

namespace {

constexpr size_t MEMORY_LIMIT = size_t(16) << 20;

/// What a dictionary must make of a form: a literal, or a refusal with this message.
struct Meaning {
    std::string m_refusal{};
    uint8_t m_datatypeID = D_INVALID;
    std::string m_form{};
    std::string m_text{};
    std::string m_tag{};
};

/// A form of a datatype, what it means, and the ID that it must get, or 0.
struct Question {
    std::string m_form;
    uint8_t m_datatypeID;
    Meaning m_meaning;
    uint64_t m_resourceID;
};

Meaning getMeaning(const std::string& form, const uint8_t datatypeID) {
    if (datatypeID == D_XSD_STRING)
        return {{}, D_XSD_STRING, form, form, {}};
    const std::string refusal = "Lexical form '" + form + "' is invalid for datatype rdf:PlainLiteral because ";
    const size_t atSign = form.rfind('@');
    if (atSign == std::string::npos)
        return {.m_refusal = refusal + "it does not contain the '@' character."};
    const std::string text = form.substr(0, atSign);
    const std::string tag = form.substr(atSign + 1);
    if (tag.empty())
        return {{}, D_XSD_STRING, text, text, {}};
    if (!isLanguageTag(tag))
        return {.m_refusal = refusal + " it its language tag is malformed."};
    return {{}, D_RDF_PLAIN_LITERAL, form, text, tag};
}

/// Assigns IDs in the order of first sight.
std::vector<Question> makeQuestions(const std::vector<std::string>& lines) {
    std::map<std::pair<uint8_t, std::string>, uint64_t> ids;
    std::vector<Question> questions;
    for (const std::string& line : lines)
        for (const uint8_t datatypeID : {D_RDF_PLAIN_LITERAL, D_XSD_STRING}) {
            const Meaning meaning = getMeaning(line, datatypeID);
            uint64_t id = 0;
            if (meaning.m_refusal.empty())
                id = ids.try_emplace({meaning.m_datatypeID, meaning.m_form}, ids.size() + 1).first->second;
            questions.push_back({line, datatypeID, meaning, id});
        }
    return questions;
}

void requireRefusal(const MelnarException& exception, const Meaning& meaning) {
    require(exception.getKind() == FailureKind::REFUSED_LITERAL, "a refusal has its kind");
    require(exception.getMessage() == meaning.m_refusal, "only malformed literals are refused, with the reason");
}

template<class Operation>
void requireAnswer(const Meaning& meaning, const uint64_t id, const Operation& operation) {
    try {
        require(operation() == id, "a literal has one ID");
        require(meaning.m_refusal.empty(), "a malformed literal is refused");
    } catch (const MelnarException& exception) {
        requireRefusal(exception, meaning);
    }
}

/// Reads a resource in all ways, and finds it by the parts that are returned.
void checkResource(Dictionary& dictionary, DictionaryThread& thread, const Question& question) {
    const Meaning& meaning = question.m_meaning;
    const uint64_t id = question.m_resourceID;
    std::string form;
    require(dictionary.getResource(id, form) == meaning.m_datatypeID && form == meaning.m_form, "a form is returned");
    ResourceValue value;
    dictionary.getResource(id, value);
    require(value.m_datatypeID == meaning.m_datatypeID && value.m_dataSize == meaning.m_form.size() + 1 &&
                value.m_auxiliaryDataSize == 0 &&
                std::memcmp(value.m_data, meaning.m_form.c_str(), value.m_dataSize) == 0,
            "a value has the form and a zero byte");
    const std::string_view stored = dictionary.getLexicalForm(id);
    require(stored == meaning.m_form && stored.data()[stored.size()] == 0, "the stored form has a zero byte after it");
    const Term term{.m_kind = Term::Kind::LITERAL, .m_text = meaning.m_text, .m_language = meaning.m_tag};
    require(dictionary.getTerm(id, form) == term, "text and tag are returned");
    require(dictionary.resolveTerm(thread, term) == id, "a term is its form");
    require(dictionary.tryResolveTerm(DictionaryCommitPoint::ALL, term) == id, "a term is found");
    require(dictionary.resolveLangString(thread, meaning.m_text, meaning.m_tag) == id, "text and tag are the form");
    std::vector<uint64_t> ids{0};
    const std::vector<std::string_view> texts{meaning.m_text};
    dictionary.encode(thread, texts, ids, meaning.m_tag);
    require(ids.front() == id, "a column of one text gets its ID");
    std::vector<std::string_view> decoded(1);
    std::vector<std::string_view> tags(1);
    dictionary.decode(ids, decoded, tags);
    require(decoded.front() == meaning.m_text && tags.front() == meaning.m_tag, "a column is decoded");
}

void checkOneByOne(const std::vector<Question>& questions) {
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT});
    DictionaryThread thread(dictionary);
    uint64_t nextID = 1;
    for (const Question& question : questions) {
        const uint64_t id = question.m_resourceID;
        const auto lookUp = [&](const DictionaryCommitPoint commitPoint) {
            return dictionary.tryResolveResource(commitPoint, question.m_form, question.m_datatypeID);
        };
        requireAnswer(question.m_meaning, id < nextID ? id : 0, [&] { return lookUp(DictionaryCommitPoint::ALL); });
        requireAnswer(question.m_meaning, id,
                      [&] { return dictionary.resolveResource(thread, question.m_form, question.m_datatypeID); });
        nextID = std::max(nextID, id + 1);
        const DictionaryCommitPoint commitPoint = dictionary.getCommitPoint();
        requireAnswer(question.m_meaning, id < commitPoint.m_resourceID ? id : 0, [&] { return lookUp(commitPoint); });
        if (id != 0)
            checkResource(dictionary, thread, question);
        require(dictionary.getNextResourceID() == nextID, "a refusal uses no ID");
        if (nextID % 3 == 0)
            dictionary.commit();
    }
}

void checkFailures(const std::vector<Question>& questions, const std::vector<BatchFailure>& failures) {
    auto failure = failures.begin();
    for (size_t index = 0; index < questions.size(); ++index) {
        if (questions[index].m_meaning.m_refusal.empty())
            continue;
        require(failure != failures.end() && failure->m_entryIndex == index, "a malformed literal fails in a batch");
        require(failure->m_kind == FailureKind::REFUSED_LITERAL, "a failure has its kind");
        requireAnswer(questions[index].m_meaning, 0, [&]() -> uint64_t { failure->throwException(); });
        ++failure;
    }
    require(failure == failures.end(), "a well-formed literal does not fail in a batch");
}

void checkBatch(const std::vector<Question>& questions) {
    Dictionary dictionary({.m_memoryLimit = MEMORY_LIMIT});
    DictionaryThread thread(dictionary);
    const auto check = [&](const bool exist, const auto& operation) {
        std::vector<BatchEntry> entries;
        for (const Question& question : questions)
            entries.push_back({question.m_form, 0, question.m_datatypeID});
        std::vector<BatchFailure> failures;
        operation(entries, failures);
        checkFailures(questions, failures);
        for (size_t index = 0; index < questions.size(); ++index)
            require(entries[index].m_resourceID == (exist ? questions[index].m_resourceID : 0),
                    "a batch gives the IDs that single operations give");
        return entries;
    };
    const auto lookUp = [&](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
        dictionary.tryResolveResources(DictionaryCommitPoint::ALL, entries, failures);
    };
    check(false, lookUp);
    check(true, [&](std::vector<BatchEntry>& entries, std::vector<BatchFailure>& failures) {
        dictionary.resolveResources(thread, entries, failures);
    });
    std::vector<BatchEntry> entries = check(true, lookUp);
    dictionary.getResources(entries);
    for (size_t index = 0; index < questions.size(); ++index)
        require(entries[index].m_datatypeID == questions[index].m_meaning.m_datatypeID &&
                    entries[index].m_lexicalForm == questions[index].m_meaning.m_form,
                "a batch returns the forms");
    dictionary.verify();
}

/// Checks the functions that need no dictionary.
void checkParsing(const Question& question) {
    const DictionaryDatatypeFactory& factory = *DictionaryDatatypeFactory::getFactory(question.m_datatypeID);
    const Meaning& meaning = question.m_meaning;
    const std::string& form = question.m_form;
    ResourceValue value;
    const auto hasMeaning = [&] {
        return value.m_datatypeID == meaning.m_datatypeID && value.m_dataSize == meaning.m_form.size() + 1 &&
               std::memcmp(value.m_data, meaning.m_form.c_str(), value.m_dataSize) == 0;
    };
    requireAnswer(meaning, 1, [&] {
        factory.parseResourceValue(value, form.data(), form.size(), question.m_datatypeID);
        return uint64_t(hasMeaning());
    });
    std::memcpy(value.useOwnStorage(form.size() + 1), form.c_str(), form.size() + 1);
    if (form.find('\0') == std::string::npos) // a message ends there
        requireAnswer(meaning, 1, [&] {
            factory.inPlaceParseResourceValue(value, question.m_datatypeID);
            return uint64_t(hasMeaning());
        });
}

void checkTag(const Dictionary& dictionary, const std::string& tag) {
    try {
        require(dictionary.tryResolveLangString(DictionaryCommitPoint::ALL, "", tag) == 0, "nothing is in there");
        require(tag.empty() || isLanguageTag(tag), "a malformed tag is refused");
    } catch (const MelnarException& exception) {
        require(exception.getKind() == FailureKind::REFUSED_LITERAL, "the refusal of a tag has its kind");
        require(!tag.empty() && !isLanguageTag(tag), "a well-formed tag is accepted");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* const data, const size_t size) { // NOLINT
    static const Dictionary empty({.m_memoryLimit = MEMORY_LIMIT});
    std::vector<std::string> lines;
    std::istringstream input(std::string(reinterpret_cast<const char*>(data), size));
    for (std::string line; std::getline(input, line);)
        lines.push_back(line);
    const std::vector<Question> questions = makeQuestions(lines);
    checkOneByOne(questions);
    checkBatch(questions);
    std::for_each(questions.begin(), questions.end(), &checkParsing);
    for (const std::string& line : lines)
        checkTag(empty, line);
    return 0;
}
