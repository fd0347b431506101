#pragma once

#include "Engine/core/data-store/dictionary/DatatypeIDs.h"

#include <bitset>
#include <cstddef>
#include <memory>

class Dictionary;
struct DictionaryOptions;
class InputStream;
class OutputStream;

namespace melnar {

class SectionInputStream;

/// A dictionary as a stream of bytes; docs/formats/dictionary-file.md describes them.
///
/// Threads  While no thread changes the dictionary.
/// Errors   write: those of the stream. read: MelnarException, which names file, section and finding, for everything
///          that is not a complete and sound dictionary file; MemoryExhaustedException at the memory limit;
///          SystemCallException; std::bad_alloc for one bit per resource ID and 24 bytes per entry of the history,
///          which the limit does not count.
///
/// Checksums detect accidental damage. Because a file can also be forged with correct checksums, read checks everything
/// before it is used: no file makes a dictionary read out of bounds or probe forever. Each datatype checks its own
/// stream (DictionaryDatatype::loadUntrusted) and the format of its chunks (getChunkSize). Only Dictionary::verify
/// checks whether each string is found under its own ID, since that costs one lookup each.
class DictionaryFile {
public:
    DictionaryFile() = delete;

    /// Returns whether a stream starts like a dictionary file, sound or not and of any version.
    static bool isBeginningOf(InputStream& input);

    /// Also adds the state that is written to the dictionary's history.
    static void write(const Dictionary& dictionary, OutputStream& output);
    static std::unique_ptr<Dictionary> read(InputStream& input, const DictionaryOptions& options);

private:
    using DatatypeIDs = std::bitset<NUMBER_OF_DATATYPE_IDS>;

    static void readDatatypes(const Dictionary& dictionary, uint32_t numberOfDatatypes,
                              const DatatypeIDs& usedDatatypeIDs, SectionInputStream& sections);
    static DatatypeIDs checkResources(Dictionary& dictionary, const SectionInputStream& sections);
};

} // namespace melnar
