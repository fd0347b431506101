#pragma once

#include "Engine/core/data-store/RunningOperations.h"
#include "Engine/core/data-store/dictionary/ArrowColumn.h"
#include "Engine/core/data-store/dictionary/ArrowStrings.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/BatchFailure.h"
#include "Engine/core/data-store/dictionary/ColumnException.h"
#include "Engine/core/data-store/dictionary/DatatypeIDs.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/data-store/terms/TermBatch.h"
#include "Engine/core/data-store/terms/TermColumn.h"
#include "Engine/core/platform/MelnarException.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <exception>
#include <limits>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace melnar {

/// Implements operations on columns of terms or strings by operations on batches, for Dictionary and ShardedDictionary.
/// A column is divided into chunks of at most `CHUNK_SIZE` terms and `MAXIMUM_NUMBER_OF_BYTES` of text, which the last
/// term of a chunk may exceed.
///
/// Threads  Has no state: any threads at any time.
/// Errors   Those of Dictionary's operations on columns; and what the operations on batches throw.
template<size_t CHUNK_SIZE, size_t MAXIMUM_NUMBER_OF_BYTES>
class DictionaryTermColumns {
public:
    DictionaryTermColumns() = delete;

    /// Processes a column of terms: calls `operation(entries, failures)` for each chunk.
    template<class Operation>
    static void answer(const std::span<const Term> terms, const std::span<uint64_t> resourceIDs,
                       std::vector<BatchFailure>& failures, const Operation& operation) {
        answerColumn(TermQuestions{terms}, resourceIDs, operation, [&](BatchFailure& failure) {
            if (failure.m_kind == FailureKind::REFUSED_LITERAL && !terms[failure.m_entryIndex].isTextTheForm())
                failure = makeException(failure); // The form will be overwritten by the next chunk.
            failures.push_back(std::move(failure));
        });
    }

    /// Does the same with a column of strings. Throws ColumnException for the first entry that fails.
    template<class Operation>
    static void answer(const std::span<const std::string_view> texts, const std::string_view languageTag,
                       const std::span<uint64_t> resourceIDs, const Operation& operation) {
        checkLanguageTag(languageTag);
        answerColumn(TextQuestions{texts, languageTag}, resourceIDs, operation, &throwColumnException);
    }

    template<ArrowOffset Offset, class Operation>
    static void answer(const ArrowStrings<Offset>& texts, const std::string_view languageTag,
                       const std::span<uint64_t> resourceIDs, const Operation& operation) {
        checkLanguageTag(languageTag);
        texts.check();
        answerColumn(ArrowQuestions<Offset>{texts, languageTag}, resourceIDs, operation, &throwColumnException);
    }

    /// Reads the terms of resources with batches of a dictionary.
    template<class Host>
    static void get(const Host& dictionary, const std::span<const uint64_t> resourceIDs, TermColumn& column) {
        column.m_terms.clear();
        column.m_terms.reserve(resourceIDs.size());
        column.m_joinedForms.resize(
            std::max(column.m_joinedForms.size(), (resourceIDs.size() + CHUNK_SIZE - 1) / CHUNK_SIZE));
        forEachChunk(dictionary, resourceIDs, column.m_entries, [&](const size_t begin) {
            std::string& joinedForms = column.m_joinedForms[begin / CHUNK_SIZE];
            joinedForms.clear();
            column.m_joinedEnds.clear();
            for (const BatchEntry& entry : column.m_entries) {
                if (entry.m_affixNumber != 0)
                    dictionary.appendLexicalForm(entry, joinedForms);
                column.m_joinedEnds.push_back(joinedForms.size());
            }
            size_t joinedBegin = 0;
            for (size_t index = 0; index < column.m_entries.size(); ++index) {
                const BatchEntry& entry = column.m_entries[index];
                const size_t joinedEnd = column.m_joinedEnds[index];
                column.m_terms.push_back(Term::parse(
                    entry.m_datatypeID, entry.m_affixNumber == 0 ? entry.m_lexicalForm
                                                                 : std::string_view(joinedForms.data() + joinedBegin,
                                                                                    joinedEnd - joinedBegin)));
                joinedBegin = joinedEnd;
            }
        });
    }

