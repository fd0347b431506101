#pragma once

#include <cstdint>
#include <string_view>

class InputStream;

namespace melnar {

/// A kind of file that SectionOutputStream writes.
///
/// Ownership  Refers to constants.
/// Threads    Constant: any threads at any time.
struct SectionFormat {
    std::string_view m_magic; // at the start of every file
    uint32_t m_version;       // of everything after it
    const char* m_name;       // within a sentence
    const char* m_title;      // at the start of a sentence

    /// Returns whether a stream starts like a file of this kind, sound or not and of any version.
    bool isBeginningOf(InputStream& input) const;

    /// The format of DictionaryFile.
    static const SectionFormat DICTIONARY;
};

inline constexpr SectionFormat SectionFormat::DICTIONARY{"MELNARDC", 2, "dictionary file", "Dictionary file"};

} // namespace melnar
