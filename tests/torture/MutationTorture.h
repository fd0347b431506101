#pragma once

#include "Engine/core/data-store/Dictionary.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <ostream>
#include <string>

/// Opens the dictionary that a file's bytes hold; throws MelnarException if it is none.
using OpenDictionary = std::function<std::unique_ptr<Dictionary>(const std::string& bytes)>;

/// The library's way.
std::unique_ptr<Dictionary> openDictionaryBytes(const std::string& bytes);

/// Changes dictionary files by chance: bits, bytes, blocks that are swapped, repeated or zeroed, ends that are cut off
/// or put on; and forges others, with right checksums. A changed file must be refused or hold what it held; a forged one
/// must be refused, found by verify, or be a sound dictionary, in which a lookup finds each term under its own ID. The
/// rows that are printed of it, as text and as JSON, must be harmless to a terminal, and so must be what every verb of the
/// tool prints of some as a process, which must end by itself. Changes files with rows of IDs in the same way: they must
/// be refused, or decoded to what the IDs in them stand for. Prints what is not so, and then a line. Returns whether all is
/// so. A crash, or a minute of the processor for one file, ends the process with a
/// message that names the file.
bool tortureMutations(size_t numberOfMutations, uint32_t seed, std::ostream& output,
                      const OpenDictionary& open = openDictionaryBytes);
