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
    std::string_view m_magic; // what every file begins with
    uint32_t m_version;       // of all that follows
    const char* m_name;       // in the midst of a sentence
    const char* m_title;      // at its beginning

    /// Whether a stream begins like a file of this kind, sound or not and of any version.
    bool isBeginningOf(InputStream& input) const;

    /// A dictionary: DictionaryFile.
    static const SectionFormat DICTIONARY;
};

inline constexpr SectionFormat SectionFormat::DICTIONARY{"MELNARDC", 2, "dictionary file", "Dictionary file"};

} // namespace melnar
