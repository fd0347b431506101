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
/// Errors   write: those of the stream. read: MelnarException that names file, section and finding for everything that
///          is not a whole and sound dictionary file; MemoryExhaustedException at the memory limit;
///          SystemCallException; std::bad_alloc for a bit a resource ID and 24 bytes an entry of the history, which the limit
///          does not count.
///
/// Checksums catch what chance does to a file. Because a file can also lie with right checksums, read checks everything
/// that later code trusts before it is used: nothing that a file holds makes a dictionary read out of bounds or probe
/// for ever. The stream of a datatype is the datatype's to check (DictionaryDatatype::loadUntrusted), the format of its
/// chunks as well (getChunkSize). Whether each string is found under its own ID is left to Dictionary::verify, as it costs a lookup each.
class DictionaryFile {
public:
    DictionaryFile() = delete;

    /// Whether a stream begins like a dictionary file, sound or not and of any version.
    static bool isBeginningOf(InputStream& input);

    /// Also enters the state that is written into the dictionary's history.
    static void write(const Dictionary& dictionary, OutputStream& output);
    static std::unique_ptr<Dictionary> read(InputStream& input, const DictionaryOptions& options);

private:
    using DatatypeIDs = std::bitset<NUMBER_OF_DATATYPE_IDS>;

    static void readDatatypes(const Dictionary& dictionary, uint32_t numberOfDatatypes,
                              const DatatypeIDs& usedDatatypeIDs, SectionInputStream& sections);
    static DatatypeIDs checkResources(Dictionary& dictionary, const SectionInputStream& sections);
};

} // namespace melnar
