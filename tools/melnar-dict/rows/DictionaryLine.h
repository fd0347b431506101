#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

class DictionaryHistory;

/// The comment of a file of IDs: at the start of an encoded file, and after the text of the header of a .npy. It
/// contains the identity of the dictionary that gave the IDs, so that no other one is used to decode them. If encoded
/// files were concatenated, each has its line.
namespace DictionaryLine {

/// Returns the line for the last saved state of a dictionary, with its line end. The dictionary must have been saved.
std::string make(const DictionaryHistory& history);

/// A line that a dictionary refuses.
struct Refusal {
    uint64_t m_line; // of the text, from 1
    std::string m_cause;
};

/// Finds the first line, in a text that starts with one, that is damaged or contains a dictionary from which this one
/// has not grown. A text without such lines may belong to any dictionary.
std::optional<Refusal> findRefused(std::string_view text, const DictionaryHistory& history);

} // namespace DictionaryLine