    /// Reads strings with batches of a dictionary. If `languageTags` is empty, no tags are returned.
    template<class Host>
    static void decode(const Host& dictionary, const std::span<const uint64_t> resourceIDs,
                       const std::span<std::string_view> texts, const std::span<std::string_view> languageTags) {
        if (texts.size() != resourceIDs.size() || (!languageTags.empty() && languageTags.size() != resourceIDs.size()))
            throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_UNEQUAL_SPANS_TO_DECODE,
                                  MelnarException::NO_CAUSES, "There are ", resourceIDs.size(), " IDs, but room for ",
                                  texts.size(), " texts and ", languageTags.size(), " language tags.");
        std::vector<BatchEntry> entries;
        forEachChunk(dictionary, resourceIDs, entries, [&](const size_t begin) {
            for (size_t index = 0; index < entries.size(); ++index) {
                const StringParts parts = getParts(entries[index], begin + index);
                texts[begin + index] = parts.m_text;
                if (!languageTags.empty())
                    languageTags[begin + index] = parts.m_languageTag;
            }
        });
    }

    /// Does the same into buffers with Arrow's layout. If `languageTags` is null, no tags are returned.
    template<class Host, ArrowOffset Offset>
    static void decode(const Host& dictionary, const std::span<const uint64_t> resourceIDs, ArrowColumn<Offset>& texts,
                       ArrowColumn<Offset>* const languageTags) {
        try {
            decodeInto(dictionary, resourceIDs, texts, languageTags);
        } catch (...) {
            texts.clear();
            if (languageTags != nullptr)
                languageTags->clear();
            throw;
        }
    }

