#pragma once

#include <cstdint>
#include <string_view>

/// A kind of file that SectionOutputStream writes.
///
/// Ownership  Refers to constants.
/// Threads    Constant: any threads at any time.
struct SectionFormat {
    std::string_view m_magic; // what every file begins with
    uint32_t m_version;       // of all that follows
    const char* m_name;       // in the midst of a sentence
    const char* m_title;      // at its beginning

    /// A dictionary: DictionaryFile.
    static const SectionFormat DICTIONARY;
};

inline constexpr SectionFormat SectionFormat::DICTIONARY{"MELNARDC", 2, "dictionary file", "Dictionary file"};
