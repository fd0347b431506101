#include "melnar.h"

#include "Engine/c/DictionaryHandle.h"
#include "Engine/c/Errors.h"
#include "Engine/core/data-store/DictionaryOptions.h"
#include "Engine/core/data-store/dictionary/ArrowStrings.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>

// NOLINTBEGIN(readability-identifier-naming): the names are C's

struct melnar_dictionary : DictionaryHandle {
    using DictionaryHandle::DictionaryHandle;
};

// NOLINTEND(readability-identifier-naming)

namespace {

melnar_code report(const melnar_error& error, melnar_error* const output) noexcept {
    if (output != nullptr)
        *output = error;
    return error.code;
}

melnar_code reportDone(melnar_error* const output) noexcept {
    return report(makeNoError(), output);
}

melnar_code refuse(melnar_error* const output, const char* const message,
                   const size_t index = MELNAR_NO_INDEX) noexcept {
    return report(makeError(MELNAR_MISUSE, index, message), output);
}

constexpr size_t CHUNK_SIZE = 4096; // of a column that is decoded

constexpr const char* NULL_POINTER = "A pointer is null where one is required.";

template<class Make>
melnar_code makeDictionary(const melnar_options* const options, melnar_dictionary** const dictionary,
                           melnar_error* const error, const Make& make) noexcept {
    if (dictionary != nullptr)
        *dictionary = nullptr;
    if (options == nullptr || dictionary == nullptr)
        return refuse(error, NULL_POINTER);
    if (options->memory_limit == 0)
        return refuse(error, "A dictionary needs a memory limit.");
    try {
        DictionaryOptions made{.m_memoryLimit = options->memory_limit};
        if (options->maximum_number_of_resources != 0)
            made.m_maximumNumberOfResources = options->maximum_number_of_resources;
        *dictionary = new melnar_dictionary(make(made));
        return reportDone(error);
    } catch (...) {
        return report(describeException(), error);
    }
}

std::string_view toView(const char* const text) noexcept {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

/// Passes a column of texts to `operation` if the arguments are valid.
template<class Operation>
melnar_code passTexts(const bool hasDictionary, const char* const* const texts, const size_t* const lengths,
                      const size_t count, const uint64_t* const ids, melnar_error* const error,
                      const Operation& operation) noexcept {
    if (!hasDictionary || (count != 0 && (texts == nullptr || ids == nullptr)))
        return refuse(error, NULL_POINTER);
    for (size_t index = 0; index < count; ++index)
        if (texts[index] == nullptr && (lengths == nullptr || lengths[index] != 0))
            return refuse(error, NULL_POINTER, index);
    return report(operation(TextPointers{texts, lengths}), error);
}

/// Does the same for a column in Arrow's layout.
template<class Offset, class Operation>
melnar_code passArrow(const bool hasDictionary, const char* const bytes, const Offset* const offsets,
                      const size_t count, const uint64_t* const ids, melnar_error* const error,
                      const Operation& operation) noexcept {
    if (!hasDictionary || (count != 0 && (offsets == nullptr || ids == nullptr)))
        return refuse(error, NULL_POINTER);
    return report(operation(ArrowStrings<Offset>{bytes, {offsets, count == 0 ? 0 : count + 1}}), error);
}

template<class Offset>
melnar_code encodeArrow(melnar_dictionary* const dictionary, const char* const bytes, const Offset* const offsets,
                        const size_t count, const char* const language, uint64_t* const ids,
                        melnar_error* const error) noexcept {
    return passArrow(dictionary != nullptr, bytes, offsets, count, ids, error, [=](const auto& column) {
        return dictionary->encode(column, toView(language), {ids, count});
    });
}

template<class Offset>
melnar_code lookUpArrow(const melnar_dictionary* const dictionary, const melnar_commit_point commitPoint,
                        const char* const bytes, const Offset* const offsets, const size_t count,
                        const char* const language, uint64_t* const ids, melnar_error* const error) noexcept {
    return passArrow(dictionary != nullptr, bytes, offsets, count, ids, error, [=](const auto& column) {
        return dictionary->lookUp({commitPoint}, column, toView(language), {ids, count});
    });
}

/// Fills a column with the texts of resources. The bytes and offsets are allocated with malloc.
melnar_error decode(const melnar_dictionary& dictionary, const std::span<const uint64_t> ids, melnar_column& column) {
    column.offsets = static_cast<int64_t*>(std::malloc((ids.size() + 1) * sizeof(int64_t)));
    if (column.offsets == nullptr)
        throw std::bad_alloc();
    column.offsets[0] = 0;
    size_t size = 0;
    size_t capacity = 0;
    DictionaryHandle::Texts texts;
    for (size_t begin = 0; begin < ids.size(); begin += CHUNK_SIZE) {
        const std::span<const uint64_t> chunk = ids.subspan(begin, std::min(CHUNK_SIZE, ids.size() - begin));
        melnar_error error = dictionary.decode(chunk, texts);
        if (error.code != MELNAR_OK) {
            if (error.index != MELNAR_NO_INDEX)
                error.index += begin;
            return error;
        }
        size_t end = size;
        for (size_t index = 0; index < chunk.size(); ++index)
            column.offsets[begin + index + 1] = static_cast<int64_t>(end += texts.get()[index].size());
        if (end > capacity || column.bytes == nullptr) {
            // Grow by half. After the first chunk, estimate from it how much all others will need, unless that is
            // excessive.
            capacity = end + end / 2 + 1;
            if (begin == 0 && end / chunk.size() < SIZE_MAX / 2 / ids.size())
                capacity = std::max(capacity, end / chunk.size() * ids.size());
            void* larger = std::realloc(column.bytes, capacity);
            if (larger == nullptr)
                larger = std::realloc(column.bytes, capacity = end + 1);
            if (larger == nullptr)
                throw std::bad_alloc();
            column.bytes = static_cast<char*>(larger);
        }
        for (const std::string_view text : texts.get()) {
            size += text.copy(column.bytes + size, text.size());
        }
    }
    column.count = ids.size();
    return makeNoError();
}

Term toTerm(const melnar_term& term) noexcept {
    const auto toPart = [](const char* const data, const size_t size) {
        return data == nullptr ? std::string_view() : std::string_view(data, size);
    };
    return {static_cast<Term::Kind>(term.kind), static_cast<Term::Direction>(term.direction),
            toPart(term.text, term.text_length), toPart(term.language, term.language_length),
            toPart(term.datatype, term.datatype_length)};
}

/// Returns what is wrong with a term from C, or null.
const char* findFlaw(const melnar_term& term) noexcept {
    if (term.kind < MELNAR_IRI || term.kind > MELNAR_TRIPLE_TERM)
        return "The kind of a term is invalid.";
    if (term.direction < MELNAR_NO_DIRECTION || term.direction > MELNAR_RIGHT_TO_LEFT)
        return "The direction of a term is invalid.";
    if ((term.text == nullptr && term.text_length != 0) || (term.language == nullptr && term.language_length != 0) ||
        (term.datatype == nullptr && term.datatype_length != 0))
        return NULL_POINTER;
    return nullptr;
}

static_assert(int(Term::Kind::IRI) == MELNAR_IRI && int(Term::Kind::BLANK_NODE) == MELNAR_BLANK_NODE &&
              int(Term::Kind::LITERAL) == MELNAR_LITERAL && int(Term::Kind::TRIPLE_TERM) == MELNAR_TRIPLE_TERM);
static_assert(int(Term::Direction::NONE) == MELNAR_NO_DIRECTION &&
              int(Term::Direction::LEFT_TO_RIGHT) == MELNAR_LEFT_TO_RIGHT &&
              int(Term::Direction::RIGHT_TO_LEFT) == MELNAR_RIGHT_TO_LEFT);

} // namespace

// NOLINTBEGIN(readability-identifier-naming)

const char* melnar_version() {
    return MELNAR_VERSION_STRING;
}

const char* melnar_code_name(const int code) {
    switch (code) {
    case MELNAR_OK:
        return "MELNAR_OK";
    case MELNAR_REFUSED:
        return "MELNAR_REFUSED";
    case MELNAR_NO_SUCH_RESOURCE:
        return "MELNAR_NO_SUCH_RESOURCE";
    case MELNAR_FULL:
        return "MELNAR_FULL";
    case MELNAR_MEMORY:
        return "MELNAR_MEMORY";
    case MELNAR_SYSTEM:
        return "MELNAR_SYSTEM";
    case MELNAR_DAMAGED_FILE:
        return "MELNAR_DAMAGED_FILE";
    case MELNAR_IN_USE:
        return "MELNAR_IN_USE";
    case MELNAR_MISUSE:
        return "MELNAR_MISUSE";
    case MELNAR_OTHER:
        return "MELNAR_OTHER";
    }
    return "unknown";
}

melnar_code melnar_create(const melnar_options* const options, melnar_dictionary** const dictionary,
                          melnar_error* const error) {
    return makeDictionary(options, dictionary, error,
                          [](const DictionaryOptions& made) { return std::make_unique<Dictionary>(made); });
}

melnar_code melnar_open(const char* const file_name, const melnar_options* const options,
                        melnar_dictionary** const dictionary, melnar_error* const error) {
    if (file_name == nullptr) {
        if (dictionary != nullptr)
            *dictionary = nullptr;
        return refuse(error, NULL_POINTER);
    }
    return makeDictionary(options, dictionary, error,
                          [=](const DictionaryOptions& made) { return Dictionary::open(file_name, made); });
}

melnar_code melnar_save(melnar_dictionary* const dictionary, const char* const file_name, melnar_error* const error) {
    if (dictionary == nullptr || file_name == nullptr)
        return refuse(error, NULL_POINTER);
    return report(dictionary->save(file_name), error);
}

void melnar_close(melnar_dictionary* const dictionary) {
    delete dictionary;
}

melnar_code melnar_size(const melnar_dictionary* const dictionary, uint64_t* const size, melnar_error* const error) {
    if (dictionary == nullptr || size == nullptr)
        return refuse(error, NULL_POINTER);
    *size = dictionary->getSize();
    return reportDone(error);
}

melnar_code melnar_memory_in_use(const melnar_dictionary* const dictionary, uint64_t* const bytes,
                                 melnar_error* const error) {
    if (dictionary == nullptr || bytes == nullptr)
        return refuse(error, NULL_POINTER);
    *bytes = dictionary->getDictionary().getMemoryInUse();
    return reportDone(error);
}

melnar_code melnar_commit(melnar_dictionary* const dictionary, melnar_commit_point* const commit_point,
                          melnar_error* const error) {
    if (dictionary == nullptr)
        return refuse(error, NULL_POINTER);
    DictionaryCommitPoint commitPoint{};
    const melnar_error result = dictionary->commit(commitPoint);
    if (commit_point != nullptr)
        *commit_point = commitPoint.m_resourceID;
    return report(result, error);
}

melnar_code melnar_rollback(melnar_dictionary* const dictionary, melnar_error* const error) {
    if (dictionary == nullptr)
        return refuse(error, NULL_POINTER);
    return report(dictionary->rollback(), error);
}

melnar_code melnar_get_commit_point(const melnar_dictionary* const dictionary, melnar_commit_point* const commit_point,
                                    melnar_error* const error) {
    if (dictionary == nullptr || commit_point == nullptr)
        return refuse(error, NULL_POINTER);
    *commit_point = dictionary->getDictionary().getCommitPoint().m_resourceID;
    return reportDone(error);
}

melnar_code melnar_encode(melnar_dictionary* const dictionary, const char* const* const texts,
                          const size_t* const lengths, const size_t count, const char* const language,
                          uint64_t* const ids, melnar_error* const error) {
    return passTexts(dictionary != nullptr, texts, lengths, count, ids, error, [=](const auto& column) {
        return dictionary->encode(column, toView(language), {ids, count});
    });
}

melnar_code melnar_encode_arrow32(melnar_dictionary* const dictionary, const char* const bytes,
                                  const int32_t* const offsets, const size_t count, const char* const language,
                                  uint64_t* const ids, melnar_error* const error) {
    return encodeArrow(dictionary, bytes, offsets, count, language, ids, error);
}

melnar_code melnar_encode_arrow64(melnar_dictionary* const dictionary, const char* const bytes,
                                  const int64_t* const offsets, const size_t count, const char* const language,
                                  uint64_t* const ids, melnar_error* const error) {
    return encodeArrow(dictionary, bytes, offsets, count, language, ids, error);
}

melnar_code melnar_lookup(const melnar_dictionary* const dictionary, const melnar_commit_point commit_point,
                          const char* const* const texts, const size_t* const lengths, const size_t count,
                          const char* const language, uint64_t* const ids, melnar_error* const error) {
    return passTexts(dictionary != nullptr, texts, lengths, count, ids, error, [=](const auto& column) {
        return dictionary->lookUp({commit_point}, column, toView(language), {ids, count});
    });
}

melnar_code melnar_lookup_arrow32(const melnar_dictionary* const dictionary, const melnar_commit_point commit_point,
                                  const char* const bytes, const int32_t* const offsets, const size_t count,
                                  const char* const language, uint64_t* const ids, melnar_error* const error) {
    return lookUpArrow(dictionary, commit_point, bytes, offsets, count, language, ids, error);
}

melnar_code melnar_lookup_arrow64(const melnar_dictionary* const dictionary, const melnar_commit_point commit_point,
                                  const char* const bytes, const int64_t* const offsets, const size_t count,
                                  const char* const language, uint64_t* const ids, melnar_error* const error) {
    return lookUpArrow(dictionary, commit_point, bytes, offsets, count, language, ids, error);
}

melnar_code melnar_decode(const melnar_dictionary* const dictionary, const uint64_t* const ids, const size_t count,
                          melnar_column* const column, melnar_error* const error) {
    if (column != nullptr)
        *column = {};
    if (dictionary == nullptr || column == nullptr || (ids == nullptr && count != 0))
        return refuse(error, NULL_POINTER);
    melnar_error result;
    try {
        result = decode(*dictionary, {ids, count}, *column);
    } catch (...) {
        result = describeException();
    }
    if (result.code != MELNAR_OK)
        melnar_column_free(column);
    return report(result, error);
}

void melnar_column_free(melnar_column* const column) {
    if (column == nullptr)
        return;
    std::free(column->bytes);
    std::free(column->offsets);
    *column = {};
}

melnar_code melnar_get(const melnar_dictionary* const dictionary, const uint64_t id, melnar_term* const term,
                       melnar_error* const error) {
    if (term != nullptr)
        *term = {};
    if (dictionary == nullptr || term == nullptr)
        return refuse(error, NULL_POINTER);
    std::string form;
    Term found;
    if (const melnar_error result = dictionary->getTerm(id, form, found); result.code != MELNAR_OK)
        return report(result, error);
    // One block for all parts; it starts with the text.
    auto* const parts =
        static_cast<char*>(std::malloc(found.m_text.size() + found.m_language.size() + found.m_datatype.size() + 3));
    if (parts == nullptr)
        return report(makeError(MELNAR_MEMORY, MELNAR_NO_INDEX, "The process has no more memory."), error);
    char* next = parts;
    const auto copy = [&next](const std::string_view part) {
        char* const begin = next;
        std::copy(part.begin(), part.end(), begin);
        begin[part.size()] = '\0';
        next += part.size() + 1;
        return begin;
    };
    term->kind = static_cast<int32_t>(found.m_kind);
    term->direction = static_cast<int32_t>(found.m_direction);
    term->text = copy(found.m_text);
    term->text_length = found.m_text.size();
    term->language = copy(found.m_language);
    term->language_length = found.m_language.size();
    term->datatype = copy(found.m_datatype);
    term->datatype_length = found.m_datatype.size();
    return reportDone(error);
}

void melnar_term_free(melnar_term* const term) {
    if (term == nullptr)
        return;
    std::free(const_cast<char*>(term->text));
    *term = {};
}

melnar_code melnar_encode_term(melnar_dictionary* const dictionary, const melnar_term* const term, uint64_t* const id,
                               melnar_error* const error) {
    if (dictionary == nullptr || term == nullptr || id == nullptr)
        return refuse(error, NULL_POINTER);
    *id = 0;
    if (const char* const flaw = findFlaw(*term); flaw != nullptr)
        return refuse(error, flaw);
    return report(dictionary->encodeTerm(toTerm(*term), *id), error);
}

melnar_code melnar_lookup_term(const melnar_dictionary* const dictionary, const melnar_commit_point commit_point,
                               const melnar_term* const term, uint64_t* const id, melnar_error* const error) {
    if (dictionary == nullptr || term == nullptr || id == nullptr)
        return refuse(error, NULL_POINTER);
    *id = 0;
    if (const char* const flaw = findFlaw(*term); flaw != nullptr)
        return refuse(error, flaw);
    return report(dictionary->lookUpTerm({commit_point}, toTerm(*term), *id), error);
}

// NOLINTEND(readability-identifier-naming)
