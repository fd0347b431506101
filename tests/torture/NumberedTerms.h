#pragma once

#include "Engine/core/data-store/dictionary/BatchEntry.h"
#include "Engine/core/platform/Unmovable.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

/// The form of a term of any family and its datatype ID, both determined by a number: different numbers mean different
/// terms, a third of which share text with others. So a model of a dictionary need not store any text.
///
/// Threads  One at a time.
class NumberedTerm {
public:
    /// Of 16 numbers in a row, from a multiple of 16 on, so many first ones are those of strings without a tag.
    static constexpr uint32_t STRINGS_OF_16 = 6;

    /// Makes the term of a number. The object can be used again.
    void make(uint32_t number);

    [[nodiscard]] const std::string& getForm() const noexcept { return m_form; }
    [[nodiscard]] uint8_t getDatatypeID() const noexcept { return m_datatypeID; }

private:
    std::string m_form;
    uint8_t m_datatypeID = 0;
};

/// A batch of numbered terms.
///
/// Ownership  Owns the forms, to which the entries refer.
/// Threads    One at a time.
class NumberedBatch : private Unmovable {
public:
    /// Replaces the entries by those of numbers. Their IDs are 0.
    void make(std::span<const uint32_t> numbers);

    [[nodiscard]] std::span<BatchEntry> getEntries() noexcept { return m_entries; }

private:
    NumberedTerm m_term;
    std::string m_forms;
    std::vector<BatchEntry> m_entries;
};