private:
    static constexpr const char* SOURCE_FILE = "Engine/core/data-store/DictionaryTermColumns";
    static constexpr long LINE_UNEQUAL_SPANS = 34;
    static constexpr long LINE_UNEQUAL_SPANS_TO_DECODE = 97;
    static constexpr long LINE_ENTRY_FAILED = 141;
    static constexpr long LINE_ENTRY_FAILED_WITH_OTHER = 144;
    static constexpr long LINE_NO_STRING = 163;
    static constexpr long LINE_TOO_MANY_BYTES = 178;

    // The columns of input. `add` adds an entry to a batch and returns its bytes of text; `forEachMemory` visits the
    // memory of the column and of its texts.

    struct TermQuestions {
        static constexpr const char* NOUN = " terms";

        size_t size() const noexcept { return m_terms.size(); }
        static constexpr bool isNull(size_t) noexcept { return false; }
        size_t add(const size_t index, TermBatch& batch) const {
            batch.add(m_terms[index]);
            return m_terms[index].m_text.size();
        }
        template<class Visit>
        void forEachMemory(const Visit& visit) const {
            visit(std::as_bytes(m_terms));
            for (const Term& term : m_terms)
                for (const std::string_view part : {term.m_text, term.m_language, term.m_datatype})
                    visit(std::as_bytes(std::span(part)));
        }

        std::span<const Term> m_terms;
    };

    struct TextQuestions {
        static constexpr const char* NOUN = " texts";

        size_t size() const noexcept { return m_texts.size(); }
        static constexpr bool isNull(size_t) noexcept { return false; }
        size_t add(const size_t index, TermBatch& batch) const {
            batch.add(m_texts[index], m_languageTag);
            return m_texts[index].size() + m_languageTag.size();
        }
        template<class Visit>
        void forEachMemory(const Visit& visit) const {
            visit(std::as_bytes(m_texts));
            visit(std::as_bytes(std::span(m_languageTag)));
            for (const std::string_view text : m_texts)
                visit(std::as_bytes(std::span(text)));
        }

        std::span<const std::string_view> m_texts;
        std::string_view m_languageTag;
    };

    template<ArrowOffset Offset>
    struct ArrowQuestions {
        static constexpr const char* NOUN = " texts";

        size_t size() const noexcept { return m_texts.size(); }
        bool isNull(const size_t index) const noexcept { return m_texts.isNull(index); }
        size_t add(const size_t index, TermBatch& batch) const {
            const std::string_view text = m_texts.getText(index);
            batch.add(text, m_languageTag);
            return text.size() + m_languageTag.size();
        }
        template<class Visit>
        void forEachMemory(const Visit& visit) const {
            visit(std::as_bytes(m_texts.m_offsets));
            visit(std::as_bytes(std::span(m_languageTag)));
            for (size_t index = 0; index < size(); ++index)
                if (!isNull(index))
                    visit(std::as_bytes(std::span(m_texts.getText(index))));
            if (m_texts.m_validity != nullptr) {
                const size_t firstByte = m_texts.m_validityOffset / 8;
                const size_t endByte = (m_texts.m_validityOffset + size() + 7) / 8;
                visit(std::as_bytes(std::span(m_texts.m_validity + firstByte, endByte - firstByte)));
            }
        }

        ArrowStrings<Offset> m_texts;
        std::string_view m_languageTag;
    };

    /// Calls `operation(entries, failures)` for each chunk of a column, and `takeFailure(failure)` for each failure, in
    /// the order of the column; the index of the failure is that in the column. A null is not passed on, and gets ID 0.
    template<class Column, class Operation, class TakeFailure>
    static void answerColumn(const Column& column, const std::span<uint64_t> resourceIDs, const Operation& operation,
                             const TakeFailure& takeFailure) {
        if (column.size() != resourceIDs.size())
            throw MelnarException(FailureKind::MISUSE, SOURCE_FILE, LINE_UNEQUAL_SPANS, MelnarException::NO_CAUSES,
                                  "There are ", column.size(), Column::NOUN, ", but room for ", resourceIDs.size(),
                                  " IDs.");
        if constexpr (RunningOperations::IS_CHECKED)
            column.forEachMemory([&](const std::span<const std::byte> memory) {
                RunningOperations::requireApart(memory, std::as_bytes(resourceIDs));
            });
        std::ranges::fill(resourceIDs, 0);
        TermBatch batch;
        std::vector<BatchFailure> ofChunk;
        for (size_t begin = 0, end = 0; begin < column.size(); begin = end) {
            batch.clear();
            ofChunk.clear();
            for (size_t numberOfBytes = 0;
                 end < column.size() && batch.getSize() < CHUNK_SIZE && numberOfBytes < MAXIMUM_NUMBER_OF_BYTES; ++end)
                if (!column.isNull(end))
                    numberOfBytes += column.add(end, batch);
            const std::span<BatchEntry> entries = batch.getEntries();
            operation(entries, ofChunk);
            auto entry = entries.begin();
            for (size_t index = begin; index < end; ++index)
                if (!column.isNull(index))
                    resourceIDs[index] = (entry++)->m_resourceID;
            size_t index = begin;
            size_t entryIndex = 0; // of the first element from there on that is not null
            for (BatchFailure& failure : ofChunk) {
                for (; column.isNull(index) || entryIndex != failure.m_entryIndex; ++index)
                    entryIndex += !column.isNull(index);
                failure.m_entryIndex = index;
                takeFailure(failure);
            }
        }
    }

    /// Calls `take(begin)` for each chunk, with its resources read into `entries`.
    template<class Host, class Take>
    static void forEachChunk(const Host& dictionary, const std::span<const uint64_t> resourceIDs,
                             std::vector<BatchEntry>& entries, const Take& take) {
        for (size_t begin = 0; begin < resourceIDs.size(); begin += CHUNK_SIZE) {
            const std::span<const uint64_t> chunk =
                resourceIDs.subspan(begin, std::min(CHUNK_SIZE, resourceIDs.size() - begin));
            entries.resize(chunk.size());
            for (size_t index = 0; index < chunk.size(); ++index)
                entries[index].m_resourceID = chunk[index];
            dictionary.getResources(entries);
            take(begin);
        }
    }

    /// The parts of a string. Both are null if there is no resource.
    struct StringParts {
        std::string_view m_text;
        std::string_view m_languageTag;
    };

    static StringParts getParts(const BatchEntry& entry, const size_t entryIndex) {
        if (entry.m_datatypeID == D_XSD_STRING)
            return {entry.m_lexicalForm, ""};
        if (entry.m_datatypeID == D_INVALID)
            return {};
        if (entry.m_datatypeID != D_RDF_PLAIN_LITERAL)
            throw ColumnException(FailureKind::NO_SUCH_RESOURCE, SOURCE_FILE, LINE_NO_STRING,
                                  MelnarException::NO_CAUSES, entryIndex, "resource ", entry.m_resourceID,
                                  " is no string.");
        const Term term = Term::parse(entry.m_datatypeID, entry.m_lexicalForm);
        return {term.m_text, term.m_language};
    }

    template<class Host, ArrowOffset Offset>
    static void decodeInto(const Host& dictionary, const std::span<const uint64_t> resourceIDs,
                           ArrowColumn<Offset>& texts, ArrowColumn<Offset>* const languageTags) {
        texts.clear();
        texts.reserve(resourceIDs.size());
        if (languageTags != nullptr) {
            languageTags->clear();
            languageTags->reserve(resourceIDs.size());
        }
        std::vector<BatchEntry> entries;
        std::vector<StringParts> parts;
        forEachChunk(dictionary, resourceIDs, entries, [&](const size_t begin) {
            parts.resize(entries.size());
            for (size_t index = 0; index < entries.size(); ++index)
                parts[index] = getParts(entries[index], begin + index);
            append(parts, &StringParts::m_text, texts);
            if (languageTags != nullptr)
                append(parts, &StringParts::m_languageTag, *languageTags);
        });
    }

    /// Appends one part of each string. Throws, before it takes memory, if the offsets cannot reach the end of all
    /// parts.
    template<ArrowOffset Offset>
    static void append(const std::span<const StringParts> parts, std::string_view StringParts::*const part,
                       ArrowColumn<Offset>& column) {
        size_t numberOfBytes = 0;
        for (const StringParts& ofString : parts)
            numberOfBytes += (ofString.*part).size();
        const size_t end = column.m_bytes.size() + numberOfBytes;
        if (end > static_cast<size_t>(std::numeric_limits<Offset>::max()))
            throw MelnarException(FailureKind::FULL, SOURCE_FILE, LINE_TOO_MANY_BYTES, MelnarException::NO_CAUSES,
                                  "The first ", column.getStrings().size() + parts.size(), " strings of a column have ",
                                  end, " bytes, more than offsets of ", 8 * sizeof(Offset), " bits can represent.");
        column.append(parts.size(), numberOfBytes,
                      [&](const size_t index) -> const std::string_view& { return parts[index].*part; });
    }

    /// Returns the same failure of a refused entry with its exception made, so that it refers to no form.
    static BatchFailure makeException(const BatchFailure& failure) {
        try {
            failure.throwException();
        } catch (const MelnarException&) {
            return {failure.m_entryIndex, failure.m_kind, std::current_exception()};
        }
    }

    [[noreturn]] static void throwColumnException(const BatchFailure& failure) {
        try {
            failure.throwException();
        } catch (const MelnarException& exception) {
            throw ColumnException(exception.getKind(), SOURCE_FILE, LINE_ENTRY_FAILED, {std::current_exception()},
                                  failure.m_entryIndex, exception.getMessage());
        } catch (const std::exception& exception) {
            throw ColumnException(FailureKind::SYSTEM, SOURCE_FILE, LINE_ENTRY_FAILED_WITH_OTHER,
                                  {std::current_exception()}, failure.m_entryIndex, exception.what());
        }
    }
};

} // namespace melnar
