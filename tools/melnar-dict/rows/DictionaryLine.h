#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class DictionaryHistory;

/// The comment that a file of IDs has: at the beginning of an encoded file, and behind what the header of a .npy tells. It
/// names the dictionary that gave the IDs, so that no other one puts wrong terms in their place. Where encoded files were
/// put one behind the other, each has its line.
namespace DictionaryLine {

/// The line for a dictionary as it was saved last, with its line end. The dictionary must have been saved.
std::string make(const DictionaryHistory& history);

/// A line that a dictionary refuses.
struct Refusal {
    uint64_t m_line; // of the text, from 1
    std::string m_cause;
};

/// Finds the first line, of a text that starts with one, that names a dictionary from which this one has not grown, or
/// that is damaged. A text without such lines may be of any dictionary.
std::optional<Refusal> findRefused(std::string_view text, const DictionaryHistory& history);

} // namespace DictionaryLine
