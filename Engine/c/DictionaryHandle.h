#pragma once

#include "Engine/c/Errors.h"
#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/data-store/DictionaryThread.h"
#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/data-store/dictionary/ColumnException.h"
#include "Engine/core/data-store/dictionary/DictionaryCommitPoint.h"
#include "Engine/core/data-store/dictionary/PlainLiteral.h"
#include "Engine/core/data-store/terms/Term.h"
#include "Engine/core/platform/Unmovable.h"
#include "melnar.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

/// A column of texts in the form of the C interface.
struct TextPointers {
    const char* const* m_texts;
    const size_t* m_lengths; // null if each text ends before its zero byte

    std::string_view getText(const size_t index) const noexcept {
        return m_lengths == nullptr ? std::string_view(m_texts[index])
                                    : std::string_view(m_texts[index], m_lengths[index]);
    }
};

/// A dictionary for other languages: callers need not handle its threads and exceptions.
///
/// Each encoding call makes a DictionaryThread, which costs little compared to a column: the rest of its block is used
/// by the next call.
///
/// Ownership  Owns the dictionary.
/// Threads    Any number at any time, except for the destructor. commit, rollback and save wait for encoding calls, and
///            encoding calls that come later wait for them.
/// Errors     Returned as melnar_error, whose code is MELNAR_OK after success. No function throws.
class DictionaryHandle : private Unmovable {
public:
    explicit DictionaryHandle(std::unique_ptr<Dictionary> dictionary) noexcept : m_dictionary(std::move(dictionary)) {}

    const Dictionary& getDictionary() const noexcept { return *m_dictionary; }

    /// Encodes a column, of any type that Dictionary::encode takes or of type TextPointers. Stops at the first failure.
    template<class Column>
    melnar_error encode(const Column& texts, const std::string_view language,
                        const std::span<uint64_t> resourceIDs) noexcept {
        return answer(language, resourceIDs, [&] {
            const Encoding encoding(*this);
            DictionaryThread thread(*m_dictionary);
            return forEachPart(texts, resourceIDs, [&](const auto& part, const std::span<uint64_t> ofPart) {
                m_dictionary->encode(thread, part, ofPart, language);
            });
        });
    }

    /// Looks up a column; 0 also stands for a string that the commit point does not cover.
    template<class Column>
    melnar_error lookUp(const DictionaryCommitPoint commitPoint, const Column& texts, const std::string_view language,
                        const std::span<uint64_t> resourceIDs) const noexcept {
        return answer(language, resourceIDs, [&] {
            return forEachPart(texts, resourceIDs, [&](const auto& part, const std::span<uint64_t> ofPart) {
                m_dictionary->lookUp(commitPoint, part, ofPart, language);
            });
        });
    }

    /// The texts of some resources, without tags.
    class Texts {
    public:
        /// Valid until the next call that fills this, and as long as the dictionary.
        std::span<const std::string_view> get() const noexcept { return m_texts; }

    private:
        friend class DictionaryHandle;

        std::vector<BatchEntry> m_entries;
        std::vector<std::string_view> m_texts;
        std::string m_joined; // forms that have two parts
    };

    /// Decodes a column. To save memory, pass chunks of some thousand IDs. Also returns the texts of terms other than
    /// strings.
    melnar_error decode(std::span<const uint64_t> resourceIDs, Texts& texts) const noexcept;

    /// Sets `term` to the term of a resource, which refers to `lexicalForm`.
    melnar_error getTerm(uint64_t resourceID, std::string& lexicalForm, Term& term) const noexcept;

    melnar_error encodeTerm(const Term& term, uint64_t& resourceID) noexcept;
    melnar_error lookUpTerm(DictionaryCommitPoint commitPoint, const Term& term, uint64_t& resourceID) const noexcept;

    /// Returns how many resources exist.
    uint64_t getSize() const noexcept { return m_dictionary->size(); }

    melnar_error commit(DictionaryCommitPoint& commitPoint) noexcept;
    melnar_error rollback() noexcept;
    melnar_error save(const char* fileName) const noexcept;

private:
    /// Held by an encoding call. The turnstile keeps a stream of such calls from blocking others forever.
    class Encoding : private Unmovable {
    public:
        explicit Encoding(const DictionaryHandle& handle) : m_lock(enter(handle)) {}

    private:
        static std::shared_mutex& enter(const DictionaryHandle& handle) {
            const std::lock_guard<std::mutex> turn(handle.m_turnstile);
            return handle.m_mutex;
        }

        const std::shared_lock<std::shared_mutex> m_lock;
    };

    /// Held by a call during which no encoding call may run.
    class Alone : private Unmovable {
    public:
        explicit Alone(const DictionaryHandle& handle) : m_turn(handle.m_turnstile), m_lock(handle.m_mutex) {}

    private:
        const std::lock_guard<std::mutex> m_turn;
        const std::lock_guard<std::shared_mutex> m_lock;
    };

    /// Calls `operation()` for a column if the language tag is valid; turns exceptions into errors.
    template<class Operation>
    static melnar_error answer(const std::string_view language, const std::span<uint64_t> resourceIDs,
                               const Operation& operation) noexcept {
        std::ranges::fill(resourceIDs, 0);
        try {
            checkLanguageTag(language);
            return operation();
        } catch (...) {
            return describeException();
        }
    }

    /// Calls `operation(column, resourceIDs)` for a column of a type that the dictionary takes.
    template<class Column, class Operation>
    static melnar_error forEachPart(const Column& texts, const std::span<uint64_t> resourceIDs,
                                    const Operation& operation) {
        operation(texts, resourceIDs);
        return makeNoError();
    }

    /// Converts pointers part by part, and calls `operation` for each part.
    template<class Operation>
    static melnar_error forEachPart(const TextPointers& texts, const std::span<uint64_t> resourceIDs,
                                    const Operation& operation) {
        std::array<std::string_view, 2048> part;
        for (size_t begin = 0; begin < resourceIDs.size(); begin += part.size()) {
            const size_t size = std::min(part.size(), resourceIDs.size() - begin);
            for (size_t index = 0; index < size; ++index)
                part[index] = texts.getText(begin + index);
            try {
                operation(std::span<const std::string_view>(part).first(size), resourceIDs.subspan(begin, size));
            } catch (const ColumnException&) {
                melnar_error error = describeException();
                error.index += begin;
                return error;
            }
        }
        return makeNoError();
    }

    const std::unique_ptr<Dictionary> m_dictionary;
    mutable std::mutex m_turnstile;
    mutable std::shared_mutex m_mutex; // shared by encoding calls
};
