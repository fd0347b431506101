#pragma once

#include "Engine/core/data-store/Dictionary.h"
#include "Engine/core/platform/stream/InputStream.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

/// How dictionaries are opened, from a stream and from a file.
struct DictionaryReaders {
    std::function<std::unique_ptr<Dictionary>(InputStream& input)> m_read;
    std::function<std::unique_ptr<Dictionary>(const std::string& fileName)> m_open;
};

/// Opens them with the library.
DictionaryReaders getDictionaryReaders();

struct FlipTortureOptions {
    size_t m_numberOfFlips;
    uint32_t m_numberOfTerms = 24100000; // a file of more than 1 GiB
    size_t m_flipsPerFile = 1000;        // one in so many is repeated in the file
};

/// Saves a dictionary of terms of all families and flips random bits of its file, one at a time. Opening it must throw
/// MelnarException of kind DAMAGED_FILE each time.
///
/// An open does the same for all flips until it reads the flipped bit. So a process opens the sound file, and forks
/// when a read has delivered a bit that is to be flipped: the child flips it there, and continues to open. Thus each
/// flip costs only the work that follows it. One in `m_flipsPerFile` is also flipped in the file, which is then opened
/// as users open it, and must be refused with the same message.
///
/// To be called in a process with one thread. Needs the memory of the dictionary once and its disk space once. Prints
/// each fault, and then a line. Returns whether there was none.
bool tortureByFlips(const FlipTortureOptions& options, const std::string& folder, uint32_t seed, std::ostream& output,
                    const DictionaryReaders& readers = getDictionaryReaders());
